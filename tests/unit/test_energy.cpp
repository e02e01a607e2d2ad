#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"
#include "quorix-rx.hpp"
#include "test_property_support.hpp"

using quorix_test::make_cell;

namespace {

// One 3-vector per atom, as row pointers.
class Vectors {
public:
    explicit Vectors(long count) : data_(3 * count), rows_(count) {
        for (long i = 0; i < count; i++) rows_[i] = &data_[3 * i];
    }
    double** get() { return rows_.data(); }

private:
    std::vector<double> data_;
    std::vector<double*> rows_;
};

// The set of a cell from the shipped databases at a given screening factor; quiet.
QUORIX_PROPERTY* shipped_set(QUORIX_CELL* cell, double sf, std::string* out = nullptr) {
    testing::internal::CaptureStdout();
    QUORIX_PROPERTY* ppt = quorix_property_import_from_cell(cell, nullptr, 0, sf, quorix_test::unitary_db().c_str(),
                                                            quorix_test::binary_db().c_str());
    const std::string printed = testing::internal::GetCapturedStdout();
    if (out) *out = printed;
    return ppt;
}

// A Li-O set written by hand: Morse depth 0.2, minimum 2.0 A, b 0.5, cutoff 5.5 A.
QUORIX_PROPERTY* hand_set() {
    QUORIX_PROPERTY* ppt = quorix_property_new(0);
    quorix_property_append_index(ppt, "Li", 1);
    quorix_property_append_index(ppt, "O", -2);
    ppt->uni[0].q = 0.8;
    ppt->uni[0].rc = 1.3;
    ppt->uni[1].q = -1.6;
    ppt->uni[1].rc = 1.3;
    QUORIX_PROPERTY_BINARY& p = ppt->bin[0][1];
    p.d0 = 0.2;
    p.rmin = 2.0;
    p.b = 0.5;
    p.cutoff = 5.5;
    p.en_s = quorix_energy_bonding(p.cutoff, p.d0, p.rmin, p.b);
    ppt->sf = 0.7;
    return ppt;
}

// -grad E / (2 * 14.39964) by central differences of the Cartesian position, for comparison with
// the forces (internal units, half per pair).
double numerical_force(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, long atom, int k) {
    const double h = 1e-5, x = cell->atom[atom].x[k];
    cell->atom[atom].x[k] = x + h;
    const double plus = quorix_cell_calculate_total_energy(cell, ppt);
    cell->atom[atom].x[k] = x - h;
    const double minus = quorix_cell_calculate_total_energy(cell, ppt);
    cell->atom[atom].x[k] = x;
    return -(plus - minus) / (2 * h) / (2 * 14.39964);
}

double strained_energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, const double strain[3][3]) {
    CellPtr copy(quorix_cell_copy(cell));
    quorix_cell_deform(copy.get(), strain);
    return quorix_cell_calculate_total_energy(copy.get(), ppt);
}

// The screening-factor search of a set on the straightforward stress (six total energies a step).
double straightforward_search(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    PropertyPtr copy(quorix_property_copy(ppt));
    copy->sf = 0.75;
    testing::internal::CaptureStdout();
    quorix_property_search_screening_factor(copy.get(), [&](double sf, double* p) {
        double s[3];
        copy->sf = sf;
        if (quorix_cell_calculate_stress_diagonal(s, cell, copy.get()) != 0) return 1;
        *p = (s[0] + s[1] + s[2]) / 3.0;
        return 0;
    });
    testing::internal::GetCapturedStdout();
    return copy->sf;
}

// Li2O with its atoms moved off their sites, one Li site half occupied.
QUORIX_CELL* distorted_li2o() {
    QUORIX_CELL* cell = quorix_test::make_li2o();
    quorix_test::displace(cell, 0.08);
    cell->atom[4].occ = 0.5;
    return cell;
}

}  // namespace

