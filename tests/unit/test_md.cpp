// Molecular dynamics of Li in Li2O (and, for the forces, in the hexagonal cell of LiCoO2): forces
// against the plain sum over every pair and image, energy conservation without the thermostat,
// the temperature the thermostat holds, and a framework that never moves; in the standard model,
// forces against the lattice energy.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include "support.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"
#include "quorix-md.hpp"
#include "quorix-rx-neighbour.hpp"
#include "quorix-rx.hpp"
#include "test_md_oracle.hpp"

namespace {

// A started run with only Li free, its logs in a scratch directory.
struct MdRun {
    quorix_test::ScratchDir dir;
    CellPtr cell;
    MdPtr md;

    bool standard;

    MdRun(double temperature, unsigned seed, bool standard_model = false,
            const char* cif = "Li2O_COD9009059_occupancy.cif")
        : standard(standard_model) {
        std::srand(seed);
        cell = std::move(quorix_test::read_cif(cif).cell);
        quorix_test::Capture capture;
        const PropertyPtr ppt(quorix_property_import_from_cell(cell.get(), nullptr, 0, -1, quorix_test::unitary_db().c_str(),
                                                               quorix_test::binary_db().c_str()));
        quorix_property_set_conducting(ppt.get(), "Li", 1);
        for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = std::strcmp(cell->atom[i].type, "Li") != 0;
        md.reset(quorix_md_new(cell.get(), ppt.get(), temperature, -1, -1, -1, -1, 1));
        if (standard) quorix_md_use_standard_model(md.get());
        quorix_copy_bounded(md->logname, (dir.path() / "md.txt").c_str(), 1024);
        quorix_copy_bounded(md->xyzname, (dir.path() / "md.xyz").c_str(), 1024);
        quorix_copy_bounded(md->trjname, (dir.path() / "md.trj").c_str(), 1024);
        EXPECT_EQ(quorix_md_init_vv(md.get()), 0);
        capture.finish();
    }

    // Mean temperature over `steps` Langevin steps.
    double langevin(int steps) {
        double sum = 0;
        for (int s = 0; s < steps; s++) {
            standard ? quorix_md_update_langevin_std(md.get()) : quorix_md_update_vv_langevin(md.get());
            quorix_md_calculate_energy(md.get());
            quorix_md_calculate_temperature(md.get());
            sum += md->temperature;
        }
        return sum / steps;
    }
};

}  // namespace

// Li2O is cubic; the hexagonal cell of LiCoO2 is narrower than the reach across its faces; in the
// garnet most pairs of Li ions have only one or two images within reach.
TEST(MolecularDynamics, ForcesEqualTheSumOverAllPairsAndImages) {
    for (const char* cif :
         {"Li2O_COD9009059_occupancy.cif", "LiCoO2_VESTA.cif", "Li7La3Zr2O12_tetragonal_P1_pymatgen.cif"}) {
        MdRun run(1200, 3, false, cif);
        run.langevin(400);  // far enough for the neighbour list to be rebuilt
        for (long i = 0; i < run.md->cell->total; i++) {
            if (run.cell->atom[i].ignored) continue;
            const std::vector<double> expected = quorix_oracle::all_pairs_force(run.md.get(), i);
            const double scale = std::max(1.0, std::hypot(expected[0], expected[1], expected[2]));
            for (int k = 0; k < 3; k++)
                EXPECT_NEAR(run.md->f[i][k], expected[k], 1e-9 * scale) << cif << " " << i << " " << k;
        }
    }
}

// A species of oxidation state 0 interacts with nothing: Ar added to Li2O leaves the Li forces
// as they are (its pair terms have no table to read).
TEST(MolecularDynamics, NeutralSpeciesExertsNoForce) {
    const MdRun plain(600, 5, false, "Li2O_COD9009059_occupancy.cif");
    const MdRun with_argon(600, 5, false, "Li2O_neutral_Ar.cif");
    for (long i = 0; i < plain.md->cell->total; i++) {
        if (plain.cell->atom[i].ignored) continue;
        const QUORIX_CELL* cell = with_argon.md->cell;
        long j = 0;
        while (j < cell->total && quorix_vector3_double_distance(cell->atom[j].x, plain.md->cell->atom[i].x) > 1e-9) j++;
        ASSERT_LT(j, cell->total);
        for (int k = 0; k < 3; k++) EXPECT_NEAR(with_argon.md->f[j][k], plain.md->f[i][k], 1e-12) << i << " " << k;
    }
}

// --md: the same noise enters both half steps, so the kinetic temperature settles at twice the
// target; the standard model holds the target. Plain velocity Verlet conserves the total energy
// to 1e-4 eV per mobile ion in both.
TEST(MolecularDynamics, ThermostatEnergyAndFixedFramework) {
    for (const bool standard : {false, true}) {
        MdRun run(600, 7, standard);
        run.md->zeta = 20;  // short memory: many independent samples in a short run
        run.langevin(500);
        EXPECT_NEAR(run.langevin(4000) / (standard ? 600.0 : 1200.0), 1.0, 0.05) << standard;

        run.md->dt = 0.0005;
        quorix_md_calculate_energy(run.md.get());
        const double start = run.md->en;
        double drift = 0;
        for (int s = 0; s < 1000; s++) {
            quorix_md_update_vv(run.md.get());
            quorix_md_calculate_energy(run.md.get());
            drift = std::max(drift, std::fabs(run.md->en - start));
        }
        EXPECT_LT(drift, 1e-4 * 8) << standard;

        for (long i = 0; i < run.cell->total; i++) {
            if (!run.cell->atom[i].ignored) continue;
            EXPECT_EQ(std::memcmp(run.md->cell->atom[i].x, run.cell->atom[i].x, sizeof(double[3])), 0);
            EXPECT_EQ(std::memcmp(run.md->cell->atom[i].x_f, run.cell->atom[i].x_f, sizeof(double[3])), 0);
        }
    }
}

