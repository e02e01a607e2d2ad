// Synthetic landscapes for the path-finding and site-graph tests: cubes built in memory.
#pragma once

#include <cmath>
#include <functional>
#include <vector>

#include "quorix.hpp"

namespace quorix_test {

// A cube over an orthogonal cell with the given voxel edge (angstrom), owning its values.
class SyntheticCube {
public:
    SyntheticCube(long n0, long n1, long n2, double voxel = 0.25)
        : values_(n0 * n1 * n2, 0.0), rows_(n0 * n1), planes_(n0) {
        const long n[3] = {n0, n1, n2};
        for (long i = 0; i < n0; i++) {
            planes_[i] = &rows_[i * n1];
            for (long j = 0; j < n1; j++) rows_[i * n1 + j] = &values_[(i * n1 + j) * n2];
        }
        cube_.en = planes_.data();
        for (int k = 0; k < 3; k++) {
            cube_.n[k] = n[k];
            cube_.a_i[k][k] = voxel;
            cube_.a[k][k] = voxel * n[k];
        }
    }

    // Moves keep the vectors' buffers, so the row pointers stay valid; copies would not.
    SyntheticCube(const SyntheticCube&) = delete;
    SyntheticCube& operator=(const SyntheticCube&) = delete;
    SyntheticCube(SyntheticCube&&) = default;

    SyntheticCube& fill(const std::function<double(long, long, long)>& f) {
        for (long i = 0; i < cube_.n[0]; i++)
            for (long j = 0; j < cube_.n[1]; j++)
                for (long k = 0; k < cube_.n[2]; k++) cube_.en[i][j][k] = f(i, j, k);
        return *this;
    }

    double& at(long i, long j, long k) { return cube_.en[i][j][k]; }
    QUORIX_CUBE* get() { return &cube_; }

private:
    std::vector<double> values_;
    std::vector<double*> rows_;
    std::vector<double**> planes_;
    QUORIX_CUBE cube_{};
};

// cos(2 pi m i / n): a wave with m periods over the n points of an axis.
inline double wave(long i, long n, int m) { return std::cos(6.283185307179586 * m * i / n); }

}  // namespace quorix_test
