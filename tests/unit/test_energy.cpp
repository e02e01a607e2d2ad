#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "quorix-import-atom.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-rx.hpp"
#include "support.hpp"

using quorix_test::make_cell;

namespace {

CellPtr read_cif(const char* name) { return std::move(quorix_test::read_cif(name).cell); }

// One 3-vector per atom, as row pointers.
struct Vectors {
    explicit Vectors(long count) : data(3 * count), rows(count) {
        for (long i = 0; i < count; i++) rows[i] = &data[3 * i];
    }
    std::vector<double> data;
    std::vector<double*> rows;
};

// The set of a cell from the shipped databases; what it prints goes to *out.
QUORIX_PROPERTY* shipped_set(QUORIX_CELL* cell, double sf, std::string* out = nullptr) {
    quorix_test::Capture capture;
    QUORIX_PROPERTY* ppt = quorix_property_import_from_cell(cell, nullptr, 0, sf, quorix_test::unitary_db().c_str(),
                                                            quorix_test::binary_db().c_str());
    const std::string printed = capture.finish().out;
    if (out) *out = printed;
    return ppt;
}

// A real structure with every atom moved by a fixed, irregular pattern of up to 0.05 A.
CellPtr displaced(const char* name) {
    CellPtr cell = read_cif(name);
    for (long i = 0; cell && i < cell->total; i++)
        for (int k = 0; k < 3; k++) cell->atom[i].x[k] += 0.05 * std::sin(1.7 * i + 2.3 * k + 0.4);
    if (cell) quorix_cell_update_coordinate_fractional(cell.get());
    return cell;
}

double strained_energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, const double strain[3][3]) {
    CellPtr copy(quorix_cell_copy(cell));
    quorix_cell_deform(copy.get(), strain);
    return quorix_cell_calculate_total_energy(copy.get(), ppt);
}

// The search on the straightforward stress (six total energies a step), from 0.75.
double straightforward_search(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    PropertyPtr copy(quorix_property_copy(ppt));
    copy->sf = 0.75;
    quorix_test::Capture capture;
    quorix_property_search_screening_factor(copy.get(), [&](double sf, double* p) {
        double s[3];
        copy->sf = sf;
        if (quorix_cell_calculate_stress_diagonal(s, cell, copy.get()) != 0) return 1;
        *p = (s[0] + s[1] + s[2]) / 3.0;
        return 0;
    });
    capture.finish();
    return copy->sf;
}

}  // namespace

TEST(TotalEnergy, OnePairInALargeCell) {
    // Li-O by hand: Morse depth 0.2, minimum 2.0 A, b 0.5, cutoff 5.5 A.
    PropertyPtr ppt(quorix_property_new(0));
    quorix_property_append_index(ppt.get(), "Li", 1);
    quorix_property_append_index(ppt.get(), "O", -2);
    QUORIX_PROPERTY_BINARY& p = ppt->bin[0][1];
    p.d0 = 0.2, p.rmin = 2.0, p.b = 0.5, p.cutoff = 5.5;
    p.en_s = quorix_energy_bonding(p.cutoff, p.d0, p.rmin, p.b);
    const double pair = quorix_energy_bonding(2.0, p.d0, p.rmin, p.b) - p.en_s;

    // 25 A apart, the images are out of reach: each ordered pair counts half of 14.39964.
    CellPtr cell = make_cell(25, 25, 25, {{"Li", 1, 0, 0, 0}, {"O", -2, 0.08, 0, 0, 0.5}});
    EXPECT_NEAR(quorix_cell_calculate_total_energy(cell.get(), ppt.get()), 14.39964 * pair * 0.5, 1e-12);
    // A fixed atom adds only its partner's half; the unconstrained part has no pair left.
    cell->atom[1].ignored = true;
    EXPECT_NEAR(quorix_cell_calculate_total_energy(cell.get(), ppt.get()), 7.19982 * pair * 0.5, 1e-12);
    EXPECT_EQ(quorix_cell_calculate_total_energy_unconstrained_part(cell.get(), ppt.get()), 0.0);

    // Closer than 0.3 A nothing interacts, and a zero energy is an error.
    CellPtr close = make_cell(25, 25, 25, {{"Li", 1, 0, 0, 0}, {"O", -2, 0.01, 0, 0}});
    CellPtr flat = make_cell(0, 25, 25, {{"Li", 1, 0, 0, 0}, {"O", -2, 0.5, 0, 0}});
    quorix_test::Capture quiet;
    EXPECT_EQ(quorix_cell_total_energy(close.get(), ppt.get()), 0.0);
    double stress[3];
    EXPECT_EQ(quorix_cell_calculate_stress_diagonal(stress, close.get(), ppt.get()), 1);
    EXPECT_EQ(quorix_cell_calculate_total_energy(flat.get(), ppt.get()), 0.0);
}

