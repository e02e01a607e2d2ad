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

using CubePtr = quorix_ptr<QUORIX_CUBE, quorix_cube_free>;

// Site-energy landscape (quorix-cube-landscape.cpp).
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
QUORIX_CUBE* quorix_cube_super_simple(const QUORIX_CUBE* cube, const int* m);
