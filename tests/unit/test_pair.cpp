#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "test_property_support.hpp"

using quorix_test::make_cell;
using quorix_test::Site;

namespace {

// Parameter files with round values, so that expectations can be worked out by hand.
class PairModel : public quorix_test::TempFiles {
protected:
    void SetUp() override {
        unitary_ = write("pair-unitary.dat",
                         "DATA_START\n"
                         "1 H 1 1 1.008 1 1 0 0.37 0.0\n"
                         "3 Li 1 1 6.941 2 1 1 1.31 0.03\n"
                         "8 O -2 -2 15.9994 2 6 1 1.33 0.15\n"
                         "9 F -1 -1 18.998 2 7 1 1.26 0.14\n"
                         "11 Na 1 1 22.99 3 1 1 1.6 0.0\n"
                         "26 Fe 3 3 55.845 4 8 2 0.9 0.2\n"
                         "55 Cs 1 1 132.9 6 1 1 2.0 0.01\n"
                         "DATA_END\n");
        binary_ = write("pair-binary.dat",
                        "DATA_START\n"
                        "H 1 O -2 0.9 0.4 2.0 4.0\n"
                        "Li 1 O -2 1.2 0.5 4.0 5.5\n"
                        "Li 1 F -1 1.1 0.4 6.0 5.0\n"
                        "Na 1 O -2 1.5 0.5 6.0 6.0\n"
                        "Fe 3 O -2 1.7 0.4 6.0 6.0\n"
                        "Cs 1 F -1 2.0 0.45 10.0 7.0\n"
                        "DATA_END\n");
    }
    // Builds the set of a cell with a given screening factor (no search).
    QUORIX_PROPERTY* import(QUORIX_CELL* cell, const char* type = nullptr, int os = 0) {
        return quorix_property_import_from_cell(cell, type, os, 0.7, unitary_.c_str(), binary_.c_str());
    }
    std::string unitary_, binary_;
};

// Li2O-like cubic cell with one O site at occupancy `o_occ` and one F site.
QUORIX_CELL* mixed_anion_cell() {
    return make_cell(5, 5, 5, 90, 90, 90,
                     {{"Li", 1, 0, 0, 0}, {"Li", 1, 0.5, 0.5, 0}, {"O", -2, 0.5, 0, 0.5}, {"O", -2, 0, 0.5, 0.5},
                      {"F", -1, 0.5, 0.5, 0.5, 0.5}});
}

}  // namespace

TEST_F(PairModel, EffectiveBAveragesTheCationsBOverTheAnionsOfTheCell) {
    CellPtr cell(mixed_anion_cell());
    PropertyPtr ppt(quorix_property_new(0));
    ASSERT_EQ(quorix_property_update_index_by_cell(ppt.get(), cell.get()), 0);
    ASSERT_EQ(quorix_property_update_read_from_file(ppt.get(), cell.get(), unitary_.c_str(), binary_.c_str()), 0);
    const int li = quorix_property_find_index(ppt.get(), "Li", 1);
    const int o = quorix_property_find_index(ppt.get(), "O", -2);
    const int f = quorix_property_find_index(ppt.get(), "F", -1);
    ASSERT_EQ(quorix_property_calculate_effective_b(ppt.get(), cell.get()), 0);

    // Anions weighted by occupancy: (0.5 * 2 + 0.4 * 0.5) / 2.5 = 0.48.
    EXPECT_NEAR(ppt->bin[li][o].b, 0.5 / 3 + 2.0 / 3 * 0.48, 1e-12);
    EXPECT_NEAR(ppt->bin[li][f].b, 0.4 / 3 + 2.0 / 3 * 0.48, 1e-12);
    EXPECT_DOUBLE_EQ(ppt->bin[li][o].b_old, 0.5);
    EXPECT_DOUBLE_EQ(ppt->bin[o][f].b, 0);

    // A conducting anion absent from a cation-only cell leaves nothing to average over.
    CellPtr cations(make_cell(5, 5, 5, 90, 90, 90, {{"Li", 1, 0, 0, 0}}));
    PropertyPtr lonely(quorix_property_new(0));
    quorix_property_update_index_by_cell(lonely.get(), cations.get());
    quorix_property_append_index(lonely.get(), "O", -2);
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_property_calculate_effective_b(lonely.get(), cations.get()), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: no anions in the cell to average b of Li(1) over.\n");
}

