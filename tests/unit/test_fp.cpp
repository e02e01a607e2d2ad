// The path-finding grid against straightforward labelling, and half-paths from saddles.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

#include "quorix-fp.hpp"
#include "support.hpp"

using quorix_test::wave;

namespace {

const QUORIX_FPDOT& dot_at(const FpcubePtr& fpcube, long i, long j, long k) { return fpcube->dot[i][j][k]; }

// The neighbour the dot's steepest step leads to, as grid indices.
std::array<long, 3> step_target(const FpcubePtr& fpcube, const QUORIX_FPDOT& dot, unsigned char step) {
    const QUORIX_FPDOT* target = quorix_fpcube_neighbour(fpcube.get(), &dot, step);
    if (!target) return {-1, -1, -1};
    return {target->x_i[0], target->x_i[1], target->x_i[2]};
}

// Straightforward labelling, classification and steepest steps on the 5x5x5 block, neighbours
// looked up by index arithmetic on the cube itself: the oracle for the compact grid.
struct OracleDot {
    int labels[5][5][5] = {};
    int total_up = 0, total_dn = 0;
    fpdot_type type = FP_UND;
    std::array<std::array<long, 3>, 8> up{}, dn{};
};

OracleDot oracle(QUORIX_CUBE* cube, long i, long j, long k) {
    auto en = [&](int a, int b, int c) {
        const long* n = cube->n;
        return cube->en[((i + a - 2) % n[0] + n[0]) % n[0]][((j + b - 2) % n[1] + n[1]) % n[1]]
                       [((k + c - 2) % n[2] + n[2]) % n[2]];
    };
    OracleDot o;
    int sign[5][5][5] = {};
    for (int a = 1; a <= 3; a++)
        for (int b = 1; b <= 3; b++)
            for (int c = 1; c <= 3; c++)
                if (a != 2 || b != 2 || c != 2) sign[a][b][c] = en(a, b, c) >= en(2, 2, 2) ? 1 : -1;
    int counter = 1;
    for (int a = 1; a <= 3; a++)
        for (int b = 1; b <= 3; b++)
            for (int c = 1; c <= 3; c++) {
                if (sign[a][b][c] == 0) continue;
                for (int da = -1; da <= 1; da++)
                    for (int db = -1; db <= 1; db++)
                        for (int dc = -1; dc <= 1; dc++) {
                            const int q = o.labels[a + da][b + db][c + dc];
                            if (q == 0 || sign[a + da][b + db][c + dc] != sign[a][b][c]) continue;
                            if (o.labels[a][b][c] != 0)
                                quorix_fpdot_merge_cluster(o.labels, o.labels[a][b][c], q);
                            else
                                o.labels[a][b][c] = q;
                        }
                if (o.labels[a][b][c] == 0) o.labels[a][b][c] = sign[a][b][c] * counter++;
            }
    int max = 0, min = 0;
    for (auto& target : o.up) target = {-1, -1, -1};
    for (auto& target : o.dn) target = {-1, -1, -1};
    auto steepest = [&](int label, bool upward) {
        double best = en(2, 2, 2);
        std::array<long, 3> target{};
        for (int a = 1; a <= 3; a++)
            for (int b = 1; b <= 3; b++)
                for (int c = 1; c <= 3; c++)
                    if (o.labels[a][b][c] == label && (upward ? en(a, b, c) >= best : en(a, b, c) <= best)) {
                        best = en(a, b, c);
                        target = {(i + a - 2 + cube->n[0]) % cube->n[0], (j + b - 2 + cube->n[1]) % cube->n[1],
                                  (k + c - 2 + cube->n[2]) % cube->n[2]};
                    }
        return target;
    };
    for (int a = 1; a <= 3; a++)
        for (int b = 1; b <= 3; b++)
            for (int c = 1; c <= 3; c++) {
                const int label = o.labels[a][b][c];
                if (label > max) {
                    max = label;
                    if (o.total_up < 8) o.up[o.total_up] = steepest(label, true);
                    o.total_up++;
                }
                if (label < min) {
                    min = label;
                    if (o.total_dn < 8) o.dn[o.total_dn] = steepest(label, false);
                    o.total_dn++;
                }
            }
    if (o.total_dn == 0)
        o.type = FP_MIN;
    else if (o.total_dn == 1)
        o.type = o.total_up == 1 ? FP_NOR : FP_ERR;
    else
        o.type = o.total_dn <= 3 ? FP_SAD : FP_ERR;
    if (o.total_up == 0 && o.total_dn > 0) o.type = FP_MAX;
    return o;
}

void expect_matches_oracle(CubePtr& cube) {
    quorix_test::Capture capture;  // rough landscapes print branch warnings
    FpcubePtr fpcube(quorix_fpcube_new_from_cube(cube.get()));
    capture.finish();
    ASSERT_TRUE(fpcube);
    const long* n = cube.get()->n;
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++) {
                SCOPED_TRACE(testing::Message() << "dot " << i << " " << j << " " << k);
                const OracleDot o = oracle(cube.get(), i, j, k);
                const QUORIX_FPDOT& dot = dot_at(fpcube, i, j, k);
                for (int p = 0; p < 27; p++)
                    ASSERT_EQ(dot.cluster[p / 9][p / 3 % 3][p % 3], o.labels[p / 9 + 1][p / 3 % 3 + 1][p % 3 + 1]);
                ASSERT_EQ(dot.total_up, o.total_up);
                ASSERT_EQ(dot.total_dn, o.total_dn);
                ASSERT_EQ(dot.type, o.type);
                for (int g = 0; g < 8; g++) {
                    ASSERT_EQ(step_target(fpcube, dot, dot.up[g]), o.up[g]);
                    ASSERT_EQ(step_target(fpcube, dot, dot.dn[g]), o.dn[g]);
                }
            }
}

}  // namespace

