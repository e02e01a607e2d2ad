// Text buffers, zero-filled multi-dimensional arrays and the crystal structure records.
#pragma once

#include "quorix.hpp"

// Text buffer.
QUORIX_TEXT* quorix_text_new(const char* initial);
void quorix_text_free(QUORIX_TEXT* text);
int quorix_text_append(QUORIX_TEXT* text, const char* s);
int quorix_text_cat(QUORIX_TEXT* dst, const QUORIX_TEXT* src);
int quorix_text_dump(QUORIX_TEXT* text);
void quorix_text_print(const QUORIX_TEXT* text);
QUORIX_TEXT* quorix_text_import_from_file(const char* path);
int quorix_text_export_to_file(const QUORIX_TEXT* text, const char* path);
int quorix_text_append_to_file(const QUORIX_TEXT* text, const char* path);
int quorix_text_segregate_into_rows(char*** rows, long* count, const QUORIX_TEXT* text, char delimiter);

// Zero-filled arrays of row pointers; the caller keeps the dimensions.
int* quorix_array_int_1D_new(int count);
void quorix_array_int_1D_free(int* p);
int** quorix_array_int_2D_new(int count1, int count2);
void quorix_array_int_2D_free(int** p, int count1);
int*** quorix_array_int_3D_new(int count1, int count2, int count3);
void quorix_array_int_3D_free(int*** p, int count1, int count2);

double* quorix_array_double_1D_new(int count);
void quorix_array_double_1D_free(double* p);
void quorix_array_double_1D_print(const double* p, int count);
double** quorix_array_double_2D_new(int count1, int count2);
void quorix_array_double_2D_free(double** p, int count1);
void quorix_array_double_2D_print(double* const* p, int count1, int count2);
double*** quorix_array_double_3D_new(int count1, int count2, int count3);
void quorix_array_double_3D_free(double*** p, int count1, int count2);

char* quorix_array_char_1D_new(int count);
void quorix_array_char_1D_free(char* p);
void quorix_array_char_1D_print(const char* p);
char** quorix_array_char_2D_new(int count1, int count2);
void quorix_array_char_2D_free(char** p, int count1);
void quorix_array_char_2D_print(char* const* p, int count1);
char*** quorix_array_char_3D_new(int count1, int count2, int count3);
void quorix_array_char_3D_free(char*** p, int count1, int count2);
void quorix_array_char_3D_print(char** const* p, int count1, int count2);

// Crystal structure records.
QUORIX_ATOM* quorix_atom_new(long count);
void quorix_atom_free(QUORIX_ATOM* atom);
void quorix_atom_print(const QUORIX_ATOM* atom);

QUORIX_CELL* quorix_cell_new(long count);
void quorix_cell_free(QUORIX_CELL* cell);
QUORIX_CELL* quorix_cell_copy(const QUORIX_CELL* cell);
// Replaces the cell's atoms by a copy of `count` atoms; 1 (message printed) when none can be made.
int quorix_cell_replace_atoms(QUORIX_CELL* cell, const QUORIX_ATOM* atoms, long count);
void quorix_cell_print(const QUORIX_CELL* cell);

QUORIX_CARD* quorix_card_new(const char* text);
void quorix_card_free(QUORIX_CARD* card);
void quorix_card_print(const QUORIX_CARD* card);
void quorix_card_print_discrete(const QUORIX_CARD* card);

QUORIX_SYMMETRY* quorix_symmetry_new(int count);
void quorix_symmetry_free(QUORIX_SYMMETRY* symmetry);
void quorix_symmetry_print(const QUORIX_SYMMETRY* symmetry);
void quorix_symmetry_print_discrete(const QUORIX_SYMMETRY* symmetry);
QUORIX_SYMMETRY* quorix_symmetry_new_p1();
int quorix_symmetry_is_p1(const QUORIX_SYMMETRY* symmetry);

// Copies at most size-1 characters of src into dst and terminates it.
void quorix_copy_bounded(char* dst, const char* src, unsigned long size);

// Ownership of records by their matching _free function, so every early return releases them.
#include <memory>

template <auto Free>
struct QuorixFree {
    template <class T>
    void operator()(T* p) const noexcept { Free(p); }
};
template <class T, auto Free>
using quorix_ptr = std::unique_ptr<T, QuorixFree<Free>>;

using TextPtr = quorix_ptr<QUORIX_TEXT, quorix_text_free>;
using CellPtr = quorix_ptr<QUORIX_CELL, quorix_cell_free>;
using SymmetryPtr = quorix_ptr<QUORIX_SYMMETRY, quorix_symmetry_free>;
using AtomPtr = quorix_ptr<QUORIX_ATOM, quorix_atom_free>;
using CharPtr = quorix_ptr<char, quorix_array_char_1D_free>;
