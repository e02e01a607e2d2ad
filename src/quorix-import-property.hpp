// Force-field parameter set of a structure and the species and pair parameter files.
#pragma once

#include <functional>
#include <vector>

#include "quorix.hpp"

QUORIX_PROPERTY_UNITARY* quorix_property_unitary_new(int count);
void quorix_property_unitary_free(QUORIX_PROPERTY_UNITARY* uni);
int quorix_property_binary_new(QUORIX_PROPERTY_BINARY*** table, int count);
void quorix_property_binary_free(QUORIX_PROPERTY_BINARY** table, int count);

QUORIX_PROPERTY* quorix_property_new(int count);
QUORIX_PROPERTY* quorix_property_copy(const QUORIX_PROPERTY* ppt);
void quorix_property_free(QUORIX_PROPERTY* ppt);
int quorix_property_find_index(const QUORIX_PROPERTY* ppt, const char* type, int os);
// Species index of every atom of the cell, -1 for an atom whose species is not in the set.
std::vector<int> quorix_property_species_of_atoms(const QUORIX_PROPERTY* ppt, const QUORIX_CELL* cell);
// True when no atom was left without a species.
bool quorix_property_all_found(const std::vector<int>& species);

int quorix_property_update_index_by_cell(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell);
int quorix_property_append_index(QUORIX_PROPERTY* ppt, const char* type, int os);
int quorix_property_update_read_from_file(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell, const char* dir_unitary,
                                          const char* dir_binary);
int quorix_property_unitary_read_from_file(QUORIX_PROPERTY_UNITARY* record, const char* type, int os,
                                           const char* path);
int quorix_property_binary_read_from_file(QUORIX_PROPERTY_BINARY* record, const char* type1, int os1,
                                          const char* type2, int os2, const char* path);
int quorix_property_estimate(QUORIX_PROPERTY* ppt, const char* dir_unitary, const char* dir_binary);
int quorix_property_binary_estimate_from_file(QUORIX_PROPERTY_BINARY* record, const char* path_binary);
int quorix_property_unitary_derived(QUORIX_PROPERTY* ppt);
int quorix_property_validate_generic(const QUORIX_PROPERTY* ppt);

// Calls visit(line) for the data lines of a parameter file (after the line holding "DATA_START",
// up to the one holding "DATA_END") until it returns true. 1 when the file cannot be opened.
int quorix_property_scan_file(const char* path, const std::function<bool(const char* line)>& visit);

double quorix_property_hardness_read_from_file(const char* type, int index, const char* path);
int quorix_property_type_from_atomic_number(int an, QUORIX_ATOM* atom, const char* path);

void quorix_property_print(const QUORIX_PROPERTY* ppt);
void quorix_property_print_format(const QUORIX_PROPERTY* ppt);
void quorix_property_unitary_print(QUORIX_PROPERTY_UNITARY record);
void quorix_property_binary_print(QUORIX_PROPERTY_BINARY record);

#include "quorix-alloc.hpp"

using PropertyPtr = quorix_ptr<QUORIX_PROPERTY, quorix_property_free>;
