// Coordination commands on rock salt (a = 5.64056 A): six Cl at a/2, eight at a*sqrt(3)/2.
#include <gtest/gtest.h>

#include <string>

#include "cli.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

const std::string kSalt = "NaCl_COD9008678_occupancy.cif";

bool has(const std::string& out, const std::string& piece) { return out.find(piece) != std::string::npos; }

TEST(CnCommands, ShellsOfRockSalt) {
    ScratchDir dir;
    dir.copy_in(kSalt);
    const auto mixed = run_quorix({"--cal-cn", kSalt, "Na"}, dir.path());
    EXPECT_EQ(mixed.err, "");
    EXPECT_TRUE(has(mixed.out, "CN: Center atom:            Na (Na1+)\nCN: Coordination Number:        6.000\n"))
        << mixed.out;
    // Neighbours are listed up to twice the start of the second shell.
    EXPECT_TRUE(has(mixed.out, "CN:    12      2             Cl1-  4.884868  1.000   12.000 "));
    EXPECT_FALSE(has(mixed.out, "CN:    13 "));

    const auto atom = run_quorix({"--cal-cn-atom", kSalt, "Na", "Cl", "-1"}, dir.path());
    EXPECT_TRUE(has(atom.out, "CN: shell         r     cn\nCN:     0  2.820280  6.000\nCN:     1  4.884868  8.000\n"))
        << atom.out;

    const auto type = run_quorix({"--cal-cn-type", kSalt, "Na", "1", "Cl", "-1"}, dir.path());
    EXPECT_TRUE(
        has(type.out, "CN:    0            4   6.000000  2.820280\nCN:  ave            0   6.000000  2.820280\n"))
        << type.out;

    const auto missing = run_quorix({"--cal-cn", kSalt, "K1"}, dir.path());
    EXPECT_EQ(missing.err, "Error: atom named K1 not found.\n");
    const auto absent = run_quorix({"--cal-cn-atom", kSalt, "Na", "Br", "-1"}, dir.path());
    EXPECT_EQ(absent.err, "Error: atom of type Br1- not found.\nError: quorix_cn_new_from_cell() returns NULL.\n");
}

// Six bonds of 0.154 v.u. make 96 % of the sum of 0.962; the eight next Cl are listed as a sum.
TEST(CnCommands, CoordinationByBondValence) {
    ScratchDir dir;
    dir.copy_in(kSalt);
    const auto result = run_quorix({"--cal-cn-bv", kSalt, "Cl"}, dir.path());
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(has(result.out,
                    "CN: Center atom:            Cl (Cl1-)\nCN: Bond valence sum:    -0.962029\n"
                    "CN: Coordination Number:        6.000 (bonds up to 95% of the bond valence sum)\n"))
        << result.out;
    EXPECT_TRUE(has(result.out,
                    "CN:     6             Na1+  2.820280  1.000    6.000  0.153734  0.922406  0.153734   "
                    "95.9% <- cn\n"))
        << result.out;
    EXPECT_TRUE(has(result.out, "CN: 8 weaker bonds below 0.01 v.u. not listed, together 0.039623 v.u.\n"));
    EXPECT_EQ(run_quorix({"--cal-cn-bv", kSalt, "Xx"}, dir.path()).err, "Error: atom named Xx not found.\n");
}

}  // namespace
