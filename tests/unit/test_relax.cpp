// Steepest descent and nudged elastic band on structures whose answer is known by symmetry or
// from the site-energy landscape.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "quorix-cube.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"
#include "quorix-rx-neb.hpp"
#include "quorix-rx-pairs.hpp"
#include "quorix-rx-sd.hpp"
#include "quorix-rx.hpp"
#include "support.hpp"

using quorix_test::read_cif;

namespace {

PropertyPtr quiet_set(QUORIX_CELL* cell) {
    testing::internal::CaptureStdout();
    PropertyPtr ppt(quorix_property_import_from_cell(cell, nullptr, 0, -1.0, quorix_test::unitary_db().c_str(),
                                                     quorix_test::binary_db().c_str()));
    testing::internal::GetCapturedStdout();
    return ppt;
}

// Li2O with the Li at (1/4, 1/4, 1/4) moved by 0.1 A along x, and its parameter set.
struct DisplacedLi2O {
    CellPtr cell{read_cif("Li2O_COD9009059_occupancy.cif").cell};
    PropertyPtr ppt{quiet_set(cell.get())};
    DisplacedLi2O() {
        cell->atom[0].x[0] += 0.1;
        quorix_cell_update_coordinate_fractional(cell.get());
    }
};

const char* const kLiFePO4 = "LiFePO4_COD4001848_occupancy.cif";

// The atom that moves farthest between the two ends of the band.
long hopping_atom(const QuorixNebBand& band) {
    const QUORIX_ATOM* first = band.images.front()->atom;
    const QUORIX_ATOM* last = band.images.back()->atom;
    long hopping = 0;
    for (long i = 1; i < band.images[0]->total; i++)
        if (quorix_vector3_double_distance(first[i].x, last[i].x) >
            quorix_vector3_double_distance(first[hopping].x, last[hopping].x))
            hopping = i;
    return hopping;
}

QuorixNebSettings settings_with(double f_conv) {
    QuorixNebSettings settings;
    settings.step_log = -1;
    settings.f_conv = f_conv;
    return settings;
}

QuorixNebBand quiet_neb(const QUORIX_CELL* first, const QUORIX_CELL* last, int images, const QUORIX_PROPERTY* ppt,
                        const QuorixNebSettings& settings) {
    QuorixNebBand band;
    testing::internal::CaptureStdout();
    CellPtr ends[2] = {CellPtr(quorix_cell_copy(first)), CellPtr(quorix_cell_copy(last))};
    for (CellPtr& end : ends) EXPECT_EQ(quorix_neb_relax_image(end.get(), ppt, settings, nullptr), 0);
    EXPECT_EQ(quorix_neb_band_interpolate(band, ends[0].get(), ends[1].get(), images), 0);
    const quorix_test::ScratchDir dir;
    const auto name = dir.path() / "band";
    EXPECT_EQ(quorix_neb_band_relax(band, ppt, settings, name.c_str()), 0);
    testing::internal::GetCapturedStdout();
    return band;
}

}  // namespace

// The band runs on forces in eV/A: they must be minus the gradient of the energy.
TEST(Relax, ForcesInEvAreMinusTheEnergyGradient) {
    DisplacedLi2O li2o;
    std::vector<double> force;
    ASSERT_EQ(quorix_cell_calculate_force_ev(force, li2o.cell.get(), li2o.ppt.get()), 0);
    const double h = 1e-5;
    for (int k = 0; k < 3; k++) {
        double energy[2];
        for (int s = 0; s < 2; s++) {
            CellPtr moved(quorix_cell_copy(li2o.cell.get()));
            moved->atom[0].x[k] += s ? h : -h;
            energy[s] = quorix_cell_calculate_total_energy(moved.get(), li2o.ppt.get());
        }
        EXPECT_NEAR(force[k], -(energy[1] - energy[0]) / (2 * h), 1e-4) << k;
    }
}

