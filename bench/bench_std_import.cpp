// The standards-based import of a large P1 CIF. A rock-salt arrangement of `atoms` ions
// (10 x 10 x atoms/100 sites of 2.8 A, Na+ and Cl- alternating) with every ion moved by up to
// 0.05 A, so that spglib finds P1, is written the way P1 exports are (one operation, no
// occupancy column). Times the steps of --gen-cif-std and the whole command, in processor
// time (the machine is shared) and wall time. The large case labels every ion by its element
// alone, as some exports do, so that the import compares many images of one label.
//
//   bench_std_import [atoms [large]]        (defaults 5000 and 20000)
#include <sys/resource.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench_support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-spglib.hpp"
#include "quorix-import-std.hpp"
#include "quorix-import-write.hpp"

namespace {

constexpr double kSpacing = 2.8;  // A

double processor_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

double children_seconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + 1e-6 * (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

std::string make_cif(long atoms, bool with_states, bool element_labels) {
    const long layers = atoms / 100;
    char line[256];
    std::string cif = "data_bench\n";
    std::snprintf(line, sizeof line,
                  "_cell_length_a %.4f\n_cell_length_b %.4f\n_cell_length_c %.4f\n"
                  "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n",
                  10 * kSpacing, 10 * kSpacing, layers * kSpacing);
    cif += line;
    cif += "_symmetry_space_group_name_H-M 'P 1'\nloop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n";
    cif += "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
           "_atom_site_fract_z\n";
    unsigned state = 2024;
    auto jitter = [&] {
        state = state * 1103515245u + 12345u;
        return ((state >> 8) / 16777216.0 - 0.5) * 0.1 / kSpacing;
    };
    const int size[3] = {10, 10, static_cast<int>(layers)};
    for (int i = 0; i < size[0]; i++)
        for (int j = 0; j < size[1]; j++)
            for (int k = 0; k < size[2]; k++) {
                const bool sodium = (i + j + k) % 2 == 0;
                const char* type = with_states ? (sodium ? "Na1+" : "Cl1-") : (sodium ? "Na" : "Cl");
                const std::string label =
                    std::string(sodium ? "Na" : "Cl") +
                    (element_labels ? "" : std::to_string(i) + "_" + std::to_string(j) + "_" + std::to_string(k));
                std::snprintf(line, sizeof line, "%s %s %.6f %.6f %.6f\n", label.c_str(), type,
                              (i + 0.5) / size[0] + jitter(), (j + 0.5) / size[1] + jitter(),
                              (k + 0.5) / size[2] + jitter());
                cif += line;
            }
    return cif;
}

void time_steps(const std::string& path) {
    const std::string binary = std::string(QUORIX_DATA_DIR) + "/database_binary.dat";
    double read = 0, group_time = 0, symmetrise = 0, write = 0;
    long atoms = 0;
    int number = 0;
    {
        bench::QuietStdout quiet;
        double start = processor_seconds();
        QUORIX_STD_STRUCTURE structure;
        if (quorix_std_import_from_file(&structure, path.c_str(), 0.01) ||
            quorix_std_keep_bv_elements(&structure, binary.c_str()))
            return;
        read = processor_seconds() - start;
        atoms = structure.cell->total;
        start = processor_seconds();
        QUORIX_STD_GROUP group;
        if (quorix_std_group_find(&group, structure.cell.get(), 0.01, false)) return;
        group_time = processor_seconds() - start;
        number = group.number;
        start = processor_seconds();
        SymmetryPtr symmetry(quorix_std_group_to_symmetry(&group));
        if (!symmetry || quorix_std_cell_symmetrise(structure.cell.get(), &group, symmetry.get(), 0.01)) return;
        symmetrise = processor_seconds() - start;
        start = processor_seconds();
        quorix_cell_export_cif_to_file((path + ".std.cif").c_str(), structure.cell.get(), symmetry.get());
        write = processor_seconds() - start;
    }
    std::fprintf(stderr, "%ld atoms, space group %d, processor time: read %.3f s, space group %.3f s, symmetrise %.3f s, "
                 "write %.3f s\n",
                 atoms, number, read, group_time, symmetrise, write);
}

void time_command(const std::string& path) {
    const std::string command = std::string(QUORIX_DATA_DIR) + "/quorix.x --gen-cif-std " + path + " > /dev/null";
    const double processor = children_seconds();
    const auto start = bench::Clock::now();
    if (std::system(command.c_str()) != 0) return;
    std::fprintf(stderr, "  whole command: %.3f s processor time, %.3f s wall\n", children_seconds() - processor,
                 bench::seconds_since(start));
}

struct Case {
    const char* file;
    const char* title;
    bool with_states;
    bool element_labels;
};

}  // namespace

int main(int argc, char** argv) {
    const long atoms = argc > 1 ? std::atol(argv[1]) : 5000;
    const long large = argc > 2 ? std::atol(argv[2]) : 20000;
    const auto directory = std::filesystem::temp_directory_path();
    const Case cases[] = {{"bench_std_states.cif", "with oxidation states in the file", true, false},
                          {"bench_std_plain.cif", "without oxidation states in the file", false, false},
                          {"bench_std_large.cif", "large, labels by element, states in the file", true, true}};
    for (const Case& c : cases) {
        const std::string path = (directory / c.file).string();
        std::ofstream(path) << make_cif(c.element_labels ? large : atoms, c.with_states, c.element_labels);
        std::fprintf(stderr, "%s:\n", c.title);
        time_steps(path);
        time_command(path);
        std::filesystem::remove(path);
        std::filesystem::remove(path + ".std.cif");
    }
    return 0;
}
