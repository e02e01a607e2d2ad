// Supercells and the random full occupation of partially occupied sites. Every function
// returns a new cell owned by the caller and leaves the source cell as it was.
#pragma once

#include "quorix.hpp"

// Lattice vector i multiplied by n[i]; atom i's images at indices i*N .. i*N+N-1 (N = n0*n1*n2).
QUORIX_CELL* quorix_cell_supercell(QUORIX_CELL* cell, int* n);
// Multiples chosen from the number of atoms, so that small cells grow to a few hundred atoms.
QUORIX_CELL* quorix_cell_supercell_default(QUORIX_CELL* cell);

// True when an atom of the species lies closer than 0.3 A to an atom of another species.
bool quorix_cell_partial_occ_at_conducting_site(QUORIX_CELL* cell, const char* type, int os);
// Decides every partially occupied or shared site of the species: one occupant (or a vacancy)
// per site, with probability proportional to the occupancies.
QUORIX_CELL* quorix_cell_assign_partial_occ_at_conducting_site(QUORIX_CELL* cell, const char* type, int os);
// Turns the partially occupied atoms of one species into as many fully occupied ones as their
// occupancies sum to, chosen with probability proportional to occupancy; the rest disappear.
QUORIX_CELL* quorix_cell_assign_partial_occ(QUORIX_CELL* cell, const char* type, int os);
// Shared sites of every species first, then the remaining partial sites of every species.
QUORIX_CELL* quorix_cell_assign_partial_occ_all(QUORIX_CELL* cell);
