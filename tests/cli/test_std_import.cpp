// The standards-based import: every real CIF through --gen-cif-std and back through the CIF
// reader, operations that reader misreads, and bad input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "support.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;
using quorix_test::test_data;

namespace {

struct PrintedAtom {
    std::string type;
    int os;
    std::string position;  // as printed, three decimals
    double occ;
};

std::vector<PrintedAtom> printed_atoms(const std::string& out) {
    std::vector<PrintedAtom> atoms;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        const size_t at = line.find("type=");
        char type[3];
        int os;
        double x, y, z, occ;
        if (at == std::string::npos ||
            std::sscanf(line.c_str() + at, "type= %2[A-Za-z];os=%d;x_f=(%lf,%lf,%lf);occ=%lf", type, &os, &x, &y, &z,
                        &occ) != 6)
            continue;
        const size_t open = line.find('(', at), close = line.find(')', at);
        atoms.push_back({type, os, line.substr(open, close - open), occ});
    }
    return atoms;
}

int written_group(const std::string& cif) {
    const std::string tag = "_symmetry_Int_Tables_number";
    const size_t at = cif.find(tag);
    return at == std::string::npos ? -1 : std::atoi(cif.c_str() + at + tag.size());
}

int error_lines(const std::string& err) {
    int count = 0;
    for (size_t at = 0; (at = err.find("Error:", at)) != std::string::npos; at++) count++;
    return count;
}

