#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "test_fft_grid.hpp"

using fft_test::Frac;
using fft_test::make_cube;

namespace {

// A list of dots with the given type, energy and indices on a 10^3 grid of step 0.5.
FftdotListPtr dot_list(const std::vector<std::tuple<fftdot_type, double, std::array<long, 3>>>& dots) {
    FftdotListPtr list(quorix_fftdot_list_new(static_cast<long>(dots.size())));
    for (int d = 0; d < 3; d++) {
        list->n[d] = 10;
        list->a[d][d] = 5.0;
        list->a_i[d][d] = 0.5;
    }
    for (size_t p = 0; p < dots.size(); p++) {
        auto& dot = list->dot[p];
        dot.type = std::get<0>(dots[p]);
        dot.en = std::get<1>(dots[p]);
        for (int d = 0; d < 3; d++) {
            dot.x_i[d] = std::get<2>(dots[p])[d];
            dot.x[d] = 0.5 * dot.x_i[d];
        }
    }
    return list;
}

std::vector<std::array<long, 3>> indices_of(const QUORIX_FFTDOT_LIST* list) {
    std::vector<std::array<long, 3>> indices;
    for (long p = 0; p < list->total; p++)
        indices.push_back({list->dot[p].x_i[0], list->dot[p].x_i[1], list->dot[p].x_i[2]});
    return indices;
}

FftdotListPtr search(const QUORIX_CUBE* cube, std::string* out = nullptr) {
    FftPtr fft(quorix_fft_new_from_cube(cube));
    testing::internal::CaptureStdout();
    FftdotListPtr list(quorix_fftdot_list_new_from_fft(fft.get()));
    const std::string printed = testing::internal::GetCapturedStdout();
    if (out) *out = printed;
    return list;
}

}  // namespace

TEST(FftDot, SearchClassifiesTheCriticalPointsOfACosineLandscape) {
    CubePtr cube = fft_test::cosine_landscape();
    std::string printed;
    FftdotListPtr list = search(cube.get(), &printed);
    ASSERT_TRUE(list);
    EXPECT_EQ(printed, "Message: found 8 critical points via fft method.\n");
    ASSERT_EQ(list->total, 8);
    const fftdot_type types[8] = {FFT_MIN, FFT_SD1, FFT_SD1, FFT_SD1, FFT_SD2, FFT_SD2, FFT_SD2, FFT_MAX};
    for (long p = 0; p < 8; p++) {
        const QUORIX_FFTDOT& dot = list->dot[p];
        EXPECT_EQ(dot.type, types[p]) << p;
        long half = 0;
        for (int d = 0; d < 3; d++) {
            EXPECT_TRUE(dot.x_i[d] == 0 || dot.x_i[d] == 4) << p;
            half += dot.x_i[d] == 4;
            EXPECT_DOUBLE_EQ(dot.x[d], 0.5 * dot.x_i[d]);
        }
        EXPECT_EQ(half, types[p] - FFT_MIN);
        EXPECT_NEAR(dot.en, -3.0 + 2.0 * half, 1e-12);
        EXPECT_LE(fft_test::length(dot.f), 1e-9);
        EXPECT_LE(dot.eig[0], dot.eig[2]);
    }
    EXPECT_EQ(list->n[2], 8);
    EXPECT_EQ(list->a_i[1][1], 0.5);
}

// A constant landscape: every point ties on the gradient, every eigenvalue is zero, nothing is listed.
TEST(FftDot, FlatLandscapeHasNoCriticalPoints) {
    const long n[3] = {4, 4, 4};
    const double a[3][3] = {{3, 0, 0}, {0, 3, 0}, {0, 0, 3}};
    CubePtr cube = make_cube(n, a, [](const Frac&) { return 1.5; });
    FftPtr fft(quorix_fft_new_from_cube(cube.get()));
    QUORIX_FFTDOT dot;
    long x_i[3] = {5, -1, 2};
    ASSERT_EQ(quorix_fftdot_read_from_fft(&dot, fft.get(), x_i), 0);
    EXPECT_EQ(dot.type, FFT_ERR);
    EXPECT_EQ(x_i[0], 1);  // the caller's indices are reduced in place
    EXPECT_EQ(x_i[1], 3);
    std::string printed;
    FftdotListPtr list = search(cube.get(), &printed);
    EXPECT_EQ(list->total, 0);
    EXPECT_EQ(printed, "Message: found 0 critical points via fft method.\n");
}

