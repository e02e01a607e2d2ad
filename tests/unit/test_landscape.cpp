// The site-energy landscape: grid choice, agreement with the plain loop over every atom and
// image on real structures, the symmetry fill rules, the cap, and refusals of unusable input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include <vector>

#include "quorix-import-atom.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "support.hpp"
#include "test_landscape_oracle.hpp"

namespace {

struct LoadedStructure {
    CellPtr cell;
    SymmetryPtr symmetry;
    PropertyPtr ppt;
};

// A CIF of tests/data with its parameter set for the conducting species; quiet.
LoadedStructure load_structure(const std::string& file, const char* type, int os) {
    quorix_test::CifRead read = quorix_test::read_cif(file);
    EXPECT_TRUE(read.cell) << file;
    LoadedStructure s{std::move(read.cell), std::move(read.symmetry), nullptr};
    quorix_test::Capture quiet;
    if (s.cell)
        s.ppt.reset(quorix_property_import_from_cell(s.cell.get(), type, os, -1.0, quorix_test::unitary_db().c_str(),
                                                     quorix_test::binary_db().c_str()));
    quiet.finish();
    EXPECT_NE(s.ppt, nullptr) << file;
    return s;
}

CubePtr landscape_of(LoadedStructure& s, double resolution, bool ignore, QuorixLandscapeWork* work = nullptr) {
    quorix_test::Capture quiet;
    return CubePtr(quorix_cube_calculate_counted(s.cell.get(), s.symmetry.get(), s.ppt.get(), resolution, ignore, work));
}

// The voxel nearest to the fractional position x_f.
void nearest_voxel(const QUORIX_CUBE* cube, const double* x_f, long* v) {
    for (int k = 0; k < 3; k++) v[k] = ((std::lround(x_f[k] * cube->n[k]) % cube->n[k]) + cube->n[k]) % cube->n[k];
}

// The energy of the voxel nearest each atom of the species, less the global minimum.
std::vector<double> site_energies_above_minimum(const QUORIX_CUBE* cube, const QUORIX_CELL* cell, const char* type) {
    double minimum = cube->en[0][0][0];
    for (long i = 0; i < cube->n[0]; i++)
        for (long j = 0; j < cube->n[1]; j++)
            for (long k = 0; k < cube->n[2]; k++) minimum = std::min(minimum, cube->en[i][j][k]);
    std::vector<double> above;
    for (long a = 0; a < cell->total; a++) {
        if (std::string(cell->atom[a].type) != type) continue;
        long v[3];
        nearest_voxel(cube, cell->atom[a].x_f, v);
        above.push_back(cube->en[v[0]][v[1]][v[2]] - minimum);
    }
    return above;
}

void expect_grid(double a, double b, double c, double resolution, long n0, long n1, long n2) {
    QUORIX_CELL cell{};
    cell.a[0][0] = a;
    cell.a[1][1] = b;
    cell.a[2][2] = c;
    long n[3];
    quorix_cube_choose_grid(&cell, resolution, n);
    EXPECT_EQ(n[0], n0);
    EXPECT_EQ(n[1], n1);
    EXPECT_EQ(n[2], n2);
}

// Largest difference between two cubes of the same grid.
double max_difference(const QUORIX_CUBE* a, const QUORIX_CUBE* b) {
    double largest = 0;
    for (long i = 0; i < a->n[0]; i++)
        for (long j = 0; j < a->n[1]; j++)
            for (long k = 0; k < a->n[2]; k++) largest = std::max(largest, std::fabs(a->en[i][j][k] - b->en[i][j][k]));
    return largest;
}

// The fast landscape equals the plain loop's: same voxels computed, same values to 1e-9 eV.
void expect_plain_loop_result(LoadedStructure& s, double resolution, bool ignore) {
    QuorixLandscapeWork work;
    const CubePtr fast = landscape_of(s, resolution, ignore, &work);
    ASSERT_NE(fast, nullptr);
    long computed = 0;
    const quorix_oracle::Host host(s.cell.get(), s.ppt.get(), ignore);
    const CubePtr plain(quorix_oracle::landscape(host, s.symmetry.get(), fast->n, &computed));
    EXPECT_EQ(work.voxels, computed);
    EXPECT_LT(max_difference(fast.get(), plain.get()), 1e-9);
}

}  // namespace

TEST(LandscapeGrid, MultiplesOf24AtOrAboveTheResolution) {
    expect_grid(10.3244, 6.0064, 4.6901, 0.1, 120, 72, 48);
    expect_grid(10.3244, 6.0064, 4.6901, 0.21, 72, 48, 24);
    expect_grid(4.8, 4.8, 4.8, 0.2, 24, 24, 24);  // exactly 24 steps
}

TEST(LandscapeGrid, CutsTheLargestAxisBackToTheCap) {
    // 72 x 600 x 6000 first: the third axis comes down to 336, then the second and third take
    // turns, the second first on a tie.
    expect_grid(3, 30, 300, 0.05, 72, 312, 312);
    expect_grid(20, 20, 20, 0.05, 192, 192, 192);
    // Counts far beyond any grid that fits in memory end at the same cap.
    expect_grid(20, 20, 20, 1e-300, 192, 192, 192);
}

