#include <gtest/gtest.h>

#include <array>
#include <string>

#include "quorix-cube.hpp"

TEST(Cube, RecordIsZeroFilledAndRefusesEmptyGrids) {
    const long n[3] = {2, 3, 4};
    CubePtr cube(quorix_cube_new(n));
    ASSERT_TRUE(cube);
    EXPECT_EQ(cube->en[1][2][3], 0.0);
    EXPECT_EQ(cube->n[2], 4);
    for (const std::array<long, 3>& bad : {std::array<long, 3>{0, 3, 4}, std::array<long, 3>{2, -1, 4}}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(quorix_cube_new(bad.data()), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: argument must be positive.\n");
    }
}

TEST(Cube, PrintInfo) {
    const long n[3] = {2, 1, 1};
    CubePtr cube(quorix_cube_new(n));
    cube->a[0][0] = 4.0;
    cube->a_i[0][0] = 2.0;
    testing::internal::CaptureStdout();
    quorix_cube_print_info(cube.get());
    quorix_cube_print_info(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "CUBE: cube size = 2 * 1 * 1\n"
              "CUBE: cell vector (A):\n"
              "CUBE:     4.000000    0.000000    0.000000\n"
              "CUBE:     0.000000    0.000000    0.000000\n"
              "CUBE:     0.000000    0.000000    0.000000\n"
              "CUBE: votex vector (A):\n"
              "CUBE:     2.000000    0.000000    0.000000\n"
              "CUBE:     0.000000    0.000000    0.000000\n"
              "CUBE:     0.000000    0.000000    0.000000\n"
              "(not allocated)\n");
}