// The pair list gives the plain energy, forces and stresses on a real structure with a fixed
// atom, strained, with its atoms moved within the skin (list kept) and beyond it (listed anew).
TEST(Relax, PairListEqualsThePlainSums) {
    CellPtr cell = read_cif(kLiFePO4).cell;
    PropertyPtr ppt = quiet_set(cell.get());
    cell->atom[3].ignored = true;
    QuorixRxPairs pairs;
    const double strain[3][3] = {{0.02, 0.03, 0}, {0, -0.01, 0}, {0, 0.02, 0}};
    for (const double move : {0.0, -1.0, 0.2, 1.5}) {
        if (move < 0) quorix_cell_deform(cell.get(), strain);
        for (long i = 0; i < cell->total; i++) cell->atom[i].x[i % 3] += move > 0 ? move * (i % 2 ? 1 : -0.5) : 0;
        quorix_cell_update_coordinate_fractional(cell.get());
        const long n = cell->total;
        std::vector<double> plain(3 * n), listed(3 * n);
        std::vector<double*> plain_rows(n), listed_rows(n);
        for (long i = 0; i < n; i++) plain_rows[i] = &plain[3 * i], listed_rows[i] = &listed[3 * i];
        double energy = 0;
        ASSERT_EQ(pairs.energy_and_force(cell.get(), ppt.get(), energy, listed_rows.data()), 0);
        ASSERT_EQ(quorix_cell_calculate_force(plain_rows.data(), cell.get(), ppt.get()), 0);
        const double plain_energy = quorix_cell_calculate_total_energy(cell.get(), ppt.get());
        EXPECT_NEAR(energy, plain_energy, 1e-9 * std::fabs(plain_energy)) << move;
        for (size_t c = 0; c < plain.size(); c++) EXPECT_NEAR(listed[c], plain[c], 1e-9) << move << " " << c;
        for (const bool shear : {false, true}) {
            double expected[3], stress[3];
            ASSERT_EQ((shear ? quorix_cell_calculate_stress_shear : quorix_cell_calculate_stress_diagonal)(
                          expected, cell.get(), ppt.get()), 0);
            ASSERT_EQ(quorix_cell_stress_by_strain(stress, cell.get(), shear, [&](const QUORIX_CELL* strained) {
                return pairs.energy(strained, ppt.get());
            }), 0);
            for (int k = 0; k < 3; k++) EXPECT_NEAR(stress[k], expected[k], 1e-9) << move << " " << k;
        }
    }
    EXPECT_EQ(pairs.builds(), 3);
}

// Corundum in rhombohedral axes stays rhombohedral when its cell is strained by its stress.
TEST(Relax, CellStepKeepsRhombohedralAxesEqual) {
    CellPtr cell = read_cif("Al2O3_corundum_COD1010914.cif").cell;
    ASSERT_EQ(quorix_cell_update_by_stress(cell.get(), quiet_set(cell.get()).get()), 0);
    for (int k = 1; k < 3; k++)
        EXPECT_NEAR(quorix_vector3_double_length(cell->a[k]), quorix_vector3_double_length(cell->a[0]), 1e-5) << k;
}

