// --rx-sd on real structures and with constraints; --rx-neb and --rx-neb-images refusing ends
// that cannot form one band.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>

#include "support.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

// The energy of the first "RX_SD: step=" line and of the "RX_SD: total energy" line.
void first_and_final_energy(const std::string& out, double& first, double& final) {
    const size_t step = out.find("RX_SD: step=");
    const size_t total = out.find("RX_SD: total energy = ");
    ASSERT_NE(step, std::string::npos);
    ASSERT_NE(total, std::string::npos);
    first = std::stod(out.substr(out.find("en=", step) + 3));
    final = std::stod(out.substr(total + 22));
}

// Li2O in P1 with atoms of their own labels, Li1 and Li2 displaced, and the constraint loop.
const char* const kConstrainedLi2O = R"(data_Li2O
_cell_length_a 4.619
_cell_length_b 4.619
_cell_length_c 4.619
_cell_angle_alpha 90
_cell_angle_beta 90
_cell_angle_gamma 90
loop_
_symmetry_equiv_pos_as_xyz
'x, y, z'
loop_
_atom_site_label
_atom_site_type_symbol
_atom_site_fract_x
_atom_site_fract_y
_atom_site_fract_z
_atom_site_occupancy
Li1 Li 0.300 0.280 0.250 1
Li2 Li 0.200 0.750 0.750 1
Li3 Li 0.750 0.250 0.750 1
Li4 Li 0.750 0.750 0.250 1
Li5 Li 0.250 0.750 0.250 1
Li6 Li 0.250 0.250 0.750 1
Li7 Li 0.750 0.750 0.750 1
Li8 Li 0.750 0.250 0.250 1
O1 O 0.000 0.000 0.000 1
O2 O 0.000 0.500 0.500 1
O3 O 0.500 0.000 0.500 1
O4 O 0.500 0.500 0.000 1
loop_
_atom_site_label
_quorix_fixed
Li1 x
Li2 t
)";

}  // namespace

// Energies fall, the forces converge, and the relaxed cell reads back with lattice parameters
// within 5 % of the experimental ones.
TEST(RelaxCli, SteepestDescentOfRealStructures) {
    for (const char* name : {"NaCl_COD9008678_occupancy.cif", "Li2O_COD9009059_occupancy.cif",
                             "TiO2_rutile_COD9009083_occupancy.cif", "Fe3O4_magnetite_COD9007644_occupancy.cif",
                             "LiFePO4_COD4001848_occupancy.cif"}) {
        ScratchDir dir;
        const std::string cif = dir.copy_in(name).string();
        const auto run = run_quorix({"--rx-sd", cif, "0", "10", "0.02"}, dir.path());
        ASSERT_NE(run.out.find("RX_SD: convergence reached."), std::string::npos) << name;
        double first = 0, final = 0;
        first_and_final_energy(run.out, first, final);
        EXPECT_LE(final, first + 1e-9) << name;
        const auto input = quorix_test::read_cif(cif);
        const auto relaxed = quorix_test::read_cif(cif + ".rx.cif");
        ASSERT_TRUE(input.cell && relaxed.cell) << name;
        ASSERT_EQ(relaxed.cell->total, input.cell->total);
        for (int k = 0; k < 3; k++)
            EXPECT_NEAR(relaxed.cell->parameter[k] / input.cell->parameter[k], 1.0, 0.05) << name << " " << k;
    }
}

// "t" fixes a whole atom, "x" only its x component; the others relax back to their sites.
TEST(RelaxCli, ConstraintLoopFixesAtomsAndComponents) {
    ScratchDir dir;
    const std::string cif = dir.write("fixed.cif", kConstrainedLi2O).string();
    const auto run = run_quorix({"--rx-sd", cif}, dir.path());
    ASSERT_NE(run.out.find("RX_SD: convergence reached."), std::string::npos) << run.err;
    const auto relaxed = quorix_test::read_cif(cif + ".rx.cif");
    ASSERT_TRUE(relaxed.cell);
    for (long i = 0; i < relaxed.cell->total; i++) {
        const QUORIX_ATOM& atom = relaxed.cell->atom[i];
        if (std::string(atom.name) == "Li1") {
            EXPECT_NEAR(atom.x_f[0], 0.300, 1e-9);
            EXPECT_NEAR(atom.x_f[1], 0.250, 0.01);
        } else if (std::string(atom.name) == "Li2") {
            EXPECT_NEAR(atom.x_f[0], 0.200, 1e-9);
        }
    }
}

// Ends of different atom counts, species or cells, too few images and a missing member of a
// series: one error line before any work, and no file written.
TEST(RelaxCli, NebRefusesEndsThatCannotFormABand) {
    ScratchDir dir;
    const std::string base = std::string(kConstrainedLi2O).substr(0, std::string(kConstrainedLi2O).find("loop_\n_atom_site_label\n_quorix"));
    auto variant = [&](const std::string& from, const std::string& to) {
        std::string text = base;
        text.replace(text.find(from), from.size(), to);
        return text;
    };
    dir.write("a.cif", base);
    dir.write("fewer.cif", variant("Li8 Li 0.750 0.250 0.250 1\n", ""));
    dir.write("species.cif", variant("O4 O", "O4 S"));
    dir.write("cell.cif", variant("_cell_length_a 4.619", "_cell_length_a 4.719"));
    dir.write("series.0.cif", base);
    dir.write("series.1.cif", base);
    const auto files_before = std::distance(std::filesystem::directory_iterator(dir.path()), {});
    const std::vector<std::vector<std::string>> runs = {
        {"--rx-neb", "a.cif", "fewer.cif", "5"},  {"--rx-neb", "a.cif", "species.cif", "5"},
        {"--rx-neb", "a.cif", "cell.cif", "5"},   {"--rx-neb", "a.cif", "a.cif", "0"},
        {"--rx-neb-images", "series", "3"},
    };
    for (const auto& args : runs) {
        const auto run = run_quorix(args, dir.path());
        EXPECT_EQ(run.err.rfind("Error: ", 0), 0u) << args[2] << args[3];
        if (args[0] == "--rx-neb") {
            EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        }
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), files_before);
}