TEST(TotalEnergy, OnePairInALargeCell) {
    PropertyPtr ppt(hand_set());
    const QUORIX_PROPERTY_BINARY& p = ppt->bin[0][1];
    const double pair = quorix_energy_bonding(2.0, p.d0, p.rmin, p.b) - p.en_s;
    // 25 A apart, the images are out of reach: each ordered pair counts half of 14.39964.
    CellPtr cell(make_cell(25, 25, 25, 90, 90, 90, {{"Li", 1, 0, 0, 0}, {"O", -2, 0.08, 0, 0, 0.5}}));
    EXPECT_NEAR(quorix_cell_calculate_total_energy(cell.get(), ppt.get()), 14.39964 * pair * 0.5, 1e-12);

    // A fixed atom adds only its partner's half; the unconstrained part has no pair left.
    cell->atom[1].ignored = true;
    EXPECT_NEAR(quorix_cell_calculate_total_energy(cell.get(), ppt.get()), 7.19982 * pair * 0.5, 1e-12);
    EXPECT_EQ(quorix_cell_calculate_total_energy_unconstrained_part(cell.get(), ppt.get()), 0.0);

    // Closer than 0.3 A nothing interacts, and a zero energy is an error.
    CellPtr close(make_cell(25, 25, 25, 90, 90, 90, {{"Li", 1, 0, 0, 0}, {"O", -2, 0.01, 0, 0}}));
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_cell_total_energy(close.get(), ppt.get()), 0.0);
    double stress[3];
    EXPECT_EQ(quorix_cell_calculate_stress_diagonal(stress, close.get(), ppt.get()), 1);
    close->atom[1].os = -1;
    EXPECT_EQ(quorix_cell_total_energy(close.get(), ppt.get()), 0.0);
    CellPtr flat(make_cell(0, 25, 25, 90, 90, 90, {{"Li", 1, 0, 0, 0}, {"O", -2, 0.5, 0, 0}}));
    EXPECT_EQ(quorix_cell_calculate_total_energy(flat.get(), ppt.get()), 0.0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: quorix_cell_calculate_total_energy() returns zero.\n"
              "Error: quorix_cell_calculate_total_energy() returns 0.00.\n"
              "Error: quorix_property_find_index() returns negative value.\n"
              "Error: quorix_cell_calculate_total_energy() returns zero.\n"
              "Error: lattice vector 0 of length 0.000000 A is too short for the pair sums.\n");
}

TEST(Forces, AreTheNumericalGradientOfTheEnergy) {
    CellPtr li2o(distorted_li2o());
    CellPtr olivine(quorix_test::read_cif("LiFePO4_COD4001848.cif"));  // occupancies above 1
    ASSERT_TRUE(olivine);
    quorix_test::displace(olivine.get(), 0.05);
    for (QUORIX_CELL* cell : {li2o.get(), olivine.get()}) {
        PropertyPtr ppt(shipped_set(cell, 0.7));
        ASSERT_TRUE(ppt);
        Vectors force(cell->total);
        ASSERT_EQ(quorix_cell_calculate_force(force.get(), cell, ppt.get()), 0);
        for (long i = 0; i < cell->total; i++) {
            for (int k = 0; k < 3; k++) {
                const double expected = numerical_force(cell, ppt.get(), i, k);
                EXPECT_NEAR(force.get()[i][k], expected, 1e-6 + 1e-5 * std::fabs(expected))
                    << cell->name << " atom " << i << " axis " << k;
            }
        }
    }
    // A fixed atom feels no force.
    PropertyPtr ppt(shipped_set(li2o.get(), 0.7));
    li2o->atom[7].ignored = true;
    Vectors force(li2o->total);
    ASSERT_EQ(quorix_cell_calculate_force(force.get(), li2o.get(), ppt.get()), 0);
    EXPECT_EQ(force.get()[7][0], 0.0);
    EXPECT_NE(force.get()[6][0], 0.0);
}

