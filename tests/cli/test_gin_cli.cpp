// GULP export end to end: the input and library files of real structures, partial occupancies
// through the default supercell, and the library of an inline structure.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

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

// Na0.8CoO2 has partly occupied Na sites: the input holds a 4 x 4 x 4 supercell, fully occupied.
TEST(CmdGin, PartialOccupancyGoesThroughTheDefaultSupercell) {
    ScratchDir dir;
    dir.copy_in("Na0.8CoO2_VESTA.cif");
    const auto result = run_quorix({"--gen-gin", "Na0.8CoO2_VESTA.cif", "0.75"}, dir.path());
    EXPECT_EQ(result.err, "");
    const std::string gin = read_file(dir.path() / "Na0.8CoO2_VESTA.gin");
    const size_t at = gin.find("fractional   ");
    ASSERT_NE(at, std::string::npos);
    const int atoms = std::stoi(gin.substr(at + 13));
    EXPECT_NEAR(atoms, 64 * 7.6, 1.0);
    const std::string listed = gin.substr(at, gin.find("ensemble") - at);
    EXPECT_EQ(count_of(listed, " core "), atoms);
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
