// The force-field commands: --print-ppt, --print-ppt-full, --cal-tot-en and the GULP export.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "quorix-import-build.hpp"
#include "quorix-import-property.hpp"
#include "quorix-rx.hpp"
#include "support.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;
using quorix_test::read_file;

namespace {

const std::string kLi2O = "Li2O_COD9009059_occupancy.cif";

// A P1 CIF of a 30 A cubic cell with the given atom-site rows (label, type symbol, x, y, z, occupancy).
std::string p1_cif(const std::string& rows) {
    return "data_test\n"
           "_cell_length_a 30\n_cell_length_b 30\n_cell_length_c 30\n"
           "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
           "loop_\n_symmetry_equiv_pos_as_xyz\nx,y,z\n\n"
           "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
           "_atom_site_fract_z\n_atom_site_occupancy\n" +
           rows;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace

TEST(CmdPpt, TableWithTheAutomaticOrTheGivenScreeningFactor) {
    ScratchDir dir;
    dir.copy_in(kLi2O);
    const auto automatic = run_quorix({"--print-ppt", kLi2O}, dir.path());
    EXPECT_EQ(automatic.err, "");
    EXPECT_TRUE(contains(automatic.out, "Message: calculating sf= 0.55000;")) << automatic.out;
    // Li counts as period 1 and O as period 2: q(Li) = sqrt(4 sqrt(2) / 8).
    EXPECT_TRUE(contains(automatic.out, "PPT: | Li1+ |  3 | 0.028470 | 1.31 |  0.840896 |\n"
                                        "PPT: |  O2- |  8 | 0.147520 | 1.33 | -1.681793 |\n"))
        << automatic.out;
    const std::string last = "PPT: screening factor = 0.608594\n";
    ASSERT_GE(automatic.out.size(), last.size());
    EXPECT_EQ(automatic.out.substr(automatic.out.size() - last.size()), last);
    EXPECT_FALSE(contains(automatic.out, "nan"));

    const auto given = run_quorix({"--print-ppt", kLi2O, "0.72"}, dir.path());
    EXPECT_FALSE(contains(given.out, "calculating sf"));
    EXPECT_TRUE(contains(given.out, "Message: sf=0.720000\n"));
    EXPECT_TRUE(contains(given.out, "PPT: screening factor = 0.720000\n"));
}

TEST(CmdPpt, StructuresTheForceFieldCannotDescribeFailClearly) {
    ScratchDir dir;
    dir.write("cations.cif", p1_cif("Li1 Li1+ 0 0 0 1\nLi2 Li1+ 0.5 0.5 0.5 1\n"));
    dir.write("neutral.cif", p1_cif("Li1 Li1+ 0 0 0 1\nLi2 Li0 0.5 0.5 0.5 1\nO1 O2- 0.06 0 0 1\n"));

    const auto cations = run_quorix({"--print-ppt", "cations.cif"}, dir.path());
    EXPECT_EQ(cations.status, 0);
    EXPECT_TRUE(contains(cations.err, "Error: fractional charges need both cations and anions in the cell.\n"));
    EXPECT_TRUE(contains(cations.err, "Error: quorix_property_import_from_cell() returns NULL.\n"));
    EXPECT_FALSE(contains(cations.out, "PPT:"));

    // A Li placed on the O: both cannot be there.
    dir.write("on_top.cif", p1_cif("Li1 Li1+ 0 0 0 1\nO1 O2- 0 0 0 1\n"));
    EXPECT_EQ(run_quorix({"--cal-tot-en", "on_top.cif"}, dir.path()).err,
              "Error: atoms Li1 and O1 lie within 0.1 A of each other with occupancies adding up to 2.\n"
              "Error: quorix_property_import_from_cell() returns NULL.\n");

    // An oxidation state of 0 gets no charge: the set fails validation, so the screening factor
    // falls back to 0.75, and the energy is computed with it.
    const auto printed = run_quorix({"--print-ppt", "neutral.cif"}, dir.path());
    EXPECT_TRUE(contains(printed.out, "Warning: quorix_property_validate_generic() returns non-zero.\n"
                                      "Message: default screening factor used 0.750000.\n"));
    EXPECT_TRUE(contains(printed.err, "Error: incorrect q at [0](Li0+) q=0.000000\n")) << printed.err;
    EXPECT_FALSE(contains(printed.out, "nan"));
    const auto energy = run_quorix({"--cal-tot-en", "neutral.cif"}, dir.path());
    EXPECT_TRUE(contains(energy.out, "Message: default screening factor used 0.750000.\n"));
    EXPECT_TRUE(contains(energy.out, "Message: total energy = ")) << energy.out;
}

TEST(CmdTotEn, PrintsTheEnergyUnlessItIsExactlyZero) {
    ScratchDir dir;
    dir.copy_in(kLi2O);
    const auto result = run_quorix({"--cal-tot-en", kLi2O, "0.7"}, dir.path());
    EXPECT_EQ(result.err, "");

    EXPECT_NE(result.out.find("Message: total energy = -"), std::string::npos) << result.out;

    // Li and O 15 A apart: out of bonding reach, and no like pair within 10 A.
    dir.write("apart.cif", p1_cif("Li1 Li1+ 0 0 0 1\nO1 O2- 0.5 0 0 1\n"));
    const auto apart = run_quorix({"--cal-tot-en", "apart.cif", "0.7"}, dir.path());
    EXPECT_EQ(apart.err, "Error: quorix_cell_calculate_total_energy() returns zero.\n");
    EXPECT_FALSE(contains(apart.out, "total energy"));
}

namespace {

int count_of(const std::string& text, const std::string& part) {
    int count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) count++;
    return count;
}

// Li2O (Fm-3m) as inline text: Li at 8c, O at 4a.
// clang-format off
const std::vector<std::string> kInlineLi2O = {
    "-:text", "data_Li2O", "-:nl", "_cell_length_a", "4.619", "-:nl", "_cell_length_b", "4.619", "-:nl",
    "_cell_length_c", "4.619", "-:nl", "_cell_angle_alpha", "90", "-:nl", "_cell_angle_beta", "90", "-:nl",
    "_cell_angle_gamma", "90", "-:nl", "_symmetry_space_group_name_H-M", "'F m -3 m'", "-:nl", "loop_", "-:nl",
    "_atom_site_label", "-:nl", "_atom_site_type_symbol", "-:nl", "_atom_site_fract_x", "-:nl",
    "_atom_site_fract_y", "-:nl", "_atom_site_fract_z", "-:nl", "_atom_site_occupancy", "-:nl",
    "Li1", "Li", "0.25", "0.25", "0.25", "1.0", "-:nl", "O1", "O", "0", "0", "0", "1.0"};
// clang-format on

// Fractional charges of Li2O: Li+ counts with an effective quantum number of 1, O2- with 2, so
// q(Li) = sqrt(sqrt(2) / 2) and q(O) = -2 q(Li).
const std::string kLi2OSpecies = "species\r\nLi1+ core  0.84089642\r\n O2- core -1.68179283\r\n";

}  // namespace

TEST(CmdGin, InputFileOfLiFePO4) {
    ScratchDir dir;
    dir.copy_in("LiFePO4_COD4001848_oxidation.cif");
    const auto result = run_quorix({"--gen-gin", "LiFePO4_COD4001848_oxidation.cif"}, dir.path());
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("Message: .gin file saved to LiFePO4_COD4001848_oxidation.gin\n"), std::string::npos);
    const std::string gin = read_file(dir.path() / "LiFePO4_COD4001848_oxidation.gin");
    EXPECT_EQ(gin.rfind("conv md\r\ntitle\r\n", 0), 0u);
    EXPECT_NE(gin.find("\r\ncell\r\n10.324400 6.006400 4.690100 90.000000 90.000000 90.000000\r\nfractional   28\r\n"),
              std::string::npos);
    EXPECT_EQ(count_of(gin, " core 0."), 28);
    EXPECT_NE(gin.find("output dcd       LiFePO4_COD4001848_oxidation.dcd\r\n"), std::string::npos);
    // Fe-O, Li-O and P-O Morse terms; qerfc for the six cation pairs and O-O.
    const std::string morse = gin.substr(gin.find("morse    ener\r\n"));
    EXPECT_EQ(count_of(morse.substr(0, morse.find("qerfc")), " O2- core "), 3);
    EXPECT_EQ(count_of(morse.substr(morse.find("qerfc")), "10.000000\r\n"), 7);

