// --print-cube, --fft and --fft-cubes on cube files written in the test.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>

#include "support.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

// Two voxels per axis in a 4 A cubic cell with Li at the origin and O at the centre.
const char* const kSmallCube =
    "Li2O\r\n"
    "Conducting = Li1+ ; sf = 0.710000;\r\n"
    "   2    0.000000    0.000000    0.000000\r\n"
    "   2    3.779452    0.000000    0.000000\r\n"
    "   2    0.000000    3.779452    0.000000\r\n"
    "   2    0.000000    0.000000    3.779452\r\n"
    "   3    0.500000    0.000000    0.000000    0.000000\r\n"
    "   8   -1.000000    3.779452    3.779452    3.779452\r\n"
    " 1.0\r\n 2.0\r\n 3.0\r\n 4.0\r\n 5.0\r\n 6.0\r\n 7.0\r\n 8.0\r\n";

std::string write_cosine_cube(const ScratchDir& dir) {
    const std::string path = (dir.path() / "cos.cube").string();
    quorix_test::Capture capture;
    quorix_cube_export_to_file(quorix_test::cosine_landscape().get(), nullptr, nullptr, path.c_str(), 1);
    capture.finish();
    return path;
}

long count_lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

}  // namespace

TEST(FftCli, PrintCubeShowsTheCellAndTheGrid) {
    ScratchDir dir;
    const auto path = dir.write("small.cube", kSmallCube).string();
    const auto periodic = run_quorix({"--print-cube", path});
    EXPECT_EQ(periodic.status, 0);
    EXPECT_EQ(periodic.err, "");
    EXPECT_NE(periodic.out.find("Message: cell information found, attempting to load cell.\n"), std::string::npos);
    EXPECT_NE(periodic.out.find("CELL: name: " + path + "\n"), std::string::npos);
    EXPECT_NE(periodic.out.find("CUBE: cube size = 2 * 2 * 2\nCUBE: cell vector (A):\nCUBE:     4.000000"),
              std::string::npos);
    EXPECT_NE(periodic.out.find("CUBE: votex vector (A):\nCUBE:     2.000000    0.000000    0.000000\n"),
              std::string::npos);
    EXPECT_NE(periodic.out.find("type= O;os=-2;x_f=(0.500,0.500,0.500);occ=1.000"), std::string::npos);

    // Not periodic: the file repeats the boundary, so one voxel per axis remains.
    const auto repeated = run_quorix({"--print-cube", path, "f"});
    EXPECT_NE(repeated.out.find("CUBE: cube size = 1 * 1 * 1\n"), std::string::npos);

    const auto missing = run_quorix({"--print-cube", (dir.path() / "none.cube").string()});
    EXPECT_EQ(missing.status, 0);
    EXPECT_EQ(missing.out, "Error: unable to open " + (dir.path() / "none.cube").string() + ".\n");
    EXPECT_EQ(missing.err, "Error: quorix_cube_import_from_file() returns non-zero.\n");
}

TEST(FftCli, CriticalPointsWithDefaultAndGivenNames) {
    ScratchDir dir;
    const std::string cube = write_cosine_cube(dir);
    const auto result = run_quorix({"--fft", cube});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("Message: found 8 critical points via fft method.\n"), std::string::npos);
    EXPECT_EQ(count_lines(read_file(cube + ".fft.txt")), 10);
    EXPECT_NE(read_file(cube + ".fft.cif").find("  MIN  Li1+  0.000  0.000  0.000"), std::string::npos);

    const std::string named = (dir.path() / "capped").string();
    const auto capped = run_quorix({"--fft", cube, "0.5", "t", named});
    EXPECT_EQ(capped.err, "");
    EXPECT_EQ(count_lines(read_file(named + ".fft.txt")), 3);

    const auto bad_cap = run_quorix({"--fft", cube, "low"});
    EXPECT_EQ(bad_cap.err, "Error: wrong parameter cap.\n");
}

TEST(FftCli, DerivativeCubes) {
    ScratchDir dir;
    const std::string cube = write_cosine_cube(dir);
    const auto result = run_quorix({"--fft-cubes", cube, "t", (dir.path() / "d").string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    for (const char* part : {"f0", "f1", "f2", "k00", "k01", "k02", "k10", "k11", "k12", "k20", "k21", "k22",
                             "laplacian", "slope"})
        EXPECT_TRUE(std::filesystem::exists(dir.path() / ("d.fft." + std::string(part) + ".cube"))) << part;
    // d2E/ds0^2 = (2 pi / 4)^2 cos(2 pi u0), written once per period; the input file's six decimals
    // limit the agreement.
    QUORIX_CUBE* k00 = nullptr;
    quorix_test::Capture capture;
    ASSERT_EQ(quorix_cube_import_from_file(&k00, nullptr, (dir.path() / "d.fft.k00.cube").c_str(), 1, nullptr), 0);
    capture.finish();
    const CubePtr owned(k00);
    const double curvature = std::pow(3.141592653589793 / 2, 2);
    EXPECT_NEAR(k00->en[0][3][5], curvature, 1e-4);
    EXPECT_NEAR(k00->en[4][0][0], -curvature, 1e-4);
    EXPECT_NEAR(k00->a_i[2][2], 0.5, 1e-6);
}
