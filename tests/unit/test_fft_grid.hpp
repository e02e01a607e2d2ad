// Synthetic landscapes for the derivative and critical-point tests.
#pragma once

#include <array>
#include <cmath>

#include "quorix-cube.hpp"
#include "quorix-fft.hpp"

namespace fft_test {

using Frac = std::array<double, 3>;

// A cube over cell `a` (rows) whose voxel (i, j, k) holds field(i/n0, j/n1, k/n2).
template <class Field>
CubePtr make_cube(const long* n, const double a[3][3], Field field) {
    CubePtr cube(quorix_cube_new(n));
    for (int d = 0; d < 3; d++)
        for (int c = 0; c < 3; c++) {
            cube->a[d][c] = a[d][c];
            cube->a_i[d][c] = a[d][c] / n[d];
        }
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++)
                cube->en[i][j][k] = field(Frac{double(i) / n[0], double(j) / n[1], double(k) / n[2]});
    return cube;
}

// -cos(2 pi u) summed over the axes on an 8^3 grid in a cube of edge 4: the minimum -3 at the
// origin, first-order saddles at the face centres, second-order ones at the edge centres, the
// maximum 3 at the body centre, all on grid points.
inline CubePtr cosine_landscape() {
    const long n[3] = {8, 8, 8};
    const double a[3][3] = {{4, 0, 0}, {0, 4, 0}, {0, 0, 4}};
    return make_cube(n, a, [](const Frac& u) {
        const double two_pi = 6.283185307179586;
        return -std::cos(two_pi * u[0]) - std::cos(two_pi * u[1]) - std::cos(two_pi * u[2]);
    });
}

inline double length(const double* v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

inline long index_of(const long* n, long i, long j, long k) { return (i * n[1] + j) * n[2] + k; }

}  // namespace fft_test