TEST(Forces, AreTheNumericalGradientOfTheEnergy) {
    CellPtr cell = displaced("LiFePO4_COD4001848.cif");  // occupancies above 1
    ASSERT_TRUE(cell);
    PropertyPtr ppt(shipped_set(cell.get(), 0.7));
    ASSERT_TRUE(ppt);
    Vectors force(cell->total);
    ASSERT_EQ(quorix_cell_calculate_force(force.rows.data(), cell.get(), ppt.get()), 0);
    // Forces are -grad E in units of 2 * 14.39964 eV.
    const double h = 1e-5;
    for (long i = 0; i < cell->total; i++) {
        for (int k = 0; k < 3; k++) {
            double& x = cell->atom[i].x[k];
            x += h;
            const double plus = quorix_cell_calculate_total_energy(cell.get(), ppt.get());
            x -= 2 * h;
            const double minus = quorix_cell_calculate_total_energy(cell.get(), ppt.get());
            x += h;
            const double expected = -(plus - minus) / (2 * h) / (2 * 14.39964);
            EXPECT_NEAR(force.rows[i][k], expected, 1e-6 + 1e-5 * std::fabs(expected)) << "atom " << i << " axis " << k;
        }
    }
    cell->atom[3].ignored = true;
    ASSERT_EQ(quorix_cell_calculate_force(force.rows.data(), cell.get(), ppt.get()), 0);
    EXPECT_EQ(force.rows[3][0], 0.0);
}

TEST(Stress, AgreesWithOtherStrainsOfTheEnergy) {
    CellPtr cell = displaced("DyBO3_triclinic_COD2014429.cif");
    ASSERT_TRUE(cell);
    PropertyPtr ppt(shipped_set(cell.get(), 0.7));
    ASSERT_TRUE(ppt);
    double diagonal[3], shear[3];
    ASSERT_EQ(quorix_cell_calculate_stress_diagonal(diagonal, cell.get(), ppt.get()), 0);
    ASSERT_EQ(quorix_cell_calculate_stress_shear(shear, cell.get(), ppt.get()), 0);
    EXPECT_GT(std::fabs(shear[0]) + std::fabs(shear[1]) + std::fabs(shear[2]), 1e-4);

    // A uniform strain gives the trace, single entries the shear components.
    const double h = 3e-4, volume = quorix_cell_calculate_volume(cell.get());
    const double expected[4] = {diagonal[0] + diagonal[1] + diagonal[2], shear[0], shear[1], shear[2]};
    const int entries[4][3][2] = {{{0, 0}, {1, 1}, {2, 2}}, {{1, 2}}, {{0, 2}}, {{0, 1}}};
    for (int c = 0; c < 4; c++) {
        double plus[3][3] = {}, minus[3][3] = {};
        for (int e = 0; e < (c == 0 ? 3 : 1); e++) {
            plus[entries[c][e][0]][entries[c][e][1]] = h;
            minus[entries[c][e][0]][entries[c][e][1]] = -h;
        }
        const double difference =
            (strained_energy(cell.get(), ppt.get(), plus) - strained_energy(cell.get(), ppt.get(), minus)) / (2 * h) / volume;
        EXPECT_NEAR(expected[c], difference, 1e-5 * std::fabs(difference) + 1e-7) << "component " << c;
    }
}

TEST(ScreeningFactor, Li2OSearchStepsThroughTheLowerBound) {
    CellPtr cell = read_cif("Li2O_COD9009059_occupancy.cif");
    ASSERT_TRUE(cell);
    std::string out;
    PropertyPtr ppt(shipped_set(cell.get(), -1.0, &out));
    ASSERT_TRUE(ppt);
    // 0.75 - 0.1 - 0.1 is not below 0.55, so the search goes on instead of falling back.
    EXPECT_NE(out.find("Message: calculating sf= 0.55000;"), std::string::npos) << out;
    EXPECT_EQ(out.find("Warning:"), std::string::npos) << out;
    EXPECT_GT(ppt->sf, 0.55);
    EXPECT_LT(ppt->sf, 0.7);
    EXPECT_EQ(straightforward_search(cell.get(), ppt.get()), ppt->sf);

    PropertyPtr given(shipped_set(cell.get(), 0.71, &out));
    EXPECT_EQ(given->sf, 0.71);
    EXPECT_EQ(out, "Message: sf=0.710000\n");
}

TEST(ScreeningFactor, FastSearchEndsOnTheSameBitsOnRealStructures) {
    // Triclinic, rhombohedral, hexagonal, partial and mixed sites, occupancies above 1.
    for (const char* name : {"DyBO3_triclinic_COD2014429.cif", "Al2O3_corundum_COD1010914.cif", "LiCoO2_VESTA.cif",
                             "Na0.8CoO2_VESTA.cif", "CsSnCl3_In_COD4003024.cif", "LiFePO4_COD4001848.cif"}) {
        CellPtr cell = read_cif(name);
        ASSERT_TRUE(cell) << name;
        PropertyPtr ppt(shipped_set(cell.get(), -1.0));
        ASSERT_TRUE(ppt) << name;
        EXPECT_EQ(straightforward_search(cell.get(), ppt.get()), ppt->sf) << name;
    }
}
