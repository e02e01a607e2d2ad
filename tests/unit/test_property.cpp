// The parameter set: parameter files, fractional charges, effective b, Morse depths and the
// cores, on hand-written parameter files and real structures.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "quorix-import-build.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "support.hpp"

using quorix_test::make_cell;

namespace {



// Parameter files with round values, so that expectations can be worked out by hand.
class PairModel : public testing::Test {
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
    // The set of a cell at screening factor 0.7 (no search); what it prints goes to out_, err_.
    QUORIX_PROPERTY* import(QUORIX_CELL* cell, const char* type = nullptr, int os = 0) {
        quorix_test::Capture capture;
        QUORIX_PROPERTY* ppt = quorix_property_import_from_cell(cell, type, os, 0.7, unitary_.c_str(), binary_.c_str());
        err_ = capture.finish().err;
        out_ = capture.finish().out;
        return ppt;
    }
    double charge(const QUORIX_PROPERTY* ppt, const char* type, int os) {
        return ppt->uni[quorix_property_find_index(ppt, type, os)].q;
    }
    std::string write(const std::string& name, const std::string& content) {
        return dir_.write(name, content).string();
    }
    quorix_test::ScratchDir dir_;
    std::string unitary_, binary_, out_, err_;
};

}  // namespace

TEST_F(PairModel, EffectiveBAveragesTheCationsBOverTheAnionsOfTheCell) {
    CellPtr cell = (make_cell(5, 5, 5,
                           {{"Li", 1, 0, 0, 0}, {"Li", 1, 0.5, 0.5, 0}, {"O", -2, 0.5, 0, 0.5},
                            {"O", -2, 0, 0.5, 0.5}, {"F", -1, 0.5, 0.5, 0.5, 0.5}}));
    PropertyPtr ppt(import(cell.get()));
    ASSERT_TRUE(ppt);
    // Species F, Li, O; the anions weighted by occupancy: (0.5 * 2 + 0.4 * 0.5) / 2.5 = 0.48.
    EXPECT_NEAR(ppt->bin[1][2].b, 0.5 / 3 + 2.0 / 3 * 0.48, 1e-12);
    EXPECT_NEAR(ppt->bin[1][0].b, 0.4 / 3 + 2.0 / 3 * 0.48, 1e-12);
}

TEST_F(PairModel, FractionalChargesScaleWithThePeriodAndAreCapped) {
    // Li counts as period 1, O as 2: C = 8, A = -4 * 2 / sqrt(2).
    CellPtr li2o = std::move(quorix_test::read_cif("Li2O_COD9009059_occupancy.cif").cell);
    PropertyPtr ppt(import(li2o.get()));
    ASSERT_TRUE(ppt);
    const double c = 8, a = -4 * 2 / std::sqrt(2.0);
    EXPECT_NEAR(charge(ppt.get(), "Li", 1), std::sqrt(-a / c), 1e-12);
    EXPECT_NEAR(charge(ppt.get(), "O", -2), std::sqrt(-c / a) * -2 / std::sqrt(2.0), 1e-12);

    // Cs2LiF3: C = 2 / 2 + 1, A = -3 / sqrt(2); Li would carry 1.03, so every charge is scaled.
    CellPtr caesium = (make_cell(6, 6, 6,
                              {{"Cs", 1, 0, 0, 0}, {"Cs", 1, 0.5, 0.5, 0.5}, {"Li", 1, 0.5, 0, 0},
                               {"F", -1, 0.25, 0.25, 0.25}, {"F", -1, 0.75, 0.25, 0.25}, {"F", -1, 0.25, 0.75, 0.75}}));
    ppt.reset(import(caesium.get()));
    ASSERT_TRUE(ppt);
    EXPECT_NE(out_.find("Message: charge of Li(1) is capped to 1.00.\n"), std::string::npos);
    EXPECT_NEAR(charge(ppt.get(), "Li", 1), 1.0, 1e-12);
    EXPECT_NEAR(charge(ppt.get(), "Cs", 1), 0.5, 1e-12);
    EXPECT_NEAR(charge(ppt.get(), "F", -1), -2.0 / 3, 1e-12);
}

