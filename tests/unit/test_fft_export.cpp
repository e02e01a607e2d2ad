#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "cli.hpp"
#include "test_fft_grid.hpp"

using fft_test::Frac;
using quorix_test::read_file;
using quorix_test::ScratchDir;

namespace {

constexpr double kPi = 3.141592653589793;

// Minimum -3 at the origin, saddles of both orders, maximum 3 at the body centre (see FftDot tests).
CubePtr cosine_landscape() {
    const long n[3] = {8, 8, 8};
    const double a[3][3] = {{4, 0, 0}, {0, 4, 0}, {0, 0, 4}};
    return fft_test::make_cube(n, a, [](const Frac& u) {
        return -std::cos(2 * kPi * u[0]) - std::cos(2 * kPi * u[1]) - std::cos(2 * kPi * u[2]);
    });
}

long count_lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

struct Captured {
    int status;
    std::string out, err;
};

template <class Action>
Captured capture(Action action) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = action();
    std::string err = testing::internal::GetCapturedStderr();
    return {status, testing::internal::GetCapturedStdout(), err};
}

}  // namespace

TEST(FftExport, MarkerCellNamesTypesAndPositions) {
    FftdotListPtr list(quorix_fftdot_list_new(5));
    for (int d = 0; d < 3; d++) list->a[d][d] = 4.0;
    const fftdot_type types[5] = {FFT_MIN, FFT_SD1, FFT_SD2, FFT_MAX, FFT_UND};
    for (int p = 0; p < 5; p++) {
        list->dot[p].type = types[p];
        list->dot[p].x[0] = 0.5 * p;
        list->dot[p].x[2] = 1.0;
    }
    CellPtr cell(quorix_fftdot_list_export_to_cell(list.get()));
    ASSERT_TRUE(cell);
    ASSERT_EQ(cell->total, 5);
    const char* names[5] = {"MIN", "SD1", "SD2", "MAX", "ERR"};
    const char* elements[5] = {"Li", "Na", "K", "Rb", "Cs"};
    for (int p = 0; p < 5; p++) {
        EXPECT_STREQ(cell->atom[p].name, names[p]);
        EXPECT_STREQ(cell->atom[p].type, elements[p]);
        EXPECT_EQ(cell->atom[p].os, 1);
        EXPECT_EQ(cell->atom[p].occ, 1.0);
        EXPECT_NEAR(cell->atom[p].x_f[0], 0.125 * p, 1e-12);
        EXPECT_NEAR(cell->atom[p].x_f[2], 0.25, 1e-12);
    }
    EXPECT_NEAR(cell->parameter[1], 4.0, 1e-12);
}

TEST(FftExport, CriticalPointFilesWithAndWithoutCap) {
    ScratchDir dir;
    CubePtr cube = cosine_landscape();
    const std::string name = (dir.path() / "cos").string();
    const Captured all = capture([&] { return quorix_fft_analyze_export_to_file(cube.get(), -0.1, name.c_str()); });
    ASSERT_EQ(all.status, 0) << all.err;
    EXPECT_NE(all.out.find("Message: found 8 critical points via fft method.\n"), std::string::npos);
    const std::string table = read_file(name + ".fft.txt");
    EXPECT_EQ(count_lines(table), 2 + 8);
    EXPECT_EQ(table.rfind("# energy unit: eV; length unit: A\r\n   no,", 0), 0u);
    const std::string cif = read_file(name + ".fft.cif");
    for (const char* marker : {"  MIN  Li1+  0.000  0.000  0.000", "  MAX  Rb1+  0.500  0.500  0.500"})
        EXPECT_NE(cif.find(marker), std::string::npos) << marker;
    size_t saddles = 0;
    for (size_t at = cif.find("  SD1  Na1+"); at != std::string::npos; at = cif.find("  SD1  Na1+", at + 1)) saddles++;
    EXPECT_EQ(saddles, 3u);

    // Only the minimum lies within 0.5 eV of the lowest point.
    const Captured capped = capture([&] { return quorix_fft_analyze_export_to_file(cube.get(), 0.5, name.c_str()); });
    ASSERT_EQ(capped.status, 0) << capped.err;
    const std::string one = read_file(name + ".fft.txt");
    EXPECT_EQ(count_lines(one), 3);
    EXPECT_NE(one.find("\r\n    1, 0.000, 0.000, 0.000,     0,     0,     0, -3.00000,"), std::string::npos);
}

TEST(FftExport, DerivativeCubes) {
    ScratchDir dir;
    CubePtr cube = cosine_landscape();
    const std::string name = (dir.path() / "cos").string();
    const Captured written = capture([&] { return quorix_fft_analyze_export_cubes_to_file(cube.get(), name.c_str()); });
    ASSERT_EQ(written.status, 0) << written.err;
    const std::string order[] = {"f0", "k00", "k01", "k02", "f1", "k10", "k11", "k12",
                                 "f2", "k20", "k21", "k22", "laplacian", "slope"};
    size_t at = 0;
    for (const std::string& part : order) {
        const std::string saved = "Message: cube file saved to " + name + ".fft." + part + ".cube.\n";
        const size_t found = written.out.find(saved, at);
        ASSERT_NE(found, std::string::npos) << part;
        at = found;
    }
    // d2E/ds0^2 = (2 pi / 4)^2 cos(2 pi u0); the file holds the grid once per period.
    QUORIX_CUBE* read = nullptr;
    const Captured loaded = capture([&] {
        return quorix_cube_import_from_file(&read, nullptr, (name + ".fft.k00.cube").c_str(), 1, nullptr);
    });
    CubePtr k00(read);
    ASSERT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_EQ(k00->n[0], 8);
    EXPECT_NEAR(k00->en[0][3][5], std::pow(kPi / 2, 2), 2e-6);
    EXPECT_NEAR(k00->en[4][0][0], -std::pow(kPi / 2, 2), 2e-6);
    EXPECT_NEAR(k00->a_i[2][2], 0.5, 1e-6);
}

TEST(FftExport, RefusesMissingCube) {
    const Captured result = capture([] { return quorix_fft_analyze_export_to_file(nullptr, 0.0, "x"); });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Error: QUORIX_CUBE has not been initialized properly.\n");
    EXPECT_EQ(quorix_fft_analyze_export_cubes_to_file(nullptr, "x"), 1);
}
