// Structures from tests/data with their parameter sets, for the landscape tests.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "cli.hpp"
#include "quorix-cube.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-property.hpp"

namespace quorix_test {

struct LoadedStructure {
    CellPtr cell;
    SymmetryPtr symmetry;
    PropertyPtr ppt;
};

// Reads a CIF of tests/data and builds its set with the conducting species; quiet.
inline LoadedStructure load_structure(const std::string& file, const char* type, int os, double sf = -1.0) {
    LoadedStructure s;
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    testing::internal::CaptureStdout();
    const int failed = quorix_cell_import_cif_from_file(&cell, &symmetry, test_data(file).c_str(),
                                                        symcards_db().c_str(), unitary_db().c_str());
    s.cell.reset(cell);
    s.symmetry.reset(symmetry);
    if (!failed)
        s.ppt.reset(quorix_property_import_from_cell(cell, type, os, sf, unitary_db().c_str(), binary_db().c_str()));
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(failed) << file;
    EXPECT_NE(s.ppt, nullptr) << file;
    return s;
}

// The landscape of a loaded structure; quiet.
inline CubePtr landscape_of(LoadedStructure& s, double resolution, bool ignore, QuorixLandscapeWork* work = nullptr) {
    testing::internal::CaptureStdout();
    CubePtr cube(quorix_cube_calculate_counted(s.cell.get(), s.symmetry.get(), s.ppt.get(), resolution, ignore, work));
    testing::internal::GetCapturedStdout();
    return cube;
}

// The voxel nearest to the fractional position x_f.
inline void nearest_voxel(const QUORIX_CUBE* cube, const double* x_f, long* v) {
    for (int k = 0; k < 3; k++) {
        v[k] = std::lround(x_f[k] * cube->n[k]) % cube->n[k];
        if (v[k] < 0) v[k] += cube->n[k];
    }
}

// The energy of the voxel nearest each atom of the given species, less the global minimum.
inline std::vector<double> site_energies_above_minimum(const QUORIX_CUBE* cube, const QUORIX_CELL* cell,
                                                       const char* type) {
    double minimum = cube->en[0][0][0];
    for (long i = 0; i < cube->n[0]; i++)
        for (long j = 0; j < cube->n[1]; j++)
            for (long k = 0; k < cube->n[2]; k++) minimum = std::min(minimum, cube->en[i][j][k]);
    std::vector<double> above;
    for (long a = 0; a < cell->total; a++) {
        if (std::string(cell->atom[a].type) != type) continue;
        long v[3];
        nearest_voxel(cube, cell->atom[a].x_f, v);
        above.push_back(cube->en[v[0]][v[1]][v[2]] - minimum);
    }
    return above;
}

}  // namespace quorix_test