TEST_F(PairModel, CellsWithoutBothSignsOrWithUnknownSpeciesAreRefused) {
    CellPtr cations = make_cell(5, 5, 5, {{"Li", 1, 0, 0, 0}, {"Li", 1, 0.5, 0.5, 0.5}});
    EXPECT_EQ(PropertyPtr(import(cations.get())), nullptr);
    // A conducting anion absent from a cation-only cell leaves nothing to average b over.
    EXPECT_EQ(PropertyPtr(import(cations.get(), "O", -2)), nullptr);
    EXPECT_EQ(err_.rfind("Error: no anions in the cell to average b of Li(1) over.\n", 0), 0u) << err_;
    CellPtr unknown = make_cell(5, 5, 5, {{"Li", 1, 0, 0, 0}, {"Xx", -1, 0.5, 0.5, 0.5}});
    EXPECT_EQ(PropertyPtr(import(unknown.get())), nullptr);
    CellPtr empty(quorix_cell_new(0));
    EXPECT_EQ(PropertyPtr(import(empty.get())), nullptr);
}

TEST_F(PairModel, ImportSortsTheCellAndAppendsTheConductingIon) {
    CellPtr cell = (make_cell(5, 5, 5,
                           {{"O", -2, 0.5, 0, 0.5}, {"Fe", 3, 0, 0, 0}, {"O", -2, 0, 0.5, 0.5},
                            {"O", -2, 0.5, 0.5, 0}, {"Fe", 3, 0.5, 0.5, 0.5}, {"O", -2, 0.25, 0.25, 0.25}}));
    PropertyPtr ppt(import(cell.get(), "Li", 1));
    ASSERT_TRUE(ppt);
    EXPECT_STREQ(cell->atom[0].type, "Fe");
    EXPECT_STREQ(cell->atom[5].type, "O");
    ASSERT_EQ(ppt->total, 3);
    EXPECT_EQ(ppt->conducting, 2);
    EXPECT_DOUBLE_EQ(ppt->bin[2][1].r0, 1.2);
    EXPECT_GT(ppt->uni[2].q, 0);

    // A d-block cation has c = 2: depth 2 * sqrt(2 * 6) * b^2 / (sqrt(4 * 2) * rmin) / 2.
    const QUORIX_PROPERTY_BINARY& fe_o = ppt->bin[0][1];
    EXPECT_NEAR(fe_o.d0, 2 * std::sqrt(12.0) * fe_o.b * fe_o.b / (std::sqrt(8.0) * fe_o.rmin) / 2, 1e-12);
}

TEST_F(PairModel, CoresMeetThePotentialAtOneInValueAndSlope) {
    CellPtr cell = std::move(quorix_test::read_cif("Li2O_COD9009059_occupancy.cif").cell);
    PropertyPtr ppt(import(cell.get()));
    ASSERT_TRUE(ppt);
    const QUORIX_PROPERTY_BINARY& bond = ppt->bin[0][1];
    const double e_bond = quorix_energy_bonding_with_energy_shift(bond.r_bc, bond.d0, bond.rmin, bond.b, bond.en_s);
    EXPECT_NEAR(e_bond, 1.0, 1e-4);
    EXPECT_NEAR(quorix_pseudopotential_energy_bonding(bond.r_bc, bond.a2, bond.a1, bond.a0), e_bond, 1e-12);
    EXPECT_NEAR(2 * bond.a2 * bond.r_bc, quorix_force_bonding(bond.r_bc, bond.d0, bond.rmin, bond.b), 1e-12);

    const QUORIX_PROPERTY_BINARY& li_li = ppt->bin[0][0];
    const double qq = ppt->uni[0].q * ppt->uni[0].q, sigma = 0.7 * 2 * 1.31;
    const double e_li = quorix_energy_coulombic(li_li.r_cc, qq, sigma);
    EXPECT_NEAR(e_li, 1.0, 1e-4);
    EXPECT_NEAR(quorix_pseudopotential_energy_coulombic(li_li.r_cc, li_li.a2, li_li.a1, li_li.a0), e_li, 1e-12);
    EXPECT_NEAR(2 * li_li.a2 * li_li.r_cc, quorix_force_coulombic(li_li.r_cc, qq, sigma), 1e-12);
}