TEST_F(PairModel, FractionalChargesScaleWithThePeriodAndAreCapped) {
    // Li counts as period 1, O as 2: C = 8, A = -4 * 2 / sqrt(2).
    CellPtr li2o(quorix_test::make_li2o());
    testing::internal::CaptureStdout();
    PropertyPtr ppt(import(li2o.get()));
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ppt);
    const double c = 8, a = -4 * 2 / std::sqrt(2.0);
    EXPECT_NEAR(ppt->uni[0].q, std::sqrt(-a / c), 1e-12);
    EXPECT_NEAR(ppt->uni[1].q, std::sqrt(-c / a) * -2 / std::sqrt(2.0), 1e-12);

    // Cs2LiF3: C = 2 / 2 + 1, A = -3 / sqrt(2); Li would carry 1.03 and caps all charges.
    CellPtr caesium(make_cell(6, 6, 6, 90, 90, 90,
                              {{"Cs", 1, 0, 0, 0}, {"Cs", 1, 0.5, 0.5, 0.5}, {"Li", 1, 0.5, 0, 0},
                               {"F", -1, 0.25, 0.25, 0.25}, {"F", -1, 0.75, 0.25, 0.25}, {"F", -1, 0.25, 0.75, 0.75}}));
    testing::internal::CaptureStdout();
    ppt.reset(import(caesium.get()));
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ppt);
    EXPECT_NE(out.find("Message: charge of Li(1) is capped to 1.00.\n"), std::string::npos);
    EXPECT_NEAR(ppt->uni[quorix_property_find_index(ppt.get(), "Li", 1)].q, 1.0, 1e-12);
    EXPECT_NEAR(ppt->uni[quorix_property_find_index(ppt.get(), "Cs", 1)].q, 0.5, 1e-12);
    EXPECT_NEAR(ppt->uni[quorix_property_find_index(ppt.get(), "F", -1)].q, -2.0 / 3, 1e-12);
}

TEST_F(PairModel, CellsWithoutBothSignsOrWithUnknownSpeciesAreRefused) {
    CellPtr cations(make_cell(5, 5, 5, 90, 90, 90, {{"Li", 1, 0, 0, 0}, {"Li", 1, 0.5, 0.5, 0.5}}));
    CellPtr unknown(make_cell(5, 5, 5, 90, 90, 90, {{"Li", 1, 0, 0, 0}, {"Xx", -1, 0.5, 0.5, 0.5}}));
    CellPtr empty(quorix_cell_new(0));
    testing::internal::CaptureStderr();
    EXPECT_EQ(import(cations.get()), nullptr);
    const std::string no_anions = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    EXPECT_EQ(import(unknown.get()), nullptr);
    const std::string missing = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    EXPECT_EQ(import(empty.get()), nullptr);
    const std::string nothing = testing::internal::GetCapturedStderr();

    EXPECT_EQ(no_anions,
              "Error: fractional charges need both cations and anions in the cell.\n"
              "Error: quorix_property_calculate_fractional_charge() returns non-zero.\n"
              "Error: quorix_property_update() returns non-zero.\n");
    EXPECT_NE(missing.find("Error: Xx(-1) has no principal quantum number; is it in the per-species database?\n"),
              std::string::npos);
    EXPECT_EQ(nothing,
              "Error: QUORIX_CELL has not been properly initialized.\n"
              "Error: quorix_property_update_index_by_cell() returns non-zero.\n");
}