// The forces of the standard model in eV/A are minus the gradient of the lattice energy in eV
// (central differences of 1e-4 A on a copy of the current cell with every atom free).
TEST(MolecularDynamics, StandardModelForcesAreTheGradientOfTheLatticeEnergy) {
    MdRun run(1200, 11, true);
    run.langevin(300);
    const CellPtr cell(quorix_cell_copy(run.md->cell));
    for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = 0;
    for (long i = 0; i < cell->total; i++)
        for (int k = 0; k < 3 && !run.cell->atom[i].ignored; k++) {
            double energy[2];
            for (int side = 0; side < 2; side++) {
                cell->atom[i].x[k] += side ? 2e-4 : -1e-4;
                energy[side] = quorix_cell_calculate_total_energy(cell.get(), run.md->ppt);
            }
            cell->atom[i].x[k] -= 1e-4;
            EXPECT_NEAR(run.md->f[i][k], -(energy[1] - energy[0]) / 2e-4, 1e-4) << i << " " << k;
        }
}

// A cell 4 A wide and 3e10 A long: only the images of the short axes can be in reach, and the
// list must find every one of them (a search bounded by the cell's diagonal overflows).
TEST(MolecularDynamics, NeighbourListOfALongThinCell) {
    const CellPtr cell = quorix_test::make_cell(4, 4, 3e10, {{"O", -2, 0, 0, 0}, {"Li", 1, 0.5, 0.5, 0}});
    std::vector<double*> x = {cell->atom[0].x, cell->atom[1].x};
    QuorixNeighbourList list(10.5, 0.5);
    ASSERT_EQ(list.build(cell.get(), {0, 1}, {0, 1}, x.data()), 0);
    long listed = 0;
    list.for_each_pair([&](long, long, const double*, double, bool) { listed++; });
    EXPECT_EQ(listed, 24);  // the O images within 10.5 A of the Li in its plane
}

// A skewed cell four times as wide as the reach, whose mobile atoms find each other through bins:
// the listed pairs are those of every pair and image, with atoms several cells out (positions are
// not wrapped), and again after every atom has moved past the skin.
TEST(MolecularDynamics, NeighbourListOfALargeCellHasEveryImage) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> unit(0, 1);
    std::vector<quorix_test::Site> sites;
    for (int n = 0; n < 90; n++)
        sites.push_back({n % 3 ? "Li" : "O", n % 3 ? 1 : -2, unit(random), unit(random), unit(random)});
    const CellPtr cell = quorix_test::make_cell(16, 17, 18, sites, 75, 80, 100);
    const long total = cell->total;
    std::vector<char> mobile(total);
    std::vector<std::array<double, 3>> rows(total);
    std::vector<double*> x(total);
    for (long i = 0; i < total; i++) {
        mobile[i] = cell->atom[i].os > 0;
        x[i] = rows[i].data();
        for (int c = 0; c < 3; c++) x[i][c] = cell->atom[i].x[c] + (i % 4) * cell->a[0][c] - (i % 3) * cell->a[2][c];
    }
    const double reach = 3.5;
    QuorixNeighbourList list(reach, 0.5);
    ASSERT_EQ(list.build(cell.get(), mobile, std::vector<int>(mobile.begin(), mobile.end()), x.data()), 0);
    double reciprocal[3][3], width[3];
    quorix_lattice_reciprocal(cell->a, reciprocal, width);
    for (const double step : {0.0, 0.6}) {
        for (long i = 0; i < total; i++)
            if (mobile[i]) x[i][i % 3] += step;
        ASSERT_EQ(list.refresh(x.data()), 0);
        // Pairs with their squared distances in millionths of square Angstroms.
        std::vector<std::tuple<long, long, long>> listed, expected;
        list.for_each_pair(
            [&](long i, long j, const double*, double s, bool) { listed.emplace_back(i, j, std::lround(s * 1e6)); });
        for (long i = 0; i < total; i++)
            for (long j = 0; mobile[i] && j < total; j++) {
                if (j == i || (mobile[j] && j < i)) continue;
                double between[3], nearest[3];
                for (int c = 0; c < 3; c++) between[c] = x[j][c] - x[i][c];
                for (int k = 0; k < 3; k++) nearest[k] = std::round(quorix_vector3_double_dot(reciprocal[k], between));
                for (int l = -1; l <= 1; l++)
                    for (int m = -1; m <= 1; m++)
                        for (int p = -1; p <= 1; p++) {
                            double r[3];
                            quorix_vector3_double_sum3(r, cell->a[0], l - nearest[0], cell->a[1], m - nearest[1],
                                                       cell->a[2], p - nearest[2]);
                            for (int c = 0; c < 3; c++) r[c] += between[c];
                            const double s = quorix_vector3_double_dot(r, r);
                            if (s <= reach * reach) expected.emplace_back(i, j, std::lround(s * 1e6));
                        }
            }
        std::sort(listed.begin(), listed.end());
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(listed, expected) << step;
    }
}
