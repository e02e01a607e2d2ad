// Critical points of the landscapes of real conductors, computed by --gen-cube (skipped while the
// landscape calculation is not available).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "cli.hpp"
#include "quorix-cube.hpp"
#include "quorix-fft.hpp"
#include "quorix-import-cif.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

using Point = std::vector<double>;  // fractional coordinates

struct Landscape {
    CellPtr cell;
    std::vector<Point> minima;
};

// The structure, and the minima of its Li+ landscape found by the critical-point search.
Landscape lithium_minima(ScratchDir& dir, const std::string& cif_name) {
    const std::string cif = dir.copy_in(cif_name).string();
    run_quorix({"--gen-cube", cif, "Li", "1"});
    Landscape landscape;
    if (!std::filesystem::exists(cif + ".cube")) return landscape;
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    QUORIX_CUBE* cube = nullptr;
    testing::internal::CaptureStdout();
    quorix_cell_import_cif_from_file(&cell, &symmetry, cif.c_str(), quorix_test::symcards_db().c_str(),
                                     quorix_test::unitary_db().c_str());
    quorix_cube_import_from_file(&cube, nullptr, (cif + ".cube").c_str(), 1, nullptr);
    const SymmetryPtr owned_symmetry(symmetry);
    const CubePtr owned_cube(cube);
    FftPtr fft(quorix_fft_new_from_cube(cube));
    FftdotListPtr list(quorix_fftdot_list_new_from_fft(fft.get()));
    testing::internal::GetCapturedStdout();
    landscape.cell.reset(cell);
    for (long p = 0; list && p < list->total; p++) {
        const QUORIX_FFTDOT& dot = list->dot[p];
        if (dot.type == FFT_MIN)
            landscape.minima.push_back({double(dot.x_i[0]) / list->n[0], double(dot.x_i[1]) / list->n[1],
                                        double(dot.x_i[2]) / list->n[2]});
    }
    return landscape;
}

// Shortest periodic distance (A) from a fractional position to a minimum.
double distance_to_nearest_minimum(const Landscape& landscape, const Point& site) {
    double nearest = INFINITY;
    for (const Point& minimum : landscape.minima) {
        double cartesian[3] = {0.0, 0.0, 0.0};
        for (int d = 0; d < 3; d++) {
            double du = site[d] - minimum[d];
            du -= std::round(du);
            for (int c = 0; c < 3; c++) cartesian[c] += du * landscape.cell->a[d][c];
        }
        nearest = std::min(nearest, std::sqrt(cartesian[0] * cartesian[0] + cartesian[1] * cartesian[1] +
                                              cartesian[2] * cartesian[2]));
    }
    return nearest;
}

std::vector<Point> sites_of(const QUORIX_CELL* cell, const char* type) {
    std::vector<Point> sites;
    for (long p = 0; p < cell->total; p++)
        if (std::string(cell->atom[p].type) == type)
            sites.push_back({cell->atom[p].x_f[0], cell->atom[p].x_f[1], cell->atom[p].x_f[2]});
    return sites;
}

}  // namespace

TEST(FftConductors, MinimaAtEveryLithiumSiteOfLiFePO4) {
    ScratchDir dir;
    const Landscape landscape = lithium_minima(dir, "LiFePO4_COD4001848.cif");
    if (!landscape.cell) GTEST_SKIP() << "--gen-cube does not write a landscape yet";
    const std::vector<Point> lithium = sites_of(landscape.cell.get(), "Li");
    ASSERT_EQ(lithium.size(), 4u);
    for (const Point& site : lithium) EXPECT_LE(distance_to_nearest_minimum(landscape, site), 0.3);
}

// Antifluorite: Li in the tetrahedral holes of the oxide lattice, octahedral voids at O + (1/2, 1/2, 1/2).
TEST(FftConductors, MinimaAtTheLithiumSitesAndOctahedralVoidsOfLi2O) {
    ScratchDir dir;
    const Landscape landscape = lithium_minima(dir, "Li2O_COD9009059_occupancy.cif");
    if (!landscape.cell) GTEST_SKIP() << "--gen-cube does not write a landscape yet";
    const std::vector<Point> lithium = sites_of(landscape.cell.get(), "Li");
    const std::vector<Point> oxide = sites_of(landscape.cell.get(), "O");
    ASSERT_EQ(lithium.size(), 8u);
    ASSERT_EQ(oxide.size(), 4u);
    for (const Point& site : lithium) EXPECT_LE(distance_to_nearest_minimum(landscape, site), 0.3);
    for (const Point& oxygen : oxide)
        EXPECT_LE(distance_to_nearest_minimum(landscape, {oxygen[0] + 0.5, oxygen[1] + 0.5, oxygen[2] + 0.5}), 0.3);
}
