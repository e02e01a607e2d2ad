// Oxidation states by bond valence: the charge-neutral choice of states whose bond valence
// sums fit the states best.
//
// Candidates per element come from the species database: its common states (column 11)
// that have parameters, then every tabulated state. The choice is made, in this order, among
//   1. one common state per element,
//   2. one tabulated state per element,
//   3. one tabulated state per element but one, whose sites share two neighbouring tabulated
//      states (mixed valence): the higher state goes to the sites of highest bond valence sum,
//      and a site on the border is split into two atoms of the two states,
// the first stage that has a charge-neutral choice whose cation-anion pairs all have
// bond-valence parameters; among those the one with the smallest global instability index
// wins. Without any neutral choice, the tabulated states closest to neutrality are taken
// with a warning. Occupancies above 1 count as 1 for the charge.
#pragma once

#include "quorix.hpp"

// Sets the oxidation state of every atom of the cell, splitting mixed-valence sites; the
// atoms are left in canonical order with the composition name updated. 0 on success.
int quorix_os_assign_by_bv(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* dir_unitary,
                           const char* dir_binary);