// Only dots touching across a corner merge; the one nearer the cell origin goes.
TEST(FftDot, MergeJoinsOnlyDiagonalNeighbours) {
    FftdotListPtr face = dot_list({{FFT_MIN, -1.0, {3, 3, 3}}, {FFT_MIN, -0.9, {4, 3, 3}}});
    ASSERT_EQ(quorix_fftdot_list_merge_near(face.get()), 0);
    EXPECT_EQ(face->total, 2);

    FftdotListPtr corner = dot_list({{FFT_MIN, -1.0, {2, 2, 2}}, {FFT_MIN, -0.9, {3, 3, 3}}});
    ASSERT_EQ(quorix_fftdot_list_merge_near(corner.get()), 0);
    ASSERT_EQ(corner->total, 1);
    // The survivor is the farther dot, but it stood at position 1: position 0 stays zero-filled.
    EXPECT_EQ(corner->dot[0].type, FFT_UND);
    EXPECT_EQ(corner->dot[0].en, 0.0);

    FftdotListPtr periodic = dot_list({{FFT_SD1, -0.5, {1, 9, 1}}, {FFT_SD1, -0.4, {2, 0, 2}}});
    ASSERT_EQ(quorix_fftdot_list_merge_near(periodic.get()), 0);
    EXPECT_EQ(periodic->total, 1);

    // Farther from the origin survives; a later dot of another type is not compared.
    FftdotListPtr kept = dot_list({{FFT_MIN, -1.0, {5, 5, 5}}, {FFT_MIN, -0.8, {4, 4, 4}}, {FFT_SD1, 0.2, {6, 6, 6}}});
    ASSERT_EQ(quorix_fftdot_list_merge_near(kept.get()), 0);
    ASSERT_EQ(kept->total, 2);
    EXPECT_EQ(indices_of(kept.get()), (std::vector<std::array<long, 3>>{{5, 5, 5}, {0, 0, 0}}));
    EXPECT_EQ(kept->dot[1].type, FFT_UND);
}

// The cap counts from the lowest dot of any type.
TEST(FftDot, FilterKeepsDotsWithinTheCap) {
    FftdotListPtr list = dot_list({{FFT_MIN, -3.0, {1, 1, 1}},
                                   {FFT_MIN, -2.6, {2, 2, 2}},
                                   {FFT_SD1, -2.4, {3, 3, 3}},
                                   {FFT_MAX, 0.5, {4, 4, 4}}});
    ASSERT_EQ(quorix_fftdot_list_filter(list.get(), 0.5), 0);
    EXPECT_EQ(indices_of(list.get()), (std::vector<std::array<long, 3>>{{1, 1, 1}, {2, 2, 2}}));
    ASSERT_EQ(quorix_fftdot_list_filter(list.get(), 10.0), 0);
    EXPECT_EQ(list->total, 2);
}

TEST(FftDot, TableLayout) {
    FftdotListPtr list = dot_list({{FFT_SD1, -1.25, {3, 0, 9}}});
    QUORIX_FFTDOT& dot = list->dot[0];
    dot.f[0] = 0.03;
    dot.f[1] = -0.04;
    for (int i = 0; i < 3; i++) {
        dot.eig[i] = i - 1.0;
        for (int j = 0; j < 3; j++) {
            dot.eiv[i][j] = 0.1 * (3 * i + j);
            dot.k[i][j] = 10.0 * i + j;
        }
    }
    TextPtr text(quorix_fftdot_list_export_to_text(list.get()));
    ASSERT_TRUE(text);
    const std::string expected =
        "# energy unit: eV; length unit: A\r\n"
        "   no,     x,     y,     z,    xi,    yi,    zi,       en,    eig_1,    eig_2,    eig_3,   eiv_11,   "
        "eiv_12,   eiv_13,   eiv_21,   eiv_22,   eiv_23,   eiv_31,   eiv_32,   eiv_33,      |f|,      f_x,      "
        "f_y,      f_z,     k_xx,     k_xy,     k_xz,     k_yx,     k_yy,     k_yz,     k_zx,     k_zy,     k_zz\r\n"
        "    1, 1.500, 0.000, 4.500,     3,     0,     9, -1.25000, -1.00000,  0.00000,  1.00000,  0.00000,  "
        "0.10000,  0.20000,  0.30000,  0.40000,  0.50000,  0.60000,  0.70000,  0.80000,  0.05000,  0.03000, "
        "-0.04000,  0.00000,  0.00000,  1.00000,  2.00000, 10.00000, 11.00000, 12.00000, 20.00000, 21.00000, "
        "22.00000\r\n";
    EXPECT_EQ(std::string(text->content), expected);
}

TEST(FftDot, MarkerCell) {
    FftdotListPtr list = dot_list({{FFT_MIN, -1.0, {0, 0, 0}},
                                   {FFT_SD1, 0.0, {2, 0, 0}},
                                   {FFT_SD2, 0.5, {4, 0, 0}},
                                   {FFT_MAX, 1.0, {6, 0, 5}},
                                   {FFT_UND, 0.0, {8, 0, 0}}});
    CellPtr cell(quorix_fftdot_list_export_to_cell(list.get()));
    ASSERT_EQ(cell->total, 5);
    const char* markers[5][2] = {{"MIN", "Li"}, {"SD1", "Na"}, {"SD2", "K"}, {"MAX", "Rb"}, {"ERR", "Cs"}};
    for (int p = 0; p < 5; p++) {
        EXPECT_STREQ(cell->atom[p].name, markers[p][0]);
        EXPECT_STREQ(cell->atom[p].type, markers[p][1]);
        EXPECT_EQ(cell->atom[p].os, 1);
        EXPECT_EQ(cell->atom[p].occ, 1.0);
        EXPECT_NEAR(cell->atom[p].x_f[0], 0.2 * p, 1e-12);
    }
    EXPECT_NEAR(cell->atom[3].x_f[2], 0.5, 1e-12);
    EXPECT_NEAR(cell->parameter[1], 5.0, 1e-12);
}
