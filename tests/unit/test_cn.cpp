#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "quorix-cn.hpp"
#include "test_bv_support.hpp"

using quorix_test::box_cell;
using quorix_test::printed_by;

namespace {

// CsCl type, a = 4: Cl shells around Cs of 8 at sqrt(12), 24 at sqrt(44), 24 at sqrt(76);
// the next (at sqrt(108)) lies beyond 10 A.
QUORIX_CELL* caesium_chloride() {
    return box_cell(4, 4, 4, {{"Cs1", "Cs", 1, 0, 0, 0}, {"Cl1", "Cl", -1, 0.5, 0.5, 0.5}});
}

// Neighbour list, running number, radial density with its cap on ties, and shells at the
// density minima; the farthest neighbour is never counted into a shell.
TEST(Coordination, ShellsOfCaesiumChloride) {
    CellPtr cell(caesium_chloride());
    CnPtr cn;
    const std::string out =
        printed_by([&] { cn.reset(quorix_cn_new_from_cell(cell.get(), &cell->atom[0], "Cl", -1, -0.1)); });
    ASSERT_TRUE(cn);
    ASSERT_EQ(cn->total, 56);
    EXPECT_NEAR(cn->r[0], std::sqrt(12.0), 1e-12);
    EXPECT_NEAR(cn->r[8], std::sqrt(44.0), 1e-12);
    EXPECT_NEAR(cn->r[55], std::sqrt(76.0), 1e-12);
    EXPECT_EQ(cn->n[55], 56.0);
    EXPECT_NEAR(cn->g[0], 1 / std::sqrt(12.0) / (12.5663706 * 12), 1e-15);
    EXPECT_EQ(cn->g[1], 999.9);
    const double g8 = 1 / (std::sqrt(44.0) - std::sqrt(12.0)) / (12.5663706 * 44);
    EXPECT_NEAR(cn->g[8], g8, 1e-15);
    ASSERT_EQ(cn->total_shell, 3);
    EXPECT_EQ(cn->index_shell[1], 8);
    EXPECT_EQ(cn->index_shell[2], 32);
    EXPECT_EQ(cn->n_shell[0], 8.0);
    EXPECT_EQ(cn->n_shell[1], 24.0);
    EXPECT_EQ(cn->n_shell[2], 23.0);
    EXPECT_NEAR(cn->r_shell[0], std::sqrt(12.0), 1e-12);
    // The smallest density after the first neighbour is the one at sqrt(76); default rds_tiny.
    const double g32 = 1 / (std::sqrt(76.0) - std::sqrt(44.0)) / (12.5663706 * 76);
    char message[128];
    std::snprintf(message, sizeof message, "Message: rds_min = %f   rds_tiny = %f  rds_threshold = %f\n", g32, 0.01,
                  g32 + 0.01);
    EXPECT_EQ(out, message);

    // Distance gaps: every gap between the shells exceeds 0.5 A, none inside them.
    ASSERT_EQ(quorix_cn_calculate_shell_with_sensitivity(cn.get(), -1), 0);
    ASSERT_EQ(cn->total_shell, 3);
    EXPECT_EQ(cn->n_shell[2], 24.0);
    ASSERT_EQ(quorix_cn_calculate_shell_with_sensitivity(cn.get(), 3.5), 0);
    EXPECT_EQ(cn->total_shell, 1);
}

// The search radius includes 10 A exactly, and another atom on the centre's place counts.
TEST(Coordination, TenAngstromIsIncluded) {
    CellPtr cell(box_cell(5, 5, 5, {{"Na1", "Na", 1, 0, 0, 0}, {"Cl1", "Cl", -1, 0, 0, 0}}));
    CnPtr cn;
    printed_by([&] { cn.reset(quorix_cn_new_from_cell(cell.get(), &cell->atom[0], "Cl", -1, 0)); });
    ASSERT_TRUE(cn);
    // Lattice points with i^2 + j^2 + k^2 <= 4: 1 + 6 + 12 + 8 + 6.
    EXPECT_EQ(cn->total, 33);
    EXPECT_EQ(cn->r[0], 0.0);
    EXPECT_EQ(cn->r[32], 10.0);
    EXPECT_TRUE(std::isfinite(cn->g[0]));
}

// Counter-ions and atoms of state 0 coordinate; like charges and the centre do not.
TEST(Coordination, MixedCounterIons) {
    CellPtr cell(box_cell(4, 4, 4,
                          {{"Cs1", "Cs", 1, 0, 0, 0},
                           {"Cl1", "Cl", -1, 0.5, 0.5, 0.5},
                           {"Br1", "Br", -1, 0.5, 0, 0, 0.5},
                           {"K1", "K", 1, 0, 0.5, 0},
                           {"Xe1", "Xe", 0, 0, 0, 0.5}}));
    CnMixPtr cn;
    printed_by([&] { cn.reset(quorix_cn_mix_new_from_cell(cell.get(), &cell->atom[0], 0.01)); });
    ASSERT_TRUE(cn);
    // Two Br (occupancy 0.5) and two Xe at 2 A make the first shell, then eight Cl.
    EXPECT_EQ(cn->r[3], 2.0);
    EXPECT_EQ(cn->n[3], 3.0);
    EXPECT_EQ(cn->n[11], 11.0);
    for (int i = 0; i < cn->total; i++) EXPECT_STRNE(cn->type_c[i], "K");
    // The listing stops before twice the start of the second shell.
    const std::string out = printed_by([&] { quorix_cn_mix_print(cn.get()); });
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3 + 2 * cn->index_shell[1]);

