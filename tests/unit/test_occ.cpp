#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "support.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-la.hpp"

namespace {

using quorix_test::Site;

using quorix_test::make_cell;


std::map<std::string, long> species_counts(const QUORIX_CELL* cell) {
    std::map<std::string, long> count;
    for (long i = 0; i < cell->total; i++) count[cell->atom[i].type]++;
    return count;
}

// Every atom fully occupied and no two atoms on one site.
void expect_ordered(QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++) {
        EXPECT_EQ(cell->atom[i].occ, 1.0) << cell->atom[i].name;
        for (long j = i + 1; j < cell->total; j++)
            EXPECT_GE(quorix_cell_min_distance_btw_atoms(cell, &cell->atom[i], &cell->atom[j]), 0.3);
    }
}

}  // namespace

TEST(Supercell, DefaultMultiplesFollowTheAtomCount) {
    const std::map<long, int> multiple = {{1, 7},  {3, 6},  {4, 5},  {7, 5},   {8, 4},  {14, 4},
                                          {15, 3}, {36, 3}, {37, 2}, {124, 2}, {250, 1}};
    for (const auto& [atoms, m] : multiple) {
        CellPtr cell = make_cell(4.0, 4.5, 5.0, std::vector<Site>(atoms, {"Li", 1, 0.1, 0.1, 0.1, 1}));
        CellPtr super(quorix_cell_supercell_default(cell.get()));
        ASSERT_TRUE(super);
        EXPECT_EQ(super->total, atoms * m * m * m) << atoms;
        EXPECT_NEAR(super->parameter[1], 4.5 * m, 1e-9) << atoms;
    }
    // 125 to 249 atoms: c stays single unless it is strictly the shortest axis; ties keep c single.
    const double lengths[][3] = {{5, 6, 7}, {7, 6, 5}, {6, 5, 5}, {5, 5, 7}, {7, 5, 6}};
    const double expected[][3] = {{10, 12, 7}, {14, 6, 10}, {12, 10, 5}, {10, 10, 7}, {14, 10, 6}};
    for (int k = 0; k < 5; k++) {
        CellPtr cell =
            make_cell(lengths[k][0], lengths[k][1], lengths[k][2], std::vector<Site>(200, {"Li", 1, 0.1, 0.1, 0.1, 1}));
        CellPtr super(quorix_cell_supercell_default(cell.get()));
        ASSERT_TRUE(super);
        for (int i = 0; i < 3; i++) EXPECT_NEAR(super->parameter[i], expected[k][i], 1e-9) << k;
    }
}

// The early rejection of distant pairs must agree with the plain shortest distance, also in a
// skewed cell and for pairs just either side of 0.3 A across a face or a corner.
TEST(MixedSite, AgreesWithTheShortestDistanceInASkewedCell) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int pair = 0; pair < 500; pair++) {
        CellPtr cell = make_cell(3.1, 4.2, 3.7, {{"Na", 1, 0, 0, 0, 0.5}, {"K", 1, 0, 0, 0, 0.5}}, 90, 90, 63.0);
        for (double& v : cell->atom[0].x_f) v = unit(random) < 0.5 ? unit(random) * 0.05 : 1.0 - unit(random) * 0.05;
        quorix_cell_update_coordinate_cartesion(cell.get());
        const double direction[3] = {unit(random) - 0.5, unit(random) - 0.5, unit(random) - 0.5};
        const double length = 0.25 + 0.1 * unit(random) + 1e-12;
        for (int k = 0; k < 3; k++)
            cell->atom[1].x[k] = cell->atom[0].x[k] + length * direction[k] / quorix_vector3_double_length(direction);
        const double shortest = quorix_cell_min_distance_btw_atoms(cell.get(), &cell->atom[0], &cell->atom[1]);
        EXPECT_EQ(quorix_cell_partial_occ_at_conducting_site(cell.get(), "Na", 1), shortest < 0.3) << shortest;
    }
}

// A four-way site and two sites that each share Sn with a different partner: whatever the
// order of the draws, every site ends with one of its own occupants or empty, every species
// with the floor or ceiling of its occupancy, and each choice is as likely as its occupancy.
TEST(AssignMixedSites, SeveralSpeciesPerSiteKeepTheirShares) {
    std::srand(5);
    CellPtr cell = make_cell(8, 8, 8, {{"K", 1, 0, 0, 0, 0.4}, {"Na", 1, 0, 0, 0.01, 0.3}, {"Rb", 1, 0.01, 0, 0, 0.2},
                                       {"Sn", 2, 0.5, 0.5, 0, 0.5}, {"In", 3, 0.5, 0.5, 0, 0.5},
                                       {"Sn", 2, 0, 0.5, 0.5, 0.5}, {"Ca", 2, 0, 0.5, 0.5, 0.5}});
    std::map<std::string, int> seen;
    const int runs = 1000;
    for (int run = 0; run < runs; run++) {
        CellPtr by_na(quorix_cell_assign_partial_occ_at_conducting_site(cell.get(), "Na", 1));
        CellPtr assigned(quorix_cell_assign_partial_occ_at_conducting_site(by_na.get(), "Sn", 2));
        ASSERT_TRUE(assigned);
        auto count = species_counts(assigned.get());
        EXPECT_LE(count["K"] + count["Na"] + count["Rb"], 1);
        EXPECT_EQ(count["Sn"], 1);
        EXPECT_EQ(count["In"] + count["Ca"], 1);
        expect_ordered(assigned.get());
        for (const auto& [type, n] : count) seen[type] += static_cast<int>(n);
    }
    EXPECT_NEAR(seen["K"] / double(runs), 0.4, 0.05);
    EXPECT_NEAR(seen["Na"] / double(runs), 0.3, 0.05);
    EXPECT_NEAR(seen["Rb"] / double(runs), 0.2, 0.05);
    EXPECT_NEAR(seen["In"] / double(runs), 0.5, 0.05);
}

// Partial sites shared with no other species (a split pair 0.1 A apart, plain half sites) are
// left as they are.
// Partial sites shared with no other species (a split pair 0.1 A apart, plain half sites) are
// left as they are.
TEST(AssignMixedSites, SitesNotSharedWithAnotherSpeciesAreKept) {
    CellPtr cell = make_cell(10, 10, 10, {{"Li", 1, 0.3, 0.3, 0.3, 0.5}, {"Li", 1, 0.31, 0.3, 0.3, 0.5},
                                          {"Li", 1, 0.6, 0.6, 0.6, 0.5}, {"Li", 1, 0, 0, 0, 1},
                                          {"O", -2, 0.5, 0, 0, 1}});
    CellPtr assigned(quorix_cell_assign_partial_occ_at_conducting_site(cell.get(), "Li", 1));
    ASSERT_TRUE(assigned);
    ASSERT_EQ(assigned->total, cell->total);
    for (long i = 0; i < cell->total; i++) EXPECT_EQ(assigned->atom[i].occ, cell->atom[i].occ);
}
