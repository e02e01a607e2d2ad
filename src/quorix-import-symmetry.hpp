// Symmetry operations: parsing operation strings, space-group lookup in the symcards
// database, symmetry of a CIF, space-group search for a cell and integer grid forms.
#pragma once

#include "quorix.hpp"

int quorix_card_set_by_text(QUORIX_CARD* card, const char* str);
QUORIX_SYMMETRY* quorix_symmetry_import_by_keyword_HM(const char* keyword, const char* dir_symcards);
QUORIX_SYMMETRY* quorix_symmetry_import_by_keyword_id(const char* keyword, const char* dir_symcards);
QUORIX_SYMMETRY* quorix_symmetry_import_by_keyword_Hall(const char* keyword, const char* dir_symcards);
QUORIX_SYMMETRY* quorix_symmetry_import_by_internal_no(int no, const char* dir_symcards);
QUORIX_SYMMETRY* quorix_symmetry_import_from_array_char_2D(char** content, long row, const char* dir_symcards);
QUORIX_SYMMETRY* quorix_symmetry_calculate_from_cell(QUORIX_CELL* cell, double accuracy, const char* dir_symcards);
bool quorix_cell_validate_by_symmetry(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, double accuracy);
int quorix_symmetry_fill_card_discrete(QUORIX_SYMMETRY* symmetry, const long* bound);
void quorix_card_transform_vector3_long(long* x_out, const long* x_in, const long* bound, const QUORIX_CARD* card);
