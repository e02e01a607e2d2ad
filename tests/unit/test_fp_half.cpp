#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>

#include "quorix-fp.hpp"
#include "test_fp_landscapes.hpp"

using quorix_test::SyntheticCube;
using quorix_test::wave;

namespace {

using Index = std::array<long, 3>;

Index index_of(const QUORIX_FPDOT* dot) { return {dot->x_i[0], dot->x_i[1], dot->x_i[2]}; }

std::vector<Index> path_of(const QUORIX_FPHALF& half) {
    std::vector<Index> path;
    for (long i = 0; i < half.total; i++) path.push_back(index_of(half.dot[i]));
    return path;
}

// Two minima per cell along a, at i = 0 and 6, joined through saddles at i = 3 and 9.
SyntheticCube chain() {
    SyntheticCube cube(12, 8, 8);
    cube.fill([](long i, long j, long k) { return -wave(i, 12, 2) - 0.5 * wave(j, 8, 1) - 0.5 * wave(k, 8, 1); });
    return cube;
}

// A plane one point thick (a = 0) at energy 10 with the given lower points.
SyntheticCube plane(long n, std::initializer_list<std::pair<std::array<long, 2>, double>> points) {
    SyntheticCube cube(1, n, n);
    cube.fill([](long, long, long) { return 10.0; });
    for (const auto& [at, en] : points) cube.at(0, at[0], at[1]) = en;
    return cube;
}

FpcubePtr classify(SyntheticCube& cube) {
    testing::internal::CaptureStdout();
    FpcubePtr fpcube(quorix_fpcube_new_from_cube(cube.get()));
    testing::internal::GetCapturedStdout();
    return fpcube;
}

}  // namespace

TEST(FpHalf, SaddleBranchesDescendToMinima) {
    SyntheticCube cube = chain();
    FpcubePtr fpcube = classify(cube);
    const long saddle[3] = {3, 0, 0};
    FphalfListPtr list(quorix_fphalf_list_new(fpcube.get(), saddle));
    ASSERT_TRUE(list);
    ASSERT_EQ(list->total, 2);
    EXPECT_EQ(path_of(list->half[0]), (std::vector<Index>{{3, 0, 0}, {2, 0, 0}, {1, 0, 0}, {0, 0, 0}}));
    EXPECT_EQ(path_of(list->half[1]), (std::vector<Index>{{3, 0, 0}, {4, 0, 0}, {5, 0, 0}, {6, 0, 0}}));
    EXPECT_DOUBLE_EQ(list->half[0].barrier, 2.0);

    // Three lower groups around a junction: three halves, each ending in its own minimum.
    SyntheticCube junction = plane(7, {{{3, 3}, 5.0},
                                       {{2, 2}, 3.0}, {{1, 1}, 1.0},
                                       {{2, 4}, 3.0}, {{1, 5}, 1.0},
                                       {{4, 3}, 3.0}, {{5, 3}, 1.0}});
    fpcube = classify(junction);
    const long centre[3] = {0, 3, 3};
    list.reset(quorix_fphalf_list_new(fpcube.get(), centre));
    ASSERT_TRUE(list);
    ASSERT_EQ(list->total, 3);
    EXPECT_EQ(path_of(list->half[0]), (std::vector<Index>{{0, 3, 3}, {0, 2, 2}, {0, 1, 1}}));
    EXPECT_EQ(path_of(list->half[1]), (std::vector<Index>{{0, 3, 3}, {0, 2, 4}, {0, 1, 5}}));
    EXPECT_EQ(path_of(list->half[2]), (std::vector<Index>{{0, 3, 3}, {0, 4, 3}, {0, 5, 3}}));
    for (long h = 0; h < 3; h++) EXPECT_DOUBLE_EQ(list->half[h].barrier, 4.0);

    // A descent that runs into a lower saddle stops there.
    SyntheticCube saddles = plane(9, {{{3, 4}, 8.0}, {{2, 4}, 6.0}, {{1, 4}, 2.0},
                                      {{4, 4}, 6.0}, {{5, 4}, 5.0},
                                      {{6, 3}, 3.0}, {{7, 2}, 1.0}, {{6, 5}, 3.0}, {{7, 6}, 1.0}});
    fpcube = classify(saddles);
    const long upper[3] = {0, 3, 4};
    list.reset(quorix_fphalf_list_new(fpcube.get(), upper));
    ASSERT_TRUE(list);
    ASSERT_EQ(list->total, 2);
    EXPECT_EQ(path_of(list->half[1]), (std::vector<Index>{{0, 3, 4}, {0, 4, 4}, {0, 5, 4}}));
    EXPECT_EQ(list->half[1].dot[2]->type, FP_SAD);
    EXPECT_DOUBLE_EQ(list->half[1].barrier, 3.0);
    EXPECT_DOUBLE_EQ(list->half[0].barrier, 6.0);
}

