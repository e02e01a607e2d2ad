#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>

#include "quorix-fp.hpp"
#include "support.hpp"

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
CubePtr chain() {
    CubePtr cube = quorix_test::grid_cube(12, 8, 8, 0.25, [](long i, long j, long k) { return -wave(i, 12, 2) - 0.5 * wave(j, 8, 1) - 0.5 * wave(k, 8, 1); });
    return cube;
}

// A plane one point thick (a = 0) at energy 10 with the given lower points.
CubePtr plane(long n, std::initializer_list<std::pair<std::array<long, 2>, double>> points) {
    CubePtr cube = quorix_test::grid_cube(1, n, n, 0.25, [](long, long, long) { return 10.0; });
    for (const auto& [at, en] : points) cube->en[0][at[0]][at[1]] = en;
    return cube;
}

FpcubePtr classify(CubePtr& cube) {
    quorix_test::Capture capture;
    FpcubePtr fpcube(quorix_fpcube_new_from_cube(cube.get()));
    capture.finish();
    return fpcube;
}

}  // namespace

TEST(FpHalf, SaddleBranchesDescendToMinima) {
    CubePtr cube = chain();
    FpcubePtr fpcube = classify(cube);
    const long saddle[3] = {3, 0, 0};
    FphalfListPtr list(quorix_fphalf_list_new(fpcube.get(), saddle));
    ASSERT_TRUE(list);
    ASSERT_EQ(list->total, 2);
    EXPECT_EQ(path_of(list->half[0]), (std::vector<Index>{{3, 0, 0}, {2, 0, 0}, {1, 0, 0}, {0, 0, 0}}));
    EXPECT_EQ(path_of(list->half[1]), (std::vector<Index>{{3, 0, 0}, {4, 0, 0}, {5, 0, 0}, {6, 0, 0}}));
    EXPECT_DOUBLE_EQ(list->half[0].barrier, 2.0);

    // Three lower groups around a junction: three halves, each ending in its own minimum.
    CubePtr junction = plane(7, {{{3, 3}, 5.0},
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
    CubePtr saddles = plane(9, {{{3, 4}, 8.0}, {{2, 4}, 6.0}, {{1, 4}, 2.0},
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
    CubePtr cube = chain();
    FpcubePtr fpcube = classify(cube);
    quorix_test::Capture capture;
    FphalfListPtr list(quorix_fphalf_list_new_from_fpcube(fpcube.get()));
    const std::string out = capture.finish().out;
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

    // A negative cap changes nothing; a cap equal to a barrier keeps that half.
    const long total = list->total;
    quorix_test::Capture quiet;
    EXPECT_EQ(quorix_fphalf_list_filter(list.get(), -1.0), 0);
    EXPECT_EQ(list->total, total);
    EXPECT_EQ(quorix_fphalf_list_filter(list.get(), 2.0), 0);
    ASSERT_GE(list->total, 2);
    for (long h = 0; h < list->total; h++) EXPECT_LE(list->half[h].barrier, 2.0);

    quorix_fphalf_list_label_path(list.get());
    EXPECT_EQ(fpcube->dot[2][0][0].type, FP_PAT);
    EXPECT_EQ(fpcube->dot[1][0][0].type, FP_PAT);
    EXPECT_EQ(fpcube->dot[3][0][0].type, FP_SAD);
    EXPECT_EQ(fpcube->dot[0][0][0].type, FP_MIN);

    EXPECT_EQ(quorix_fphalf_list_filter(list.get(), 0.0), 0);
    EXPECT_EQ(list->total, 0);
}