// Fixed atoms keep their positions to the last digit and leave the automatic screening factor
// as it is; a negative step limit strains the cell and never moves an atom within it; a
// structure at its minimum stops after one step.
TEST(Relax, SteepestDescentConstraintsAndLimits) {
    DisplacedLi2O li2o;
    li2o.cell->atom[1].ignored = true;
    EXPECT_EQ(quiet_set(li2o.cell.get())->sf, li2o.ppt->sf);
    const QuorixRxSdSettings positions_only{0, 0.005, 0.001, nullptr};
    testing::internal::CaptureStdout();
    CellPtr relaxed(quorix_cell_relax_sd(li2o.cell.get(), li2o.ppt.get(), 0, &positions_only));
    CellPtr cell_only(quorix_cell_relax_sd(li2o.cell.get(), li2o.ppt.get(), -3));
    testing::internal::GetCapturedStdout();
    ASSERT_TRUE(relaxed && cell_only);
    for (int k = 0; k < 3; k++) EXPECT_EQ(relaxed->atom[1].x[k], li2o.cell->atom[1].x[k]);
    EXPECT_GT(quorix_vector3_double_distance(relaxed->atom[0].x, li2o.cell->atom[0].x), 0.05);
    EXPECT_NE(cell_only->parameter[0], li2o.cell->parameter[0]);
    for (long i = 0; i < cell_only->total; i++)
        for (int k = 0; k < 3; k++) EXPECT_NEAR(cell_only->atom[i].x_f[k], li2o.cell->atom[i].x_f[k], 1e-12);

    CellPtr nacl = read_cif("NaCl_COD9008678_occupancy.cif").cell;
    PropertyPtr ppt = quiet_set(nacl.get());
    quorix_ptr<QUORIX_RX_SD, quorix_rx_sd_free> state(quorix_rx_sd_new(nacl.get(), ppt.get()));
    testing::internal::CaptureStdout();
    EXPECT_EQ(quorix_rx_sd_run(state.get()), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(state->step, 1);
    EXPECT_TRUE(state->converged);
}

// A Li vacancy hop between neighbouring Li sites of Li2O is symmetric by the mirror plane
// between them: the climbing image sits on that plane and the profile is symmetric.
TEST(Relax, NebOfASymmetricHopClimbsToTheMidpoint) {
    CellPtr li2o = read_cif("Li2O_COD9009059_occupancy.cif").cell;
    PropertyPtr ppt = quiet_set(li2o.get());
    const double from[3] = {0.25, 0.25, 0.25}, to[3] = {0.75, 0.25, 0.25};
    CellPtr first, last;
    ASSERT_EQ(quorix_neb_vacancy_hop_ends(li2o.get(), from, to, first, last), 0);
    const double f_conv = 0.01;
    const QuorixNebBand band = quiet_neb(first.get(), last.get(), 5, ppt.get(), settings_with(f_conv));
    ASSERT_TRUE(band.converged);
    EXPECT_EQ(band.climbing, 2);
    EXPECT_LT(*std::max_element(band.force_max.begin() + 1, band.force_max.end() - 1), f_conv);
    for (int i = 0; i < 5; i++) EXPECT_NEAR(band.energy[i], band.energy[4 - i], 1e-3) << i;
    // The hopping atom, on either of the two equally short paths, stops halfway.
    const QUORIX_ATOM* ends[2] = {band.images[0]->atom, band.images[4]->atom};
    const long hopping = hopping_atom(band);
    double midpoint[3];
    quorix_vector3_double_sum2(midpoint, ends[0][hopping].x, 0.5, ends[1][hopping].x, 0.5);
    EXPECT_LT(quorix_vector3_double_distance(band.images[2]->atom[hopping].x, midpoint), 0.02);
}

// Atoms fixed whole (`ignored`) or in one component stay where they are in the first image, to
// the last digit, in every image of a band.
TEST(Relax, NebHoldsFixedAtomsInEveryImage) {
    CellPtr li2o = read_cif("Li2O_COD9009059_occupancy.cif").cell;
    PropertyPtr ppt = quiet_set(li2o.get());
    QUORIX_ATOM* const end = li2o->atom + li2o->total;
    const long oxygen = std::find_if(li2o->atom, end, [](const QUORIX_ATOM& a) { return a.os < 0; }) - li2o->atom;
    li2o->atom[oxygen].ignored = true;
    const double from[3] = {0.25, 0.25, 0.25}, to[3] = {0.75, 0.25, 0.25};
    CellPtr first, last;
    ASSERT_EQ(quorix_neb_vacancy_hop_ends(li2o.get(), from, to, first, last), 0);
    QuorixFixedComponents fixed(first->total, {false, false, false});
    fixed[oxygen == 1 ? 2 : 1][1] = true;
    QuorixNebSettings settings = settings_with(0.01);
    settings.fixed = &fixed;
    settings.step_limit = 20;
    const QuorixNebBand band = quiet_neb(first.get(), last.get(), 5, ppt.get(), settings);
    ASSERT_EQ(band.images.size(), 5u);
    for (const CellPtr& image : band.images)
        for (long i = 0; i < first->total; i++)
            for (int k = 0; k < 3; k++)
                if (fixed[i][k] || first->atom[i].ignored) {
                    EXPECT_EQ(image->atom[i].x[k], first->atom[i].x[k]) << i;
                }
}

// The hop along b in LiFePO4 (one vacancy in the cell) passes, as on the landscape, two saddles
// beside a shallow minimum halfway: the climbing image lies within 0.5 A of a saddle that
// --fp-map finds on the landscape, and the barrier below that saddle's landscape barrier + 0.2 eV.
TEST(Relax, NebOfLiFePO4HopAgreesWithTheLandscape) {
    quorix_test::ScratchDir dir;
    const std::string cif = dir.copy_in(kLiFePO4).string();
    ASSERT_EQ(quorix_test::run_quorix({"--gen-cube", cif, "Li", "1"}, dir.path()).status, 0);
    ASSERT_EQ(quorix_test::run_quorix({"--fp-map", cif + ".cube"}, dir.path()).status, 0);
    const quorix_test::CifRead map = quorix_test::read_cif(cif + ".cube.fp.cif");
    QUORIX_CUBE* raw = nullptr;
    testing::internal::CaptureStdout();
    ASSERT_EQ(quorix_cube_import_from_file(&raw, nullptr, (cif + ".cube").c_str(), 1, nullptr), 0);
    testing::internal::GetCapturedStdout();
    const quorix_ptr<QUORIX_CUBE, quorix_cube_free> cube(raw);
    ASSERT_TRUE(map.cell && cube);

    CellPtr lfp = read_cif(kLiFePO4).cell;
    PropertyPtr ppt = quiet_set(lfp.get());
    const double from[3] = {0, 0, 0}, to[3] = {0, 0.5, 0};
    CellPtr first, last;
    ASSERT_EQ(quorix_neb_vacancy_hop_ends(lfp.get(), from, to, first, last), 0);
    const QuorixNebBand band = quiet_neb(first.get(), last.get(), 5, ppt.get(), settings_with(0.02));
    ASSERT_TRUE(band.converged);
    const double* climber = band.images[band.climbing]->atom[hopping_atom(band)].x_f;
    const QUORIX_ATOM* saddle = nullptr;
    double nearest = 1e9;
    for (long i = 0; i < map.cell->total; i++) {
        const QUORIX_ATOM& marker = map.cell->atom[i];
        if (std::string(marker.name) != "SAD1") continue;
        double v[3], d[3];
        for (int k = 0; k < 3; k++) d[k] = marker.x_f[k] - climber[k] - std::round(marker.x_f[k] - climber[k]);
        quorix_vector3_double_sum3(v, lfp->a[0], d[0], lfp->a[1], d[1], lfp->a[2], d[2]);
        if (quorix_vector3_double_length(v) < nearest) nearest = quorix_vector3_double_length(v), saddle = &marker;
    }
    ASSERT_LT(nearest, 0.5);
    long voxel[3];
    for (int k = 0; k < 3; k++)
        voxel[k] = std::lround(saddle->x_f[k] * cube->n[k]) % cube->n[k];
    const double landscape_barrier = cube->en[voxel[0]][voxel[1]][voxel[2]] - cube->en[0][0][0];
    const double barrier = band.energy[band.climbing] - band.energy[0];
    EXPECT_GT(barrier, 0);
    EXPECT_LT(barrier, landscape_barrier + 0.2);
}
