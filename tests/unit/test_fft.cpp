// Spectral derivatives of cubes against analytic ones, and the critical points found with them.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>
#include <random>
#include <vector>

#include "quorix-fft.hpp"
#include "support.hpp"

namespace {

constexpr double kPi = 3.141592653589793;

using Frac = std::array<double, 3>;

// A cube whose voxel (i, j, k) holds field(i/n0, j/n1, k/n2).
template <class Field>
CubePtr make_cube(const long* n, const double a[3][3], Field field) {
    return quorix_test::make_cube(n, a, [&](long i, long j, long k) {
        return field(Frac{double(i) / n[0], double(j) / n[1], double(k) / n[2]});
    });
}

double norm(const double* v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

long index_of(const long* n, long i, long j, long k) { return (i * n[1] + j) * n[2] + k; }

// One plane wave A cos(2 pi h.u + phase) of a sum of cosines.
struct Wave {
    double amplitude;
    int h[3];
    double phase;
    double argument(const Frac& u) const { return 2 * kPi * (h[0] * u[0] + h[1] * u[1] + h[2] * u[2]) + phase; }
};

const std::vector<Wave> kWaves = {
    {1.0, {1, 0, 0}, 0.0}, {0.5, {0, 2, 0}, -0.5 * kPi}, {0.25, {1, 0, 1}, 0.3}, {0.4, {0, 1, -3}, 1.1},
    {0.2, {2, -1, 1}, -0.7}};

double energy(const Frac& u) {
    double e = 0.3;
    for (const Wave& w : kWaves) e += w.amplitude * std::cos(w.argument(u));
    return e;
}

// Exact dE/ds_d and d2E/ds_i ds_j, with s_d the distance along lattice vector d.
double first_derivative(const Frac& u, int d, const double* length) {
    double sum = 0.0;
    for (const Wave& w : kWaves) sum -= w.amplitude * 2 * kPi * w.h[d] / length[d] * std::sin(w.argument(u));
    return sum;
}

double second_derivative(const Frac& u, int i, int j, const double* length) {
    double sum = 0.0;
    for (const Wave& w : kWaves)
        sum -= w.amplitude * (2 * kPi * w.h[i] / length[i]) * (2 * kPi * w.h[j] / length[j]) * std::cos(w.argument(u));
    return sum;
}

// Largest deviation of Re(grid) from exact(u), relative to the largest |exact|.
template <class Exact>
double relative_error(const QUORIX_FFTCUBE* grid, Exact exact) {
    double worst = 0.0;
    double scale = 0.0;
    const long* n = grid->n;
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++) {
                const double value = exact(Frac{double(i) / n[0], double(j) / n[1], double(k) / n[2]});
                worst = std::max(worst, std::fabs(grid->value[index_of(n, i, j, k)][0] - value));
                scale = std::max(scale, std::fabs(value));
            }
    return worst / scale;
}


}  // namespace

// Derivatives run along the lattice vectors of a non-orthogonal cell.
TEST(Fft, DerivativesOfASumOfCosinesMatchTheAnalyticOnes) {
    const long n[3] = {24, 24, 24};
    const double a[3][3] = {{5.0, 0.0, 0.0}, {1.2, 4.5, 0.0}, {-0.8, 0.6, 6.0}};
    const double length[3] = {norm(a[0]), norm(a[1]), norm(a[2])};
    CubePtr cube = make_cube(n, a, energy);
    FftPtr fft(quorix_fft_new_from_cube(cube.get()));
    ASSERT_TRUE(fft);
    EXPECT_EQ(relative_error(fft->en, energy), 0.0);
    for (int i = 0; i < 3; i++) {
        EXPECT_LT(relative_error(fft->f[i], [&](const Frac& u) { return first_derivative(u, i, length); }), 1e-8)
            << "f[" << i << "]";
        for (int j = 0; j < 3; j++)
            EXPECT_LT(
                relative_error(fft->k[i][j], [&](const Frac& u) { return second_derivative(u, i, j, length); }), 1e-8)
                << "k[" << i << "][" << j << "]";
    }
    EXPECT_EQ(fft->en->a_i[1][0], a[1][0] / 24);
}

// The derivative set reuses one spectrum and a plan per thread; it must equal differentiating
// twelve times, also when the grid is large enough to be shared among four threads.
TEST(Fft, DerivativeSetEqualsSeparateDifferentiations) {
    const double a[3][3] = {{4.0, 0.0, 0.0}, {1.5, 3.5, 0.0}, {-0.5, 0.8, 5.0}};
    setenv("QUORIX_THREADS", "4", 1);
    for (const auto& n : {std::array<long, 3>{6, 5, 7}, std::array<long, 3>{56, 48, 52}}) {
        std::mt19937 random(7);
        std::uniform_real_distribution<double> value(-2.0, 2.0);
        CubePtr cube = make_cube(n.data(), a, [&](const Frac&) { return value(random); });
        FftPtr fft(quorix_fft_new_from_cube(cube.get()));
        ASSERT_TRUE(fft);
        auto expect_same = [&](const QUORIX_FFTCUBE* grid, int order, int i, int j) {
            const int sub[2] = {i, j};
            FftcubePtr oracle(quorix_fftcube_differentiate(fft->en, order, sub));
            ASSERT_TRUE(oracle);
            for (long p = 0; p < n[0] * n[1] * n[2]; p++) {
                ASSERT_EQ(grid->value[p][0], oracle->value[p][0]) << order << i << j << " at " << p;
                ASSERT_EQ(grid->value[p][1], oracle->value[p][1]) << order << i << j << " at " << p;
            }
        };
        for (int i = 0; i < 3; i++) {
            expect_same(fft->f[i], 1, i, i);
            for (int j = 0; j < 3; j++) expect_same(fft->k[i][j], 2, i, j);
        }
    }
    unsetenv("QUORIX_THREADS");
}

namespace {

FftdotListPtr search(const QUORIX_CUBE* cube, std::string* out = nullptr) {
    FftPtr fft(quorix_fft_new_from_cube(cube));
    quorix_test::Capture capture;
    FftdotListPtr list(quorix_fftdot_list_new_from_fft(fft.get()));
    const std::string printed = capture.finish().out;
    if (out) *out = printed;
    return list;
}

}  // namespace

TEST(FftDot, SearchClassifiesTheCriticalPointsOfACosineLandscape) {
    CubePtr cube = quorix_test::cosine_landscape();
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
        EXPECT_LE(norm(dot.f), 1e-9);
        EXPECT_LE(dot.eig[0], dot.eig[2]);
    }
    EXPECT_EQ(list->n[2], 8);
    EXPECT_EQ(list->a_i[1][1], 0.5);
}
