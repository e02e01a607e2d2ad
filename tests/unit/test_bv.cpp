#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "quorix-bv.hpp"
#include "test_bv_support.hpp"

using quorix_test::box_cell;
using quorix_test::bv_pair_set;
using quorix_test::printed_by;

namespace {

// Sums of a cell whose sites are numbered by `symmetry`, with standard output swallowed.
QUORIX_BV* sums_of(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt) {
    EXPECT_EQ(quorix_cell_flag_site_by_symmetry(cell, symmetry), 0);
    QUORIX_BV* bv = nullptr;
    printed_by([&] { bv = quorix_bv_calculate_from_flagged_cell(cell, ppt); });
    return bv;
}

// Rock salt with a cutoff between the first (a/2) and second (a*sqrt(3)/2) Na-Cl shells:
// each ion has six bonds, and the face-centring makes two sites of four atoms.
TEST(BondValence, RockSaltSitesSumsAndPairParts) {
    CellPtr cell(quorix_test::rock_salt(5.64));
    SymmetryPtr symmetry(quorix_test::face_centring());
    PropertyPtr ppt(bv_pair_set("Na", 1, "Cl", -1, 2.15, 0.37, 3.5));
    BvPtr bv(sums_of(cell.get(), symmetry.get(), ppt.get()));
    ASSERT_TRUE(bv);
    const double s = std::exp((2.15 - 2.82) / 0.37);
    ASSERT_EQ(bv->total, 2);
    EXPECT_EQ(bv->multi[0], 4);
    EXPECT_EQ(bv->multi[1], 4);
    EXPECT_STREQ(bv->atom[0].type, "Na");
    EXPECT_NEAR(bv->sum[0], 6 * s, 1e-12);
    EXPECT_NEAR(bv->sum[1], -6 * s, 1e-12);
    EXPECT_NEAR(bv->value[0][1], 6 * s, 1e-12);
    EXPECT_NEAR(bv->value[1][0], -6 * s, 1e-12);
    EXPECT_EQ(bv->value[0][0], 0.0);  // like charges do not bond
    EXPECT_EQ(bv->value[1][1], 0.0);
    double gii = 0;
    const std::string out = printed_by([&] { gii = quorix_gii_calculate_from_bv(bv.get()); });
    EXPECT_NEAR(gii, std::fabs(6 * s - 1), 1e-12);
}

// Contacts exactly at the cutoff or at the 0.3 A floor carry no bond; just inside they do.
TEST(BondValence, CutoffAndFloorAreExclusive) {
    // Anion images at exactly 2.0 A along +-x; every other image lies beyond 4 A.
    CellPtr cell(box_cell(4.0, 4.0, 4.0, {{"K1", "K", 1, 0, 0, 0}, {"F1", "F", -1, 0.5, 0, 0}}));
    SymmetryPtr p1(quorix_symmetry_new_p1());
    for (const auto& [cutoff, bonds] : {std::pair{2.0, 0}, std::pair{2.0 + 1e-9, 2}}) {
        PropertyPtr ppt(bv_pair_set("K", 1, "F", -1, 2.0, 0.37, cutoff));
        BvPtr bv(sums_of(cell.get(), p1.get(), ppt.get()));
        ASSERT_TRUE(bv);
        EXPECT_NEAR(bv->sum[0], bonds * 1.0, 1e-12) << "cutoff " << cutoff;
    }
    // 4.8 / 16 is 0.3 to the last bit, so the contact lies exactly on the floor.
    CellPtr close(box_cell(4.8, 4.8, 4.8, {{"K1", "K", 1, 0, 0, 0}, {"F1", "F", -1, 0.0625, 0, 0}}));
    PropertyPtr ppt(bv_pair_set("K", 1, "F", -1, 2.0, 0.37, 1.0));
    BvPtr bv(sums_of(close.get(), p1.get(), ppt.get()));
    ASSERT_TRUE(bv);
    EXPECT_EQ(bv->sum[0], 0.0);
}

// A neighbour's occupancy weights the bond, the site's own does not; atoms of oxidation
// state 0 and like charges add nothing, also to the GII.
TEST(BondValence, OccupancyWeightsTheNeighbourOnly) {
    CellPtr cell(box_cell(4.0, 4.0, 4.0,
                          {{"Cs1", "Cs", 1, 0, 0, 0, 0.25},
                           {"Cl1", "Cl", -1, 0.5, 0.5, 0.5, 0.5},
                           {"Xe1", "Xe", 0, 0.5, 0, 0},
                           {"Cs2", "Cs", 1, 0, 0.5, 0}}));
    SymmetryPtr p1(quorix_symmetry_new_p1());
    PropertyPtr ppt(bv_pair_set("Cs", 1, "Cl", -1, 2.8, 0.37, 3.6));
    BvPtr bv(sums_of(cell.get(), p1.get(), ppt.get()));
    ASSERT_TRUE(bv);
    ASSERT_EQ(bv->total, 4);
    const double first = std::exp((2.8 - std::sqrt(12.0)) / 0.37);  // eight corners of the cube
    const double second = std::exp((2.8 - std::sqrt(8.0)) / 0.37);  // Cs2 to four Cl
    EXPECT_NEAR(bv->sum[0], 8 * 0.5 * first, 1e-12);
    EXPECT_NEAR(bv->sum[1], -(8 * 0.25 * first + 4 * 1.0 * second), 1e-12);
    EXPECT_EQ(bv->sum[2], 0.0);
    EXPECT_NEAR(bv->sum[3], 4 * 0.5 * second, 1e-12);
}

// A site's weight in the GII is its multiplicity times its occupancy.
TEST(BondValence, InstabilityIndexWeights) {
    BvPtr bv(quorix_bv_new(2));
    bv->atom[0] = {"Li1", "Li", 1, {}, {}, 0.75, 1, 0, false};
    bv->multi[0] = 4;
    bv->sum[0] = 1.2;
    bv->atom[1] = {"O1", "O", -2, {}, {}, 1.0, 2, 0, false};
    bv->multi[1] = 1;
    bv->sum[1] = -2.6;
    double gii = -1;
    printed_by([&] { gii = quorix_gii_calculate_from_bv(bv.get()); });
    EXPECT_NEAR(gii, std::sqrt((3 * 0.04 + 1 * 0.36) / 4), 1e-12);
}

// The verdict bounds: 0 is "average" as the bounds fall, 0.15 and 0.3 open the next class.
// One site of state 0 makes the GII equal its sum to the last bit.
TEST(BondValence, InstabilityVerdicts) {
    const struct {
        double gii;
        const char* verdict;
    } cases[] = {
        {0.0, "GII: suggested stability: average.\n"},
        {0.1, "GII: suggested stability: stable.\n"},
        {0.15, "GII: suggested stability: average.\n"},
        {0.3, "GII: suggested stability: unstable.\n"},
        {1.0, "GII: unreasonable value.\nGII: there might be an error in input structure or calculation.\n"},
    };
    for (const auto& c : cases) {
        BvPtr bv(quorix_bv_new(1));
        bv->atom[0].occ = 0.5;
        bv->multi[0] = 3;
        bv->sum[0] = c.gii;
        double gii = -1;
        const std::string out = printed_by([&] { gii = quorix_gii_calculate_from_bv(bv.get()); });
        EXPECT_EQ(gii, c.gii);
        char first[64];
        std::snprintf(first, sizeof first, "GII: Global instability index = %f\n", c.gii);
        EXPECT_EQ(out, std::string(first) + c.verdict);
    }
}

TEST(BondValence, MissingPairParametersAreReported) {
    CellPtr cell(quorix_test::rock_salt(5.64));
    SymmetryPtr symmetry(quorix_test::face_centring());
    PropertyPtr ppt(bv_pair_set("Na", 1, "Cl", -1, 0.0, 0.37, 3.5));
    testing::internal::CaptureStderr();
    BvPtr bv(sums_of(cell.get(), symmetry.get(), ppt.get()));
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(bv);
    EXPECT_EQ(err,
              "Error: incorrect r0 at [0](Na1+)-(Cl1-) r0=0.000000\n"
              "Error: quorix_bv_validate_property() returns non-zero.\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_bv_validate_property(nullptr), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: QUORIX_PROPERTY has not been properly initialized.\n");
}

// Cutting the cell to two species leaves their sums as in a cell holding only them, and is
// refused when neither species is present; the caller's cell keeps its atoms.
TEST(BondValence, TwoSpeciesOfALargerCell) {
    const std::string unitary = quorix_test::unitary_db(), binary = quorix_test::binary_db();
    SymmetryPtr p1(quorix_symmetry_new_p1());
    CellPtr salt(quorix_test::rock_salt(5.64));
    CellPtr mixed(quorix_test::rock_salt(5.64));
    quorix_copy_bounded(mixed->atom[0].type, "K", 3);  // one Na replaced by K
    BvPtr expected, cut;
    printed_by([&] {
        expected.reset(quorix_bv_calculate_from_cell(salt.get(), p1.get(), unitary.c_str(), binary.c_str()));
        cut.reset(quorix_bv_calculate_from_cell_with_type(mixed.get(), p1.get(), "Na", 1, "Cl", -1, unitary.c_str(),
                                                          binary.c_str()));
    });
    ASSERT_TRUE(expected && cut);
    EXPECT_EQ(mixed->total, 8);
    ASSERT_EQ(cut->total, 7);
    // Sites follow the atoms' order: the Na sums stay, the Cl sums lose the bonds to the K.
    for (long k = 0; k < 3; k++) EXPECT_NEAR(cut->sum[k], expected->sum[k + 1], 1e-12);
    for (long k = 3; k < 7; k++) EXPECT_GT(cut->sum[k], expected->sum[k + 1] + 0.01);
    testing::internal::CaptureStderr();
    BvPtr none(quorix_bv_calculate_from_cell_with_type(salt.get(), p1.get(), "Li", 1, "O", -2, unitary.c_str(),
                                                       binary.c_str()));
    EXPECT_FALSE(none);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: unable to find any atom of Li1+ or O2-.\n");
}

// The text export on a record filled by hand (the printed layouts are checked by the commands).
TEST(BondValence, TextExport) {
    BvPtr bv(quorix_bv_new(2));
    bv->atom[0] = {"Li1", "Li", 1, {}, {}, 0.5, 1, 0, false};
    bv->atom[1] = {"O1", "O", -2, {}, {}, 1.0, 2, 0, false};
    bv->sum[0] = 1.0625;
    bv->sum[1] = -2.125;
    bv->value[0][1] = 1.0625;
    bv->value[1][0] = -2.125;
    TextPtr text(quorix_bv_export_to_text(bv.get()));
    ASSERT_TRUE(text);
    const std::string rule = "=================================================================\r\n";
    EXPECT_EQ(std::string(text->content), "Bond valence sum:\r\nTotal inequivalent sites: 2\r\n" + rule +
                                              " Li1(Li1+)(occ=0.500) bv_sum =  1.062500\r\n"
                                              "  O1(O2-)(occ=1.000) bv_sum = -2.125000\r\n" +
                                              rule +
                                              " Li1(Li1+)(occ=0.500)  Li1(Li1+)(occ=0.500) bv =  0.000000\r\n"
                                              " Li1(Li1+)(occ=0.500)   O1(O2-)(occ=1.000) bv =  1.062500\r\n"
                                              "  O1(O2-)(occ=1.000)  Li1(Li1+)(occ=0.500) bv = -2.125000\r\n"
                                              "  O1(O2-)(occ=1.000)   O1(O2-)(occ=1.000) bv =  0.000000\r\n" +
                                              rule);
}

}  // namespace