    const auto named = run_quorix({"--gen-gin", "LiFePO4_COD4001848_oxidation.cif", "0.7", "md-run"}, dir.path());
    EXPECT_EQ(named.err, "");
    EXPECT_NE(read_file(dir.path() / "md-run.gin").find("# fractional radius = 0.700000\r\n"), std::string::npos);
}

TEST(CmdGin, LibraryFilesAndInlineStructures) {
    ScratchDir dir;
    dir.copy_in("Li2O_COD9009059_occupancy.cif");
    const auto result = run_quorix({"--gen-gin-lib", "Li2O_COD9009059_occupancy.cif", "0.7"}, dir.path());
    EXPECT_EQ(result.err, "");
    const std::string lib = read_file(dir.path() / "Li2O_COD9009059_occupancy.cif.lib");
    EXPECT_NE(lib.find(kLi2OSpecies), std::string::npos) << lib;
    EXPECT_NE(lib.find("Li1+ core Li1+ core  1.834000 10.000000\r\n O2- core  O2- core  1.862000 10.000000\r\n"),
              std::string::npos);

    std::vector<std::string> args = {"--text-gen-gin-lib-set-sf", "0.7"};
    args.insert(args.end(), kInlineLi2O.begin(), kInlineLi2O.end());
    const auto inline_result = run_quorix(args);
    EXPECT_EQ(inline_result.err, "");
    const size_t rule = inline_result.out.find("\n=====================================\n\n");
    ASSERT_NE(rule, std::string::npos);
    EXPECT_EQ(inline_result.out.substr(rule + 40), lib);
}