// Each file of the developer set (tests/data/std/expected.tsv lists them with facts computed by
// an independent expansion and spglib): the written CIF, read by the CIF reader, holds one atom
// per label site of the full cell plus one per site that a non-integral state splits in two,
// the occupancy of each element, and the space group spglib finds for the original, with
// operations written as fractions; the written file, read the same way, keeps that group.
TEST(StdImport, EveryDeveloperCifReadsBackToItsFullCell) {
    ScratchDir dir;
    std::ifstream table(test_data("std/expected.tsv"));
    int files = 0;
    for (std::string line; std::getline(table, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        std::string file, composition;
        size_t label_sites;
        int group;
        fields >> file >> label_sites >> group;
        dir.copy_in(file);
        const auto made = run_quorix({"--gen-cif-std", file}, dir.path());
        EXPECT_EQ(made.err, "") << file;
        const auto cell = run_quorix({"--print-cell", file + ".std.cif"}, dir.path());
        EXPECT_EQ(cell.err, "") << file;
        const std::vector<PrintedAtom> atoms = printed_atoms(cell.out);
        std::set<std::pair<std::string, std::string>> sites;
        std::set<std::tuple<std::string, std::string, int>> species_on_sites;
        std::map<std::string, double> occupancy;
        std::map<std::string, int> count;
        for (const PrintedAtom& atom : atoms) {
            sites.emplace(atom.type, atom.position);
            species_on_sites.emplace(atom.type, atom.position, atom.os);  // split copies differ in state
            occupancy[atom.type] += atom.occ;
            count[atom.type]++;
        }
        EXPECT_EQ(sites.size(), label_sites) << file;
        EXPECT_EQ(species_on_sites.size(), atoms.size()) << file;
        for (std::string element; fields >> element;) {
            const size_t colon = element.find(':');
            const std::string type = element.substr(0, colon);
            EXPECT_NEAR(occupancy[type], std::stod(element.substr(colon + 1)), 0.0006 * count[type] + 1e-9)
                << file << " " << type;
        }
        const std::string written = read_file(dir.path() / (file + ".std.cif"));
        EXPECT_EQ(written_group(written), group) << file;
        EXPECT_EQ(written.find("-0."), std::string::npos) << file;  // no decimal translation, 0.3333 being 1/3
        // Read again from its three decimals, the file keeps its group.
        EXPECT_EQ(run_quorix({"--gen-cif-std", file + ".std.cif", "again.cif"}, dir.path()).err, "") << file;
        EXPECT_EQ(written_group(read_file(dir.path() / "again.cif")), group) << file << " read again";
        files++;
    }
    EXPECT_EQ(files, 26);
}

// P 32 1 2 written with "1/3-z" and "2/3-z": the CIF reader takes their translations as
// negative and warns; the standards-based import gives Si on x,x/2,0 (3 atoms) and O (6 atoms).
TEST(StdImport, TranslationBeforeMinusInTrigonalOperations) {
    ScratchDir dir;
    const std::string cif = "SiO2_P3212_minus_z_operations.cif";
    dir.copy_in("std/" + cif);
    const auto misread = run_quorix({"--print-cell", cif}, dir.path());
    EXPECT_EQ(misread.err, "Warning: the symmetry operations of " + cif +
                               " do not form a group; the structure may be misread (try --gen-cif-std).\n");

    EXPECT_EQ(run_quorix({"--gen-cif-std", cif, "fixed.cif"}, dir.path()).err, "");
    const auto cell = run_quorix({"--print-cell", "fixed.cif"}, dir.path());
    std::multiset<std::string> silicon;
    int oxygen = 0;
    for (const PrintedAtom& atom : printed_atoms(cell.out)) {
        if (atom.type == "Si") silicon.insert(atom.position);
        oxygen += atom.type == "O";
    }
    EXPECT_EQ(silicon, (std::multiset<std::string>{"(0.470,0.235,0.000", "(0.765,0.235,0.667", "(0.765,0.530,0.333"}));
    EXPECT_EQ(oxygen, 6);
    EXPECT_EQ(written_group(read_file(dir.path() / "fixed.cif")), 153);
}

// Coordinates written as 0 and 1/2 are special positions, not numbers rounded to no decimals: the
// tolerance stays narrow and the four Cu of the centred cell stay apart. A shift of the origin by
// 0.1 is no twenty-fourth, even under a wide tolerance: the eight ions of NaCl stay eight, and
// the operations written for that origin (x+1/5) read back to the same group.
TEST(StdImport, ShortCoordinatesAndShiftedOriginsKeepTheirAtoms) {
    ScratchDir dir;
    const std::string cubic = "data_x\n_cell_length_a 5.64\n_cell_length_b 5.64\n_cell_length_c 5.64\n"
                              "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n";
    const std::string sites = "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
    dir.write("cu.cif", cubic + "loop_\n_space_group_symop_operation_xyz\nx,y,z\nx,y+1/2,z+1/2\nx+1/2,y,z+1/2\n"
                                "x+1/2,y+1/2,z\n" + sites + "Cu1 0 0 0\n");
    dir.write("shifted.cif", cubic + sites +
                                 "Na1 0.1 0.1 0.1\nNa2 0.1 0.6 0.6\nNa3 0.6 0.1 0.6\nNa4 0.6 0.6 0.1\n"
                                 "Cl1 0.6 0.6 0.6\nCl2 0.6 0.1 0.1\nCl3 0.1 0.6 0.1\nCl4 0.1 0.1 0.6\n");
    for (const auto& [name, symprec, atoms, translation] :
         {std::tuple{"cu.cif", "0", 4u, "+1/2"}, std::tuple{"shifted.cif", "0.1", 8u, "+1/5"}}) {
        const auto made = run_quorix({"--gen-cif-std", name, "out.cif", symprec}, dir.path());
        EXPECT_NE(made.out.find(": 225 Fm-3m"), std::string::npos) << name << made.err;
        EXPECT_EQ(printed_atoms(run_quorix({"--print-cell", "out.cif"}, dir.path()).out).size(), atoms) << name;
        EXPECT_NE(read_file(dir.path() / "out.cif").find(translation), std::string::npos) << name;
        const auto again = run_quorix({"--gen-cif-std", "out.cif", "again.cif", symprec}, dir.path());
        EXPECT_NE(again.out.find(": 225 Fm-3m"), std::string::npos) << name << again.err;
    }
}

TEST(StdImport, BadInputIsOneErrorAndWritesNothing) {
    ScratchDir dir;
    const std::string cell = "_cell_length_a 5\n_cell_length_b 5\n_cell_length_c 5\n";
    const std::string right = "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n";
    const std::string sites = "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n";
    const std::map<std::string, std::string> files = {
        {"not_cif.cif", "this is not a cif\n"},
        {"no_sites.cif", "data_x\n" + cell + right},
        {"flat.cif", "data_x\n" + cell + "_cell_angle_alpha 120\n_cell_angle_beta 120\n_cell_angle_gamma 120\n" +
                         sites + "Na1 0 0 0\nCl1 0.5 0.5 0.5\n"},
        {"helium.cif", "data_x\n" + cell + right + sites + "He1 0 0 0\nCl1 0.5 0.5 0.5\n"},
    };
    for (const auto& [name, content] : files) {
        dir.write(name, content);
        const auto result = run_quorix({"--gen-cif-std", name}, dir.path());
        EXPECT_EQ(error_lines(result.err), 1) << name << ": " << result.err;
        EXPECT_FALSE(std::filesystem::exists(dir.path() / (name + ".std.cif"))) << name;
    }
    const std::string nacl = "data_x\n" + cell + right + sites + "Na1 0 0 0\nCl1 0.5 0.5 0.5\n";
    dir.write("nacl.cif", nacl);
    const auto same = run_quorix({"--gen-cif-std", "nacl.cif", "./nacl.cif"}, dir.path());
    EXPECT_EQ(error_lines(same.err), 1) << same.err;
    EXPECT_EQ(read_file(dir.path() / "nacl.cif"), nacl);
}

}  // namespace
