// Scalar fields on a periodic grid (the site-energy landscape), Gaussian cube files, and the
// bond-valence site-energy landscape of a conducting ion.
#pragma once

#include "quorix-alloc.hpp"
#include "quorix.hpp"

// Cube record and file (quorix-cube.cpp).
QUORIX_CUBE* quorix_cube_new(const long* n);
void quorix_cube_free(QUORIX_CUBE* cube);
void quorix_cube_print_info(const QUORIX_CUBE* cube);
int quorix_cube_export_to_file(const QUORIX_CUBE* cube, QUORIX_CELL* cell, QUORIX_PROPERTY* ppt, const char* path,
                               int once);
int quorix_cube_import_from_file(QUORIX_CUBE** cube, QUORIX_CELL** cell, const char* path, int once,
                                 const char* dir_unitary);

// The conducting ion named by the second line of a cube file as this program writes it; false
// when the file cannot be read or names none (files of other programs).
bool quorix_cube_read_conducting(const char* path, char (&type)[3], int& os);

// The cube repeated m[k] times along axis k.
QUORIX_CUBE* quorix_cube_super_simple(const QUORIX_CUBE* cube, const int* m);

using CubePtr = quorix_ptr<QUORIX_CUBE, quorix_cube_free>;

// Site-energy landscape (quorix-cube-landscape.cpp; of a structure: quorix-cube-structure.cpp).
QUORIX_CUBE* quorix_cube_calculate(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                   double resolution, int ignore_conducting);
int quorix_cube_validate_property(const QUORIX_PROPERTY* ppt);
QUORIX_CUBE* quorix_cube_calculate_from_cell(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                             const char* type, int os, double resolution, int ignore_conducting);
int quorix_cube_calculate_from_cell_and_write_to_file(const char* path_cube, QUORIX_CELL* cell,
                                                      QUORIX_SYMMETRY* symmetry, const char* type, int os, double sf,
                                                      double resolution, int ignore_conducting, int once,
                                                      const char* dir_unitary, const char* dir_binary);
int quorix_cube_calculate_from_cell_and_write_to_file_assign_partial_occ(
    const char* path_cube, const char* path_cif, QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* type,
    int os, double sf, double resolution, int ignore_conducting, int once, const char* dir_unitary,
    const char* dir_binary);

// Voxel counts of the landscape of a cell at a resolution (A): per axis the multiple of 24 at or
// above length / resolution, then the longest axis cut back 24 at a time to at most 196^3 voxels.
// The resolution must be positive and finite.
void quorix_cube_choose_grid(const QUORIX_CELL* cell, double resolution, long* n);

// Work done by one landscape calculation, added to by quorix_cube_calculate_counted (benchmarks).
struct QuorixLandscapeWork {
    long voxels = 0;     // voxels computed; the others were filled by symmetry
    long distances = 0;  // probe-image distances tested
    long terms = 0;      // pair terms evaluated (images within reach)
};
// quorix_cube_calculate that also counts its work when `work` is given.
QUORIX_CUBE* quorix_cube_calculate_counted(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                           double resolution, int ignore_conducting, QuorixLandscapeWork* work);