TEST(FpHalf, AllSaddlesFilterAndLabel) {
    SyntheticCube cube = chain();
    FpcubePtr fpcube = classify(cube);
    testing::internal::CaptureStdout();
    FphalfListPtr list(quorix_fphalf_list_new_from_fpcube(fpcube.get()));
    const std::string out = testing::internal::GetCapturedStdout();
    ASSERT_TRUE(list);
    EXPECT_EQ(out, "Message: QUORIX_FPCUBE successfully generated containing " + std::to_string(list->total) +
                       " paths.\n");
    // Every saddle of the grid contributes its branches, consecutively and in grid order.
    long expected = 0, previous = -1;
    for (long h = 0; h < list->total; h++) {
        const QUORIX_FPHALF& half = list->half[h];
        const QUORIX_FPDOT* first = half.dot[0];
        const long order = (first->x_i[0] * 8 + first->x_i[1]) * 8 + first->x_i[2];
        EXPECT_GE(order, previous);
        if (order != previous) expected += first->total_dn;
        previous = order;
        EXPECT_EQ(first->type, FP_SAD);
        EXPECT_TRUE(half.dot[half.total - 1]->type == FP_MIN || half.dot[half.total - 1]->type == FP_SAD);
        for (long i = 1; i < half.total; i++) EXPECT_LT(half.dot[i]->en, half.dot[i - 1]->en);
        EXPECT_DOUBLE_EQ(half.barrier, first->en - half.dot[half.total - 1]->en);
    }
    EXPECT_EQ(list->total, expected);
    EXPECT_GE(expected, 4);

    // A negative cap changes nothing and says nothing; a cap equal to a barrier keeps that half.
    const long total = list->total;
    testing::internal::CaptureStdout();
    EXPECT_EQ(quorix_fphalf_list_filter(list.get(), -1.0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(list->total, total);
    testing::internal::CaptureStdout();
    EXPECT_EQ(quorix_fphalf_list_filter(list.get(), 2.0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout().rfind("Message: totally ", 0), 0u);
    ASSERT_GE(list->total, 2);
    for (long h = 0; h < list->total; h++) EXPECT_LE(list->half[h].barrier, 2.0);

    quorix_fphalf_list_label_path(list.get());
    EXPECT_EQ(fpcube->dot[2][0][0].type, FP_PAT);
    EXPECT_EQ(fpcube->dot[1][0][0].type, FP_PAT);
    EXPECT_EQ(fpcube->dot[3][0][0].type, FP_SAD);
    EXPECT_EQ(fpcube->dot[0][0][0].type, FP_MIN);

    testing::internal::CaptureStdout();
    EXPECT_EQ(quorix_fphalf_list_filter(list.get(), 0.0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Message: totally 0 paths with barrier lower than 0.000000.\n");
    EXPECT_EQ(list->total, 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_fphalf_list_filter(list.get(), 1.0), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: QUORIX_FPHALF_LIST has not been properly initialized.\n");
}

TEST(FpHalf, FailuresAndDiagnostics) {
    SyntheticCube cube = chain();
    FpcubePtr fpcube = classify(cube);
    const long minimum[3] = {0, 0, 0};
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_fphalf_list_new(fpcube.get(), minimum), nullptr);
    FphalfListPtr empty(quorix_fphalf_list_new_empty());
    FphalfListPtr other(quorix_fphalf_list_new_empty());
    EXPECT_EQ(quorix_fphalf_list_merge(empty.get(), other.get()), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: dot (   0,    0,    0) is not a saddle point.\n"
              "Error: QUORIX_FPHALF_LIST has not been initialized properly.\n");

    // A dot on the way that cannot be descended through stops the walk.
    fpcube->dot[2][0][0].type = FP_ERR;
    fpcube->dot[2][0][0].total_dn = 2;
    const long saddle[3] = {3, 0, 0};
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(quorix_fphalf_list_new(fpcube.get(), saddle), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout().rfind("FPDOT: (2 0 0)", 0), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: wrong dot type 6 at (   2,    0,    0).\n");

    // A one-dimensional peak is a saddle; slopes longer than 1999 steps are refused.
    SyntheticCube ridge(1, 1, 4400);
    ridge.fill([](long, long, long k) { return -std::abs(k - 2200.0); });
    fpcube = classify(ridge);
    const long peak[3] = {0, 0, 2200};
    ASSERT_EQ(fpcube->dot[0][0][2200].type, FP_SAD);
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_fphalf_list_new(fpcube.get(), peak), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: failed to descend to the local minimum within 2000 steps.\n");

    SyntheticCube small = chain();
    fpcube = classify(small);
    FphalfListPtr list(quorix_fphalf_list_new(fpcube.get(), saddle));
    testing::internal::CaptureStdout();
    quorix_fphalf_list_print(list.get());
    quorix_fphalf_print(&list->half[0]);
    quorix_fphalf_list_print(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "FPHALF_LIST: total half pathes in the list = 2.\n"
              "FPHALF_LIST: [   0] (   3,    0,    0)-(   0,    0,    0); length= 4, barrier=2.000000\n"
              "FPHALF_LIST: [   1] (   3,    0,    0)-(   6,    0,    0); length= 4, barrier=2.000000\n"
              "FPHALF: length = 4; barrier = 2.000000\n"
              "FPHALF: [   0] (   3,    0,    0); type = 4, en = 0.000000\n"
              "FPHALF: [   1] (   2,    0,    0); type = 1, en = -0.500000\n"
              "FPHALF: [   2] (   1,    0,    0); type = 1, en = -1.500000\n"
              "FPHALF: [   3] (   0,    0,    0); type = 2, en = -2.000000\n"
              "FPHALF_LIST: (not allocated).\n");
}