TEST(FpGrid, MatchesStraightforwardLabellingOnRoughLandscapes) {
    std::srand(7);
    // Few distinct values make many ties; sizes 1 and 2 make neighbours coincide.
    for (const auto& n : {std::array<long, 3>{5, 4, 6}, {1, 5, 5}, {2, 3, 4}, {3, 1, 2}}) {
        CubePtr cube = quorix_test::grid_cube(n[0], n[1], n[2], 0.25, [](long, long, long) { return static_cast<double>(std::rand() % 4); });
        expect_matches_oracle(cube);
    }
    CubePtr smooth = quorix_test::grid_cube(8, 6, 7, 0.25, [](long i, long j, long k) {
        return quorix_test::wave(i, 8, 2) + 0.5 * quorix_test::wave(j, 6, 1) * quorix_test::wave(k, 7, 1);
    });
    expect_matches_oracle(smooth);
}

// Slabs are classified on several threads: the same dots, and the warnings in grid order.
TEST(FpGrid, ThreadsGiveTheGridAndWarningsOfOneThread) {
    std::srand(11);
    CubePtr cube = quorix_test::grid_cube(48, 40, 36, 0.25, [](long, long, long) { return static_cast<double>(std::rand() % 3); });
    const auto classified = [&cube](const char* threads, std::string& warnings) {
        setenv("QUORIX_THREADS", threads, 1);
        quorix_test::Capture capture;
        FpcubePtr fpcube(quorix_fpcube_new_from_cube(cube.get()));
        warnings = capture.finish().out;
        unsetenv("QUORIX_THREADS");
        return fpcube;
    };
    std::string one_warnings, four_warnings;
    const FpcubePtr one = classified("1", one_warnings);
    const FpcubePtr four = classified("4", four_warnings);
    ASSERT_TRUE(one && four);
    EXPECT_NE(one_warnings, "");
    EXPECT_EQ(four_warnings, one_warnings);
    const long total = 48 * 40 * 36;
    EXPECT_EQ(std::memcmp(&one->dot[0][0][0], &four->dot[0][0][0], total * sizeof(QUORIX_FPDOT)), 0);
}

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


}