TEST(Landscape, EqualsThePlainLoopOnRealStructures) {
    {
        SCOPED_TRACE("LiFePO4, Li+ ignored");
        LoadedStructure s = load_structure("LiFePO4_COD4001848_oxidation.cif", "Li", 1);
        expect_plain_loop_result(s, 0.45, true);
    }
    {
        SCOPED_TRACE("Li2O, Li+ kept: Coulomb terms with the conducting ions");
        LoadedStructure s = load_structure("Li2O_COD9009059_occupancy.cif", "Li", 1);
        expect_plain_loop_result(s, 0.3, false);
    }
    {
        SCOPED_TRACE("Li2O, O2- as the mobile anion");
        LoadedStructure s = load_structure("Li2O_COD9009059_occupancy.cif", "O", -2);
        expect_plain_loop_result(s, 0.3, true);
    }
    {
        SCOPED_TRACE("K2SO4, a split O site weighted by occupancy");
        LoadedStructure s = load_structure("K2SO4_alpha_COD1000049.cif", "K", 1);
        expect_plain_loop_result(s, 0.5, false);
    }
}

namespace {

// Li2O stretched to a = 25 A with only the inversion: away from the O ions the probe feels
// nothing, and such voxels, at exactly 0, are computed again when visited although filled.
LoadedStructure stretched_antifluorite() {
    const double a = 25.0;
    LoadedStructure s;
    s.cell = quorix_test::make_cell(a, a, a, {{"O", -2, 0, 0, 0}, {"Li", 1, 0.25, 0.25, 0.25}, {"Li", 1, 0.75, 0.75, 0.75}});
    s.symmetry.reset(quorix_symmetry_new(2));
    quorix_card_set_by_text(&s.symmetry->card[0], "x,y,z");
    quorix_card_set_by_text(&s.symmetry->card[1], "-x,-y,-z");
    quorix_test::Capture quiet;
    s.ppt.reset(quorix_property_import_from_cell(s.cell.get(), "Li", 1, 0.75, quorix_test::unitary_db().c_str(),
                                                 quorix_test::binary_db().c_str()));
    quiet.finish();
    EXPECT_NE(s.ppt, nullptr);
    return s;
}

}  // namespace

TEST(Landscape, RecomputesVoxelsThatStayAtZero) {
    LoadedStructure s = stretched_antifluorite();
    ASSERT_NE(s.ppt, nullptr);
    QuorixLandscapeWork work;
    const CubePtr cube = landscape_of(s, 1.0, true, &work);
    ASSERT_NE(cube, nullptr);
    EXPECT_GT(work.voxels, cube->n[0] * cube->n[1] * cube->n[2] * 3 / 4);
    expect_plain_loop_result(s, 1.0, true);
}

// Threads compute the first voxels of the orbits beforehand; the cube and the work are those of
// one thread, also where voxels at 0 must be computed again.
TEST(Landscape, ThreadsGiveTheCubeOfOneThread) {
    const auto with_threads = [](LoadedStructure& s, double resolution, const char* threads,
                                 QuorixLandscapeWork& work) {
        setenv("QUORIX_THREADS", threads, 1);
        CubePtr cube = landscape_of(s, resolution, true, &work);
        unsetenv("QUORIX_THREADS");
        return cube;
    };
    LoadedStructure olivine = load_structure("LiFePO4_COD4001848_oxidation.cif", "Li", 1);
    LoadedStructure stretched = stretched_antifluorite();
    // Operations that are no group on this grid: orbits overlap and the visit decides each value.
    LoadedStructure overlapping = load_structure("LiFePO4_COD4001848_oxidation.cif", "Li", 1);
    overlapping.symmetry.reset(quorix_symmetry_new(2));
    quorix_card_set_by_text(&overlapping.symmetry->card[0], "x,y,z");
    quorix_card_set_by_text(&overlapping.symmetry->card[1], "-y,x,z");
    for (auto [s, resolution] :
         {std::pair{&olivine, 0.15}, std::pair{&stretched, 1.0}, std::pair{&overlapping, 0.15}}) {
        QuorixLandscapeWork one_work, four_work;
        const CubePtr one = with_threads(*s, resolution, "1", one_work);
        const CubePtr four = with_threads(*s, resolution, "4", four_work);
        ASSERT_NE(one, nullptr);
        ASSERT_NE(four, nullptr);
        EXPECT_EQ(max_difference(one.get(), four.get()), 0.0);
        EXPECT_EQ(one_work.voxels, four_work.voxels);
        EXPECT_EQ(one_work.terms, four_work.terms);
    }
}

// A loop that lists operations twice, one of them shifted by a lattice vector, is read as the
// clean file: each operation once, and the same cube.
TEST(Landscape, RepeatedOperationsGiveTheCleanFilesCube) {
    LoadedStructure clean = load_structure("Li2O_COD9009059_occupancy.cif", "Li", 1);
    LoadedStructure repeated = load_structure("Li2O_COD9009059_repeated_operation.cif", "Li", 1);
    ASSERT_TRUE(clean.symmetry && repeated.symmetry);
    EXPECT_EQ(repeated.symmetry->total, clean.symmetry->total);
    const CubePtr clean_cube = landscape_of(clean, 0.3, true), repeated_cube = landscape_of(repeated, 0.3, true);
    ASSERT_TRUE(clean_cube && repeated_cube);
    EXPECT_EQ(max_difference(clean_cube.get(), repeated_cube.get()), 0.0);
}

// The O2- probe pairs with Li+ through the Li-O (cation first) record: bound at the O sites.
TEST(Landscape, AnionProbeBindsThroughTheCationFirstRecord) {
    LoadedStructure s = load_structure("Li2O_COD9009059_occupancy.cif", "O", -2);
    const CubePtr cube = landscape_of(s, 0.3, true);
    ASSERT_NE(cube, nullptr);
    for (double above : site_energies_above_minimum(cube.get(), s.cell.get(), "O")) EXPECT_LT(above, 1e-9);
    EXPECT_LT(cube->en[0][0][0], -1.0);
}