TEST_F(PairModel, ImportSortsTheCellAndAppendsTheConductingIon) {
    CellPtr cell(make_cell(5, 5, 5, 90, 90, 90,
                           {{"O", -2, 0.5, 0, 0.5}, {"Fe", 3, 0, 0, 0}, {"O", -2, 0, 0.5, 0.5},
                            {"O", -2, 0.5, 0.5, 0}, {"Fe", 3, 0.5, 0.5, 0.5}, {"O", -2, 0.25, 0.25, 0.25}}));
    testing::internal::CaptureStdout();
    PropertyPtr ppt(import(cell.get(), "Li", 1));
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ppt);
    EXPECT_STREQ(cell->atom[0].type, "Fe");
    EXPECT_STREQ(cell->atom[5].type, "O");
    ASSERT_EQ(ppt->total, 3);
    EXPECT_EQ(ppt->conducting, 2);
    EXPECT_STREQ(ppt->type[2], "Li");
    EXPECT_DOUBLE_EQ(ppt->uni[2].m, 6.941);
    EXPECT_DOUBLE_EQ(ppt->bin[2][1].r0, 1.2);
    EXPECT_EQ(ppt->uni[0].c, 2);  // d block
    EXPECT_EQ(ppt->uni[2].c, 1);
    EXPECT_GT(ppt->uni[2].q, 0);  // charged like the host's cations
    EXPECT_DOUBLE_EQ(ppt->sf, 0.7);

    // Depth with c = 2: 2 * sqrt(2 * 6) * b^2 / (sqrt(4 * 2) * rmin) / 2.
    const QUORIX_PROPERTY_BINARY& fe_o = ppt->bin[0][1];
    EXPECT_NEAR(fe_o.d0, 2 * std::sqrt(12.0) * fe_o.b * fe_o.b / (std::sqrt(8.0) * fe_o.rmin) / 2, 1e-12);
}

TEST_F(PairModel, MinimaNeedSoftnessExceptForHydrogen) {
    CellPtr cell(make_cell(6, 6, 6, 90, 90, 90,
                           {{"H", 1, 0, 0, 0}, {"Na", 1, 0.5, 0.5, 0.5}, {"O", -2, 0.25, 0.25, 0.25}}));
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    PropertyPtr ppt(import(cell.get()));
    testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(ppt);
    EXPECT_EQ(err, "Warning: r_min for (Na1+)-(O2-) is set to 0 due to softness = 0.\n");
    const int h = quorix_property_find_index(ppt.get(), "H", 1);
    const int na = quorix_property_find_index(ppt.get(), "Na", 1);
    const int o = quorix_property_find_index(ppt.get(), "O", -2);
    EXPECT_GT(ppt->bin[h][o].rmin, 0);
    EXPECT_GT(ppt->bin[h][o].d0, 0);
    EXPECT_DOUBLE_EQ(ppt->bin[na][o].rmin, 0);
    EXPECT_DOUBLE_EQ(ppt->bin[na][o].d0, 0);
}

TEST_F(PairModel, CoresMeetThePotentialAtOneInValueAndSlope) {
    CellPtr cell(quorix_test::make_li2o());
    testing::internal::CaptureStdout();
    PropertyPtr ppt(import(cell.get()));
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(ppt);

    const QUORIX_PROPERTY_BINARY& bond = ppt->bin[0][1];
    const double e_bond = quorix_energy_bonding_with_energy_shift(bond.r_bc, bond.d0, bond.rmin, bond.b, bond.en_s);
    EXPECT_NEAR(e_bond, 1.0, 1e-4);
    EXPECT_NEAR(quorix_pseudopotential_energy_bonding(bond.r_bc, bond.a2, bond.a1, bond.a0), e_bond, 1e-12);
    EXPECT_NEAR(2 * bond.a2 * bond.r_bc, quorix_force_bonding(bond.r_bc, bond.d0, bond.rmin, bond.b), 1e-12);
    EXPECT_NEAR(bond.en_s, quorix_energy_bonding(bond.cutoff, bond.d0, bond.rmin, bond.b), 0);

    const QUORIX_PROPERTY_BINARY& li_li = ppt->bin[0][0];
    const double qq = ppt->uni[0].q * ppt->uni[0].q, sigma = 0.7 * 2 * 1.31;
    const double e_li = quorix_energy_coulombic(li_li.r_cc, qq, sigma);
    EXPECT_NEAR(e_li, 1.0, 1e-4);
    EXPECT_NEAR(quorix_pseudopotential_energy_coulombic(li_li.r_cc, li_li.a2, li_li.a1, li_li.a0), e_li, 1e-12);
    EXPECT_NEAR(2 * li_li.a2 * li_li.r_cc, quorix_force_coulombic(li_li.r_cc, qq, sigma), 1e-12);
    EXPECT_DOUBLE_EQ(ppt->bin[1][0].a0, 0);  // anion-first record: no core

    for (double s : {0.3, 1.0, 2.9}) EXPECT_EQ(quorix_energy_coulombic(10.0, -1.7, s), 0.0);
}
