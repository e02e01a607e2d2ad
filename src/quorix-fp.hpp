// Path finding on a landscape grid: every grid point classified from its 26 periodic neighbours
// (minimum, saddle, maximum, slope), its steepest steps per neighbour group, the steepest-descent
// half-paths from saddles to minima, and the path map written as a structure of marker atoms.
#pragma once

#include "quorix-alloc.hpp"
#include "quorix.hpp"

// Grid.
QUORIX_FPCUBE* quorix_fpcube_new(const long* n);
void quorix_fpcube_free(QUORIX_FPCUBE* fpcube);
QUORIX_FPCUBE* quorix_fpcube_new_from_cube(const QUORIX_CUBE* cube);
void quorix_fpcube_clear_type(QUORIX_FPCUBE* fpcube);

// Dot at grid indices x_i, each reduced modulo the grid size.
QUORIX_FPDOT* quorix_fpcube_dot(const QUORIX_FPCUBE* fpcube, const long* x_i);
// Neighbour of `dot` at a neighbour position (0..26, 13 is the dot); null for QUORIX_FPDOT_NO_STEP.
QUORIX_FPDOT* quorix_fpcube_neighbour(const QUORIX_FPCUBE* fpcube, const QUORIX_FPDOT* dot, int position);

// Per-dot steps of the classification; x_i is reduced modulo the grid size. 0 on success.
int quorix_fpdot_cluster(QUORIX_FPCUBE* fpcube, const long* x_i);
void quorix_fpdot_merge_cluster(int labels[5][5][5], int l1, int l2);
int quorix_fpdot_classify(QUORIX_FPCUBE* fpcube, const long* x_i);
int quorix_fpdot_branch(QUORIX_FPCUBE* fpcube, const long* x_i);
int quorix_fpdot_equal(const QUORIX_FPDOT* d1, const QUORIX_FPDOT* d2);
void quorix_fpdot_print(const QUORIX_FPDOT* dot);

// Path map.
QUORIX_CELL* quorix_fpcube_export_to_cell(const QUORIX_FPCUBE* fpcube);
int quorix_fpcube_export_cif_to_file(const QUORIX_CUBE* cube, double barrier_max, const char* path);

// Half-paths.
QUORIX_FPHALF_LIST* quorix_fphalf_list_new_empty();
QUORIX_FPHALF_LIST* quorix_fphalf_list_new(const QUORIX_FPCUBE* fpcube, const long* x_i);
QUORIX_FPHALF_LIST* quorix_fphalf_list_new_from_fpcube(const QUORIX_FPCUBE* fpcube);
int quorix_fphalf_list_merge(QUORIX_FPHALF_LIST* list, QUORIX_FPHALF_LIST* other);
int quorix_fphalf_list_filter(QUORIX_FPHALF_LIST* list, double barrier_max);
void quorix_fphalf_list_label_path(QUORIX_FPHALF_LIST* list);
void quorix_fphalf_list_free(QUORIX_FPHALF_LIST* list);
void quorix_fphalf_list_print(const QUORIX_FPHALF_LIST* list);
void quorix_fphalf_print(const QUORIX_FPHALF* half);

// Small utilities.
void quorix_matrix333_int_print(const int m[3][3][3]);
bool* quorix_array_bool_1D_new(int count);
void quorix_array_bool_1D_free(bool* p);
bool** quorix_array_bool_2D_new(int count1, int count2);
void quorix_array_bool_2D_free(bool** p, int count1);

using FpcubePtr = quorix_ptr<QUORIX_FPCUBE, quorix_fpcube_free>;
using FphalfListPtr = quorix_ptr<QUORIX_FPHALF_LIST, quorix_fphalf_list_free>;
