// Coordination commands on rock salt (a = 5.64056 A): six Cl at a/2, eight at a*sqrt(3)/2.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support.hpp"

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

// Six bonds of 0.154 v.u., then a drop to the eight next Cl, which are listed as a sum.
TEST(CnCommands, CoordinationByBondValence) {
    ScratchDir dir;
    dir.copy_in(kSalt);
    const auto result = run_quorix({"--cal-cn-bv", kSalt, "Cl"}, dir.path());
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(has(result.out,
                    "CN: Center atom:            Cl (Cl1-)\nCN: Bond valence sum:    -0.962029\n"
                    "CN: Coordination Number:        6.000 (bonds before the largest relative drop in bond valence)\n"
                    "CN: Effective Coordination Number:        6.000 (ECoN from the bond lengths)\n"))
        << result.out;
    EXPECT_TRUE(has(result.out,
                    "CN:     6             Na1+  2.820280  1.000    6.000  0.153734  0.922406  0.153734   "
                    "95.9% <- cn\n"))
        << result.out;
    EXPECT_TRUE(has(result.out, "CN: 8 weaker bonds below 0.01 v.u. not listed, together 0.039623 v.u.\n"));
    EXPECT_EQ(run_quorix({"--cal-cn-bv", kSalt, "Xx"}, dir.path()).err, "Error: atom named Xx not found.\n");
}

// The first shell by bond valence is the shell --cal-cn finds by distance, on rock salt,
// antifluorite, rutile, spinel, layered LiCoO2 and olivine (Li 6, Fe 6, P 4).
TEST(CnCommands, FirstShellByBondValenceIsTheFirstShellByDistance) {
    const std::pair<std::string, std::vector<std::string>> structures[] = {
        {"NaCl_COD9008678_occupancy.cif", {"Na", "Cl"}},          {"Li2O_COD9009059_occupancy.cif", {"Li", "O"}},
        {"TiO2_rutile_COD9009083_occupancy.cif", {"Ti", "O"}},    {"LiCoO2_VESTA.cif", {"Li1", "Co1", "O1"}},
        {"Fe3O4_magnetite_COD9007644_occupancy.cif", {"FeM", "FeT", "O"}},
        {"LiFePO4_COD4001848_oxidation.cif", {"Li1", "Fe1", "P1"}}};
    auto cn_line = [](const std::string& out) {
        const size_t at = out.find("CN: Coordination Number:");
        return at == std::string::npos ? std::string("none") : out.substr(at, out.find('\n', at) - at);
    };
    for (const auto& [file, atoms] : structures) {
        ScratchDir dir;
        dir.copy_in(file);
        for (const std::string& atom : atoms) {
            const std::string by_distance = cn_line(run_quorix({"--cal-cn", file, atom}, dir.path()).out);
            const std::string by_bv = cn_line(run_quorix({"--cal-cn-bv", file, atom}, dir.path()).out);
            EXPECT_EQ(by_bv.substr(0, by_distance.size()), by_distance) << file << " " << atom;
        }
    }
}

}  // namespace
