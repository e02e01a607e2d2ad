// Bond valence sums, the instability index, coordination shells and oxidation states by bond
// valence, on cells whose distances are exact.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "quorix-bv.hpp"
#include "quorix-cn.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-property.hpp"
#include "quorix-os.hpp"
#include "support.hpp"

using quorix_test::make_cell;

namespace {

// One symmetry operation: a diagonal rotation (+1 or -1 per axis) and a translation.
struct Operation {
    std::array<int, 3> diagonal;
    std::array<double, 3> shift;
};

QUORIX_SYMMETRY* symmetry_of(const std::vector<Operation>& operations) {
    QUORIX_SYMMETRY* symmetry = quorix_symmetry_new(static_cast<int>(operations.size()));
    for (size_t n = 0; n < operations.size(); n++)
        for (int k = 0; k < 3; k++) {
            symmetry->card[n].r_f[k][k] = operations[n].diagonal[k];
            symmetry->card[n].t_f[k] = operations[n].shift[k];
        }
    return symmetry;
}

// Rock salt, conventional cell: four Na then four Cl, and its face-centring translations.
CellPtr rock_salt(double a) {
    return make_cell(a, a, a,
                     {{"Na", 1, 0, 0, 0}, {"Na", 1, 0, 0.5, 0.5}, {"Na", 1, 0.5, 0, 0.5}, {"Na", 1, 0.5, 0.5, 0},
                      {"Cl", -1, 0.5, 0, 0}, {"Cl", -1, 0.5, 0.5, 0.5}, {"Cl", -1, 0, 0, 0.5}, {"Cl", -1, 0, 0.5, 0}});
}

QUORIX_SYMMETRY* face_centring() {
    return symmetry_of(
        {{{1, 1, 1}, {0, 0, 0}}, {{1, 1, 1}, {0, 0.5, 0.5}}, {{1, 1, 1}, {0.5, 0, 0.5}}, {{1, 1, 1}, {0.5, 0.5, 0}}});
}

// A set of one cation and one anion with the given bond-valence parameters.
QUORIX_PROPERTY* bv_pair_set(const char* cation, int os_cation, const char* anion, int os_anion, double r0, double b,
                             double cutoff) {
    QUORIX_PROPERTY* ppt = quorix_property_new(0);
    quorix_property_append_index(ppt, cation, os_cation);
    quorix_property_append_index(ppt, anion, os_anion);
    QUORIX_PROPERTY_BINARY& pair = ppt->bin[0][1];
    pair.r0 = r0;
    pair.b = b;
    pair.cutoff = cutoff;
    return ppt;
}

// Runs `call` with standard output captured and returns what it printed.
template <class Call>
std::string printed_by(Call&& call) {
    quorix_test::Capture capture;
    call();
    return capture.finish().out;
}


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
    CellPtr cell = rock_salt(5.64);
    SymmetryPtr symmetry(face_centring());
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
    CellPtr cell = (make_cell(4.0, 4.0, 4.0, {{"K", 1, 0, 0, 0}, {"F", -1, 0.5, 0, 0}}));
    SymmetryPtr p1(quorix_symmetry_new_p1());
    for (const auto& [cutoff, bonds] : {std::pair{2.0, 0}, std::pair{2.0 + 1e-9, 2}}) {
        PropertyPtr ppt(bv_pair_set("K", 1, "F", -1, 2.0, 0.37, cutoff));
        BvPtr bv(sums_of(cell.get(), p1.get(), ppt.get()));
        ASSERT_TRUE(bv);
        EXPECT_NEAR(bv->sum[0], bonds * 1.0, 1e-12) << "cutoff " << cutoff;
    }
    // 4.8 / 16 is 0.3 to the last bit, so the contact lies exactly on the floor.
    CellPtr close = (make_cell(4.8, 4.8, 4.8, {{"K", 1, 0, 0, 0}, {"F", -1, 0.0625, 0, 0}}));
    PropertyPtr ppt(bv_pair_set("K", 1, "F", -1, 2.0, 0.37, 1.0));
    BvPtr bv(sums_of(close.get(), p1.get(), ppt.get()));
    ASSERT_TRUE(bv);
    EXPECT_EQ(bv->sum[0], 0.0);
}

// A neighbour's occupancy weights the bond, the site's own does not; atoms of oxidation
// state 0 and like charges add nothing, also to the GII.
TEST(BondValence, OccupancyWeightsTheNeighbourOnly) {
    CellPtr cell = (make_cell(4.0, 4.0, 4.0,
                          {{"Cs", 1, 0, 0, 0, 0.25},
                           {"Cl", -1, 0.5, 0.5, 0.5, 0.5},
                           {"Xe", 0, 0.5, 0, 0},
                           {"Cs", 1, 0, 0.5, 0}}));
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
