// The cube record: a scalar field on a periodic grid over one cell.
#include "quorix-cube.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

QUORIX_CUBE* quorix_cube_new(const long* n) {
    if (!n || n[0] <= 0 || n[1] <= 0 || n[2] <= 0) {
        std::fprintf(stderr, "Error: argument must be positive.\n");
        return nullptr;
    }
    auto* cube = static_cast<QUORIX_CUBE*>(std::calloc(1, sizeof(QUORIX_CUBE)));
    if (!cube) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_CUBE.\n");
        return nullptr;
    }
    std::memcpy(cube->n, n, sizeof(cube->n));
    cube->en = static_cast<double***>(std::calloc(n[0], sizeof(double**)));
    if (!cube->en) {
        std::fprintf(stderr, "Error: unable to allocate cube->en\n");
        quorix_cube_free(cube);
        return nullptr;
    }
    for (long i = 0; i < n[0]; i++) {
        cube->en[i] = static_cast<double**>(std::calloc(n[1], sizeof(double*)));
        if (!cube->en[i]) {
            std::fprintf(stderr, "Error: unable to allocate cube->en[]\n");
            quorix_cube_free(cube);
            return nullptr;
        }
        for (long j = 0; j < n[1]; j++) {
            cube->en[i][j] = static_cast<double*>(std::calloc(n[2], sizeof(double)));
            if (!cube->en[i][j]) {
                std::fprintf(stderr, "Error: unable to allocate cube->en[][]\n");
                quorix_cube_free(cube);
                return nullptr;
            }
        }
    }
    return cube;
}

// Also releases a partly built cube: rows not yet allocated are null.
void quorix_cube_free(QUORIX_CUBE* cube) {
    if (!cube) return;
    if (cube->en) {
        for (long i = 0; i < cube->n[0] && cube->en[i]; i++) {
            for (long j = 0; j < cube->n[1]; j++) std::free(cube->en[i][j]);
            std::free(cube->en[i]);
        }
        std::free(cube->en);
    }
    std::free(cube);
}

void quorix_cube_print_info(const QUORIX_CUBE* cube) {
    if (!cube) {
        std::printf("(not allocated)\n");
        return;
    }
    std::printf("CUBE: cube size = %ld * %ld * %ld\n", cube->n[0], cube->n[1], cube->n[2]);
    std::printf("CUBE: cell vector (A):\n");
    for (const auto& row : cube->a) std::printf("CUBE:  %11.6f %11.6f %11.6f\n", row[0], row[1], row[2]);
    std::printf("CUBE: votex vector (A):\n");
    for (const auto& row : cube->a_i) std::printf("CUBE:  %11.6f %11.6f %11.6f\n", row[0], row[1], row[2]);
}
