#include <gtest/gtest.h>

#include <cmath>

#include "quorix-la.hpp"

// Each returned vector must satisfy m v = lambda v with unit length, also for stiff
// matrices where the closed-form eigenvalues carry rounding.
TEST(LinearAlgebra, SymmetricEigenpairs) {
    const double cases[][3][3] = {
        {{3, 0, 0}, {0, 1, 0}, {0, 0, 2}},
        {{2, 1, 0}, {1, 2, 0}, {0, 0, 5}},
        {{4, 1, 1}, {1, 4, 1}, {1, 1, 4}},
        {{1200.5, -340.2, 15.0}, {-340.2, 800.1, -77.7}, {15.0, -77.7, -25.3}},
        {{2.0e4, 3.0e3, -1.0e3}, {3.0e3, 1.5e4, 2.0e3}, {-1.0e3, 2.0e3, 9.0e3}},
    };
    for (const auto& m : cases) {
        double eig[3], vec[3][3];
        ASSERT_EQ(quorix_matrix33_double_eigensolver_symmetric(eig, vec, m), 0);
        const double scale = std::fabs(eig[0]) + std::fabs(eig[2]);
        EXPECT_LE(eig[0], eig[1] + 1e-9 * scale);
        EXPECT_LE(eig[1], eig[2] + 1e-9 * scale);
        for (int k = 0; k < 3; k++) {
            double mv[3];
            quorix_matrix33_double_multiply_vector3(mv, m, vec[k]);
            for (int i = 0; i < 3; i++) EXPECT_NEAR(mv[i], eig[k] * vec[k][i], 1e-6 * scale);
            EXPECT_NEAR(quorix_vector3_double_length(vec[k]), 1.0, 1e-12);
        }
    }
    double eig[3];
    const double diagonal[3][3] = {{3, 0, 0}, {0, 1, 0}, {0, 0, 2}};
    quorix_matrix33_double_eigenvalue_symmetric(eig, diagonal);
    EXPECT_DOUBLE_EQ(eig[0], 1.0);
    EXPECT_DOUBLE_EQ(eig[1], 2.0);
    EXPECT_DOUBLE_EQ(eig[2], 3.0);
}