    testing::internal::CaptureStderr();
    CellPtr alone(box_cell(4, 4, 4, {{"Cs1", "Cs", 1, 0, 0, 0}, {"K1", "K", 1, 0.5, 0.5, 0.5}}));
    EXPECT_FALSE(quorix_cn_mix_new_from_cell(alone.get(), &alone->atom[0], 0.01));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: coordinated atom of charge - not found.\n");
}

// Two Cs sites, one on the inversion centre (multiplicity 1) and one off it (2): the average
// of the first shells is weighted by multiplicity.
TEST(Coordination, AverageOverSitesOfASpecies) {
    CellPtr cell(box_cell(6, 6, 6,
                          {{"Cs1", "Cs", 1, 0, 0, 0},
                           {"Cs2", "Cs", 1, 0.3, 0.2, 0.1},
                           {"Cs2", "Cs", 1, 0.7, 0.8, 0.9},
                           {"Cl1", "Cl", -1, 0.5, 0.5, 0.5},
                           {"Cl2", "Cl", -1, 0.5, 0, 0},
                           {"Cl3", "Cl", -1, 0, 0.5, 0}}));
    SymmetryPtr inversion(quorix_test::symmetry_of({{{1, 1, 1}, {0, 0, 0}}, {{-1, -1, -1}, {0, 0, 0}}}));
    double cn[2], r[2];
    for (int site = 0; site < 2; site++) {
        CnPtr record;
        printed_by([&] { record.reset(quorix_cn_new_from_cell(cell.get(), &cell->atom[site], "Cl", -1, 0.01)); });
        ASSERT_TRUE(record);
        cn[site] = record->n_shell[0];
        r[site] = record->r_shell[0];
    }
    const std::string out = printed_by(
        [&] { EXPECT_EQ(quorix_cn_calculate_by_type(cell.get(), inversion.get(), "Cs", 1, "Cl", -1, 0.01), 0); });
    char row[3][64];
    std::snprintf(row[0], sizeof row[0], "CN:    0            1 %10.6f %9.6f\n", cn[0], r[0]);
    std::snprintf(row[1], sizeof row[1], "CN:    1            2 %10.6f %9.6f\n", cn[1], r[1]);
    std::snprintf(row[2], sizeof row[2], "CN:  ave            0 %10.6f %9.6f\n", (cn[0] + 2 * cn[1]) / 3,
                  (r[0] + 2 * r[1]) / 3);
    for (const char* line : row) EXPECT_NE(out.find(line), std::string::npos) << line << out;

    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_cn_calculate_by_type(cell.get(), inversion.get(), "Na", 1, "Cl", -1, 0.01), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: unable to find any atom of Na1+.\n");
}

// Hoppe's effective coordination number of a 4 + 2 octahedron (2.0 and 2.4 A): the
// self-consistent mean length 2.030094 A gives 4.712527, each far bond counting 0.18.
TEST(Coordination, EffectiveCoordinationNumberFromBondLengths) {
    double r[6] = {2.0, 2.0, 2.0, 2.0, 2.4, 2.4}, occ[6] = {1, 1, 1, 1, 1, 1};
    int os[6] = {};
    char type[6][3] = {};
    QUORIX_CN_BV record{};
    record.total = 6;
    record.r = r;
    record.occ = occ;
    record.os_c = os;
    record.type_c = type;
    EXPECT_NEAR(quorix_cn_bv_effective_cn(&record), 4.712527, 1e-6);
}

}  // namespace
