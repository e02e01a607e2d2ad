// Time and peak memory of the path-finding grid and the half-paths on synthetic landscapes of
// 96^3 and 192^3 points (sizes may also be given as arguments); each size runs in its own child
// process so that its peak memory is its own.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench_support.hpp"
#include "quorix-cube.hpp"
#include "quorix-fp.hpp"

namespace {

// A landscape with several minima and saddles per cell, as a site-energy landscape has.
QUORIX_CUBE* landscape(long n) {
    const long size[3] = {n, n, n};
    QUORIX_CUBE* cube = quorix_cube_new(size);
    if (!cube) return nullptr;
    const double two_pi = 6.283185307179586;
    for (int k = 0; k < 3; k++) {
        cube->a[k][k] = 10.0;
        cube->a_i[k][k] = 10.0 / n;
    }
    for (long i = 0; i < n; i++)
        for (long j = 0; j < n; j++)
            for (long k = 0; k < n; k++) {
                const double x = double(i) / n, y = double(j) / n, z = double(k) / n;
                cube->en[i][j][k] = std::cos(two_pi * 3 * x) + std::cos(two_pi * 2 * y) + std::cos(two_pi * 2 * z) +
                                    0.3 * std::cos(two_pi * (x + y + z)) + 0.1 * std::sin(two_pi * 5 * x * y);
            }
    return cube;
}

template <class F>
double seconds(F f) {
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The grid point as first laid out: 27 neighbour pointers, 27 int labels, 16 step pointers.
struct StoredPointerDot {
    double en;
    long x_i[3];
    double x[3];
    void* nb[3][3][3];
    int type;
    int cluster[3][3][3];
    int total_up, total_dn;
    void* up[8];
    void* dn[8];
};

int run(long n) {
    QUORIX_CUBE* cube = landscape(n);
    if (!cube) return 1;
    QUORIX_FPCUBE* fpcube = nullptr;
    QUORIX_FPHALF_LIST* halves = nullptr;
    const double t_grid = seconds([&] { fpcube = quorix_fpcube_new_from_cube(cube); });
    const double t_half = seconds([&] { halves = quorix_fphalf_list_new_from_fpcube(fpcube); });
    if (!fpcube || !halves) return 1;
    std::printf("RESULT %ld^3: grid %.2f s, half-paths %.2f s (%ld halves), peak RSS %.0f MiB, %zu bytes per point "
                "(stored pointers: %zu)\n",
                n, t_grid, t_half, halves->total, bench::peak_megabytes(), sizeof(QUORIX_FPDOT), sizeof(StoredPointerDot));
    quorix_fphalf_list_free(halves);
    quorix_fpcube_free(fpcube);
    quorix_cube_free(cube);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    for (long n : bench::grid_sizes(argc, argv, {96, 192})) {
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) std::exit(run(n));
        int status = 0;
        waitpid(child, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return 1;
    }
    return 0;
}
