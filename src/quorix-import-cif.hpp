// CIF reader: a line-oriented reader for the CIFs that structure databases export.
#pragma once

#include "quorix.hpp"

int quorix_cell_import_cif_from_file(QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry, const char* cif,
                                     const char* dir_symcards, const char* dir_unitary);
int quorix_cell_import_cif_from_text(QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry, QUORIX_TEXT* text,
                                     const char* dir_symcards, const char* dir_unitary);
QUORIX_CELL** quorix_cells_import_cif_from_file(const char* filename, int total, const char* dir_symcard,
                                                const char* dir_unitary);

bool quorix_cell_import_cif_exist_keyword(const char* keyword, char** content, const long row);
char* quorix_cell_import_cif_grep_keyword(const char* keyword, char** content, const long row);
int quorix_cell_import_cif_grep_loop(char**** loop, int* loop_r, int* loop_c, const char* keyword, char** content,
                                     const long row);
bool quorix_array_char_1D_is_blank_line(const char* line);
char quorix_array_char_1D_first_nonspace_char(const char* line);

int quorix_cell_import_cif_read_atom_name(QUORIX_ATOM* atom, char*** content, int row, int col);
int quorix_cell_import_cif_read_atom_type(QUORIX_ATOM* atom, char*** content, int row, int col);
int quorix_cell_import_cif_read_atom_typeos(QUORIX_ATOM* atom, char*** atm, int atm_r, int atm_c, char*** typ,
                                            int typ_r, int typ_c);
int quorix_cell_import_cif_read_atom(QUORIX_ATOM* atom, char*** content, int row, int col);
int quorix_cell_import_cif_read_atom_constraint(QUORIX_ATOM* atom, char*** content, int row, int col);
int quorix_cell_import_cif_read_lattice(QUORIX_CELL* cell, char** content, long row);

int quorix_atom_name_to_type(QUORIX_ATOM* atom, int total);
int quorix_atom_fork_os(QUORIX_ATOM** atom, long* total);
int quorix_atom_update_default_os(QUORIX_ATOM* atom, long total, const char* dir_unitary);
