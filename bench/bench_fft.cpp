// Derivative set and critical-point search on synthetic landscapes: time and peak memory of the
// fast path against the straightforward one (twelve separate differentiations, every grid point
// read and diagonalised), and a check that both give the same grids and the same critical points.
//
// Usage: bench_fft [n ...]   (grid points per axis; default 96 192)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include "bench_support.hpp"
#include "quorix-cube.hpp"
#include "quorix-fft.hpp"

namespace {

using bench::Clock;
using bench::seconds_since;

// Periodic Gaussian wells and bumps in a triclinic cell, a stand-in for a site-energy landscape.
CubePtr synthetic_landscape(long n) {
    const long size[3] = {n, n, n};
    CubePtr cube(quorix_cube_new(size));
    const double a[3][3] = {{8.0, 0.0, 0.0}, {0.9, 8.4, 0.0}, {-0.6, 0.7, 9.1}};
    for (int d = 0; d < 3; d++)
        for (int c = 0; c < 3; c++) {
            cube->a[d][c] = a[d][c];
            cube->a_i[d][c] = a[d][c] / n;
        }
    struct Centre {
        double u[3];
        double depth;
    };
    const Centre centres[] = {{{0.0, 0.0, 0.0}, 2.0},   {{0.5, 0.5, 0.5}, 1.6},  {{0.25, 0.75, 0.1}, -1.2},
                              {{0.8, 0.3, 0.6}, -0.9},  {{0.1, 0.55, 0.85}, 1.1}, {{0.6, 0.05, 0.3}, -1.5}};
    for (long i = 0; i < n; i++)
        for (long j = 0; j < n; j++)
            for (long k = 0; k < n; k++) {
                const double u[3] = {double(i) / n, double(j) / n, double(k) / n};
                double e = 0.0;
                for (const Centre& c : centres) {
                    double r2 = 0.0;
                    for (int d = 0; d < 3; d++) {
                        double du = u[d] - c.u[d];
                        du -= std::round(du);
                        r2 += du * du * 64.0;
                    }
                    e -= c.depth * std::exp(-r2 / 1.5);
                }
                cube->en[i][j][k] = e;
            }
    return cube;
}

// The derivative set as twelve independent differentiations of the energy.
FftPtr derivatives_straightforward(const QUORIX_CUBE* cube) {
    FftPtr fft(quorix_fft_new());
    fft->en = quorix_fftcube_new_from_cube(cube);
    for (int i = 0; i < 3; i++) {
        const int first[2] = {i, i};
        fft->f[i] = quorix_fftcube_differentiate(fft->en, 1, first);
        for (int j = 0; j < 3; j++) {
            const int second[2] = {i, j};
            fft->k[i][j] = quorix_fftcube_differentiate(fft->en, 2, second);
        }
    }
    return fft;
}

// Every grid point read and classified, critical ones appended, then sorted and merged.
FftdotListPtr search_straightforward(const QUORIX_FFT* fft) {
    const long* n = fft->en->n;
    std::vector<QUORIX_FFTDOT> found;
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++) {
                long x_i[3] = {i, j, k};
                QUORIX_FFTDOT dot;
                if (quorix_fftdot_read_from_fft(&dot, fft, x_i)) return nullptr;
                if (dot.type >= FFT_MIN && dot.type <= FFT_MAX) found.push_back(dot);
            }
    FftdotListPtr list(quorix_fftdot_list_new(static_cast<long>(found.size())));
    std::memcpy(list->n, n, sizeof(list->n));
    if (!found.empty()) std::memcpy(list->dot, found.data(), sizeof(QUORIX_FFTDOT) * found.size());
    quorix_fftdot_list_merge_near(list.get());
    return list;
}

FftdotListPtr search_quietly(const std::function<FftdotListPtr()>& search) {
    const bench::QuietStdout quiet;
    return search();
}

// Runs `work` in a child process and prints its peak resident memory.
void measured(const char* label, const std::function<void()>& work) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        work();
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    std::printf("  %-16s peak memory %7.1f MiB\n", label, usage.ru_maxrss / 1024.0);
}

void run_variant(const QUORIX_CUBE* cube, bool fast) {
    auto start = Clock::now();
    FftPtr fft = fast ? FftPtr(quorix_fft_new_from_cube(cube)) : derivatives_straightforward(cube);
    const double derive = seconds_since(start);
    start = Clock::now();
    FftdotListPtr list = search_quietly([&] {
        return fast ? FftdotListPtr(quorix_fftdot_list_new_from_fft(fft.get())) : search_straightforward(fft.get());
    });
    const double search = seconds_since(start);
    std::printf("  %-16s derivatives %6.2f s, critical points %6.2f s (%ld found)\n",
                fast ? "fast" : "straightforward", derive, search, list ? list->total : -1L);
}

bool same_grid(const QUORIX_FFTCUBE* a, const QUORIX_FFTCUBE* b) {
    const long total = a->n[0] * a->n[1] * a->n[2];
    return std::memcmp(a->value, b->value, sizeof(fftw_complex) * total) == 0;
}

void compare_variants(const QUORIX_CUBE* cube) {
    FftPtr fast(quorix_fft_new_from_cube(cube));
    FftPtr plain = derivatives_straightforward(cube);
    bool grids = true;
    for (int i = 0; i < 3; i++) {
        grids = grids && same_grid(fast->f[i], plain->f[i]);
        for (int j = 0; j < 3; j++) grids = grids && same_grid(fast->k[i][j], plain->k[i][j]);
    }
    plain.reset();
    FftdotListPtr a = search_quietly([&] { return FftdotListPtr(quorix_fftdot_list_new_from_fft(fast.get())); });
    FftdotListPtr b = search_quietly([&] { return search_straightforward(fast.get()); });
    const bool dots = a && b && a->total == b->total &&
                      std::memcmp(a->dot, b->dot, sizeof(QUORIX_FFTDOT) * a->total) == 0;
    std::printf("  identical        derivative grids %s, critical points %s\n", grids ? "yes" : "NO",
                dots ? "yes" : "NO");
}

}  // namespace

int main(int argc, char** argv) {
    for (long n : bench::grid_sizes(argc, argv, {96, 192})) {
        std::printf("grid %ld^3\n", n);
        CubePtr cube = synthetic_landscape(n);
        measured("fast", [&] { run_variant(cube.get(), true); });
        measured("straightforward", [&] { run_variant(cube.get(), false); });
        compare_variants(cube.get());
    }
    return 0;
}
