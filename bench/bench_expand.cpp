// Expansion of a large structure. A CIF is generated with `sites` atoms on general positions
// of F m -3 m (192 operations, written out as an operation loop), so 26 sites give 4992 atoms
// in the cell. Times the whole read and its symmetry steps, the duplicate removal against the
// pairwise comparison it replaces, and the space-group search on the full cell.
//
//   bench_expand [sites]        (the table goes to standard error)
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-symmetry.hpp"

namespace {

const std::string kSymcards = std::string(QUORIX_DATA_DIR) + "/database_symcards.dat";
const std::string kUnitary = std::string(QUORIX_DATA_DIR) + "/database_unitary.dat";

// Best of `runs` wall times of `step`, in seconds.
template <class Step>
double best_of(int runs, Step&& step) {
    double best = 1e30;
    for (int r = 0; r < runs; r++) {
        const auto start = std::chrono::steady_clock::now();
        step();
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

// Positions in 0.02 < z < y < x < 0.23, away from the mirror planes and axes of the group.
std::string make_cif(int sites, const QUORIX_SYMMETRY& group) {
    std::string cif =
        "data_bench\n_cell_length_a 24.0\n_cell_length_b 24.0\n_cell_length_c 24.0\n"
        "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
        "loop_\n_symmetry_equiv_pos_site_id\n_symmetry_equiv_pos_as_xyz\n";
    for (int c = 0; c < group.total; c++) cif += std::to_string(c + 1) + " " + group.card[c].text + "\n";
    cif += "\nloop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
           "_atom_site_fract_z\n_atom_site_occupancy\n";
    unsigned state = 12345;
    auto uniform = [&] {
        state = state * 1103515245u + 12345u;
        return (state >> 8) / 16777216.0;
    };
    std::vector<std::array<double, 3>> placed;
    auto crowded = [&](const double* v) {
        return v[0] - v[1] < 0.01 || v[1] - v[2] < 0.01 ||  // the diagonal mirrors x = y, y = z
               std::any_of(placed.begin(), placed.end(), [&](const std::array<double, 3>& p) {
                   return std::fabs(p[0] - v[0]) < 0.01 && std::fabs(p[1] - v[1]) < 0.01 &&
                          std::fabs(p[2] - v[2]) < 0.01;
               });
    };
    for (int s = 0; s < sites; s++) {
        double v[3];
        do {
            for (double& c : v) c = 0.02 + 0.21 * uniform();
            std::sort(v, v + 3, [](double a, double b) { return a > b; });
        } while (crowded(v));
        placed.push_back({v[0], v[1], v[2]});
        char line[160];
        std::snprintf(line, sizeof(line), "%s%d %s %.5f %.5f %.5f 1.0\n", s % 3 ? "O" : "Li", s + 1,
                      s % 3 ? "O2-" : "Li1+", v[0], v[1], v[2]);
        cif += line;
    }
    return cif;
}

// The pairwise duplicate removal the grid replaced, counting survivors only.
long pairwise_survivors(std::vector<QUORIX_ATOM> atoms) {
    long kept = 0;
    for (size_t i = 0; i < atoms.size(); i++) {
        if (atoms[i].ignored) continue;
        kept++;
        for (size_t j = i + 1; j < atoms.size(); j++)
            if (!atoms[j].ignored && quorix_atom_equal(atoms[i], atoms[j])) atoms[j].ignored = true;
    }
    return kept;
}

}  // namespace

int main(int argc, char** argv) {
    const int sites = argc > 1 ? std::max(1, std::atoi(argv[1])) : 26;
    // The library's messages go to standard output; the table goes to standard error.
    if (!std::freopen("/dev/null", "w", stdout)) return 1;
    SymmetryPtr group(quorix_symmetry_import_by_keyword_HM("F m -3 m", kSymcards.c_str()));
    if (!group) return 1;
    TextPtr text(quorix_text_new(make_cif(sites, *group).c_str()));

    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    const double read = best_of(5, [&] {
        quorix_cell_free(cell);
        quorix_symmetry_free(symmetry);
        if (quorix_cell_import_cif_from_text(&cell, &symmetry, text.get(), kSymcards.c_str(), kUnitary.c_str()))
            std::exit(1);
    });
    CellPtr full(cell);
    SymmetryPtr ops(symmetry);

    // The asymmetric unit as read, before expansion: the first image of every site.
    CellPtr unit(quorix_cell_reduce_by_symmetry(full.get(), ops.get()));
    std::vector<QUORIX_ATOM> images;
    for (long i = 0; i < unit->total; i++)
        for (int c = 0; c < ops->total; c++) images.push_back(quorix_atom_spawn_by_card(unit->atom[i], ops->card[c]));

    const double expand = best_of(5, [&] {
        QUORIX_ATOM* atoms = quorix_atom_new(unit->total);
        std::copy(unit->atom, unit->atom + unit->total, atoms);
        long total = unit->total;
        quorix_atom_spawn_by_symmetry(&atoms, &total, ops.get());
        quorix_atom_free(atoms);
    });
    long grid_kept = 0;
    const double grid = best_of(5, [&] {
        QUORIX_ATOM* atoms = quorix_atom_new(static_cast<long>(images.size()));
        std::copy(images.begin(), images.end(), atoms);
        grid_kept = static_cast<long>(images.size());
        quorix_atom_remove_duplicate(&atoms, &grid_kept);
        quorix_atom_free(atoms);
    });
    long pairwise_kept = 0;
    const double pairwise = best_of(1, [&] { pairwise_kept = pairwise_survivors(images); });
    const double sort = best_of(5, [&] {
        std::vector<QUORIX_ATOM> atoms(full->atom, full->atom + full->total);
        std::reverse(atoms.begin(), atoms.end());
        quorix_atom_sort(atoms.data(), static_cast<long>(atoms.size()));
    });
    const double reduce = best_of(5, [&] { CellPtr reduced(quorix_cell_reduce_by_symmetry(full.get(), ops.get())); });
    const double flag = best_of(5, [&] { quorix_cell_flag_site_by_symmetry(full.get(), ops.get()); });
    int found = 0;
    const double search = best_of(1, [&] {
        SymmetryPtr group_found(quorix_symmetry_calculate_from_cell(full.get(), 0.0, kSymcards.c_str()));
        found = group_found ? group_found->sg_id : 0;
    });

    std::fprintf(stderr, "sites %d, operations %d, images %zu, atoms in the cell %ld\n", sites, ops->total,
                 images.size(), full->total);
    std::fprintf(stderr, "read CIF text (parse, expand, sort, geometry)  %9.4f s\n", read);
    std::fprintf(stderr, "expand asymmetric unit                         %9.4f s\n", expand);
    std::fprintf(stderr, "remove duplicates, position grid               %9.4f s  (%ld kept)\n", grid, grid_kept);
    std::fprintf(stderr, "remove duplicates, pairwise                    %9.4f s  (%ld kept)\n", pairwise,
                 pairwise_kept);
    std::fprintf(stderr, "canonical sort of the cell                     %9.4f s\n", sort);
    std::fprintf(stderr, "reduce to asymmetric unit                      %9.4f s  (%ld sites)\n", reduce,
                 unit->total);
    std::fprintf(stderr, "number symmetry-distinct sites                 %9.4f s\n", flag);
    std::fprintf(stderr, "space-group search over all settings           %9.4f s  (group %d)\n", search,
                 found);
    return grid_kept == pairwise_kept ? 0 : 1;
}