TEST(Stress, AgreesWithOtherStrainsOfTheEnergy) {
    CellPtr cell(quorix_test::read_cif("DyBO3_triclinic_COD2014429.cif"));
    ASSERT_TRUE(cell);
    quorix_test::displace(cell.get(), 0.05);
    PropertyPtr ppt(shipped_set(cell.get(), 0.7));
    ASSERT_TRUE(ppt);
    double diagonal[3], shear[3];
    ASSERT_EQ(quorix_cell_calculate_stress_diagonal(diagonal, cell.get(), ppt.get()), 0);
    ASSERT_EQ(quorix_cell_calculate_stress_shear(shear, cell.get(), ppt.get()), 0);
    const double volume = quorix_cell_calculate_volume(cell.get());

    // A uniform strain gives the trace; single entries with a larger strain give the components.
    const double h = 3e-4;
    const double grow[3][3] = {{h, 0, 0}, {0, h, 0}, {0, 0, h}};
    const double shrink[3][3] = {{-h, 0, 0}, {0, -h, 0}, {0, 0, -h}};
    const double trace = (strained_energy(cell.get(), ppt.get(), grow) - strained_energy(cell.get(), ppt.get(), shrink)) /
                         (2 * h) / volume;
    EXPECT_NEAR(diagonal[0] + diagonal[1] + diagonal[2], trace, 1e-5 * std::fabs(trace) + 1e-7);

    const int entries[3][2] = {{1, 2}, {0, 2}, {0, 1}};
    for (int k = 0; k < 3; k++) {
        double plus[3][3] = {}, minus[3][3] = {};
        plus[entries[k][0]][entries[k][1]] = h;
        minus[entries[k][0]][entries[k][1]] = -h;
        const double expected =
            (strained_energy(cell.get(), ppt.get(), plus) - strained_energy(cell.get(), ppt.get(), minus)) / (2 * h) / volume;
        EXPECT_NEAR(shear[k], expected, 1e-5 * std::fabs(expected) + 1e-7) << "shear " << k;
    }
    // The triclinic cell must leave shear to measure.
    EXPECT_GT(std::fabs(shear[0]) + std::fabs(shear[1]) + std::fabs(shear[2]), 1e-4);
}

TEST(Relaxation, DeformStepCapAndCoordinateUpdate) {
    CellPtr cell(quorix_test::make_li2o());
    const double x_f = cell->atom[1].x_f[0];
    const double strain[3][3] = {{0.01, 0, 0}, {0, 0, 0}, {0, 0.02, 0}};
    ASSERT_EQ(quorix_cell_deform(cell.get(), strain), 0);
    EXPECT_NEAR(cell->parameter[0], 4.619 * 1.01, 1e-12);
    EXPECT_NEAR(cell->a[1][2], 4.619 * 0.02, 1e-12);
    EXPECT_NEAR(cell->atom[1].x_f[0], x_f, 1e-12);

    PropertyPtr ppt(hand_set());
    const long n = cell->total;
    Vectors force(n), dx(n);
    force.get()[0][0] = 1.0;   // O, mass 16
    force.get()[1][1] = 0.07;  // Li, mass 7
    ppt->uni[0].m = 7.0;
    ppt->uni[1].m = 16.0;
    ASSERT_EQ(quorix_cell_calculate_coordinate_step_size_simple(dx.get(), cell.get(), ppt.get(), force.get()), 0);
    EXPECT_DOUBLE_EQ(dx.get()[0][0], 1.0 / 16);
    EXPECT_DOUBLE_EQ(dx.get()[1][1], 0.01);
    force.get()[1][1] = 70.0;  // 10 A: every step shrinks so that this one is 0.1 A
    ASSERT_EQ(quorix_cell_calculate_coordinate_step_size_simple(dx.get(), cell.get(), ppt.get(), force.get()), 0);
    EXPECT_DOUBLE_EQ(dx.get()[1][1], 0.1);
    EXPECT_DOUBLE_EQ(dx.get()[0][0], 1.0 / 16 * 0.01);

    const double x = cell->atom[1].x[1];
    ASSERT_EQ(quorix_cell_update_coordinate(cell.get(), dx.get()), 0);
    EXPECT_DOUBLE_EQ(cell->atom[1].x[1], x + 0.1);
    double back[3];
    quorix_vector3_double_sum3(back, cell->a[0], cell->atom[1].x_f[0], cell->a[1], cell->atom[1].x_f[1], cell->a[2],
                               cell->atom[1].x_f[2]);
    EXPECT_NEAR(back[1], x + 0.1, 1e-12);

    ppt->uni[1].m = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_cell_calculate_coordinate_step_size_simple(dx.get(), cell.get(), ppt.get(), force.get()), 1);
    EXPECT_EQ(quorix_cell_update_coordinate(cell.get(), nullptr), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: wrong mass value.\nError: invalid arguments found.\n");
}

