// Operations on the atoms of a cell: symmetry images and duplicate removal, the same-atom
// test, canonical order, composition name, cell geometry, asymmetric unit and site numbers.
#pragma once

#include "quorix.hpp"

QUORIX_ATOM quorix_atom_spawn_by_card(QUORIX_ATOM atom, QUORIX_CARD card);
int quorix_atom_spawn_by_symmetry(QUORIX_ATOM** atom, long* total, QUORIX_SYMMETRY* symmetry);
int quorix_atom_remove_duplicate(QUORIX_ATOM** atom, long* total);
bool quorix_atom_equal(QUORIX_ATOM atom1, QUORIX_ATOM atom2);
// True when the atom is of element `type` in oxidation state `os`.
bool quorix_atom_is_species(const QUORIX_ATOM& atom, const char* type, int os);
bool quorix_atom_belong(QUORIX_ATOM target, QUORIX_ATOM* atom, long total);
int quorix_atom_name_compare(const char* name1, const char* name2);
void quorix_atom_sort(QUORIX_ATOM* atom, long total);
void quorix_atom_sort_by_value(QUORIX_ATOM* atom, long total);

void quorix_cell_refresh(QUORIX_CELL* cell);
void quorix_cell_update_name(QUORIX_CELL* cell);
double quorix_cell_calculate_volume(QUORIX_CELL* cell);
// True when every lattice vector is at least 0.5 A long, which keeps the image boxes of the pair
// sums over neighbouring cells finite; otherwise prints which vector is not.
bool quorix_cell_lattice_usable(const QUORIX_CELL* cell);
// False, after one Error line naming them, when two atoms lie within 0.1 A of each other with
// occupancies adding up to more than 1.1: both cannot be there (an atom placed on another).
// Atoms sharing a site with occupancies that add up to one pass.
bool quorix_cell_atoms_apart(const QUORIX_CELL* cell);
// Largest occupancy a site can hold: refined occupancies of one site reach a little above 1.
inline constexpr double kQuorixMostOccupancy = 1.1;
void quorix_cell_update_cartesion(QUORIX_CELL* cell);
void quorix_cell_update_fractional(QUORIX_CELL* cell);
void quorix_cell_update_lattice_cartesion(QUORIX_CELL* cell);
void quorix_cell_update_lattice_fractional(QUORIX_CELL* cell);
void quorix_cell_update_coordinate_cartesion(QUORIX_CELL* cell);
void quorix_cell_update_coordinate_fractional(QUORIX_CELL* cell);
void quorix_cell_bound_fractional(QUORIX_CELL* cell);
double quorix_cell_min_distance_btw_atoms(QUORIX_CELL* cell, QUORIX_ATOM* atom1, QUORIX_ATOM* atom2);
QUORIX_CELL* quorix_cell_reduce_by_symmetry(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry);
int quorix_cell_flag_site_by_symmetry(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry);
int quorix_cell_count_type_os(QUORIX_CELL* cell);