TEST(ScreeningFactor, FastStressIsBitIdenticalToTheStraightforwardOne) {
    CellPtr cell(distorted_li2o());
    cell->atom[2].ignored = true;
    PropertyPtr ppt(shipped_set(cell.get(), 0.7));
    ASSERT_TRUE(ppt);
    QuorixStressBySf fast;
    ASSERT_EQ(fast.build(cell.get(), ppt.get()), 0);
    for (double sf : {0.55, 0.6085937500000001, 0.75, 0.98}) {
        double expected[3], actual[3];
        ppt->sf = sf;
        ASSERT_EQ(quorix_cell_calculate_stress_diagonal(expected, cell.get(), ppt.get()), 0);
        ASSERT_EQ(fast.diagonal(actual, sf), 0);
        for (int k = 0; k < 3; k++) EXPECT_EQ(actual[k], expected[k]) << "sf " << sf << " axis " << k;
    }
}

TEST(ScreeningFactor, Li2OSearchStepsThroughTheLowerBound) {
    CellPtr cell(quorix_test::read_cif("Li2O_COD9009059_occupancy.cif"));
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

    // A given factor is kept as it is.
    PropertyPtr given(shipped_set(cell.get(), 0.71, &out));
    EXPECT_EQ(given->sf, 0.71);
    EXPECT_EQ(out, "Message: sf=0.710000\n");
}

TEST(ScreeningFactor, FastSearchEndsOnTheSameBitsOnRealStructures) {
    // Triclinic, rhombohedral, hexagonal, partial and mixed sites, occupancies above 1.
    for (const char* name : {"DyBO3_triclinic_COD2014429.cif", "Al2O3_corundum_COD1010914.cif", "LiCoO2_VESTA.cif",
                             "Na0.8CoO2_VESTA.cif", "CsSnCl3_In_COD4003024.cif", "LiFePO4_COD4001848.cif"}) {
        CellPtr cell(quorix_test::read_cif(name));
        ASSERT_TRUE(cell) << name;
        PropertyPtr ppt(shipped_set(cell.get(), -1.0));
        ASSERT_TRUE(ppt) << name;
        EXPECT_EQ(straightforward_search(cell.get(), ppt.get()), ppt->sf) << name;
    }
}

TEST(ScreeningFactor, FallsBackToTheDefault) {
    PropertyPtr ppt(hand_set());
    auto search = [&](QuorixPressureAt pressure) {
        ppt->sf = 0.75;
        testing::internal::CaptureStdout();
        EXPECT_EQ(quorix_property_search_screening_factor(ppt.get(), pressure), 0);
        return testing::internal::GetCapturedStdout();
    };
    // Always pulling outwards: 0.85, 0.95, then 1.05 is out of bounds.
    std::string out = search([](double, double* p) { *p = 1.0; return 0; });
    EXPECT_NE(out.find("Message: calculating sf= 0.95000;"), std::string::npos);
    EXPECT_NE(out.find("Warning: screening factor out of bound (0.55~1.0). Default value used.\n"
                       "Message: final screening factor = 0.750000\n"),
              std::string::npos);
    EXPECT_EQ(ppt->sf, 0.75);

    // Eight sign changes make the step tiny; a pressure that then keeps rising never settles.
    int calls = 0;
    out = search([&](double, double* p) {
        calls++;
        *p = calls <= 9 ? (calls % 2 ? 1.0 : -1.0) : calls;
        return 0;
    });
    EXPECT_NE(out.find("Warning: failed to converge the screening factor. Default value used.\n"), std::string::npos);
    EXPECT_EQ(calls, 102);  // the first pressure, then 101 iterations
    EXPECT_EQ(ppt->sf, 0.75);

    // A set that fails validation keeps the default without searching.
    ppt->sf = -1;
    CellPtr cell(quorix_test::make_li2o());
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(quorix_property_calculate_screening_factor(ppt.get(), cell.get()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Warning: quorix_property_validate_generic() returns non-zero.\n"
              "Message: default screening factor used 0.750000.\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: incorrect m at[0](Li1+) m=0.000000\n");
}
