// Symmetry operations compared up to a lattice translation: dropping repeats, and the closure
// test that guards the reader against misread operations.
#pragma once

#include "quorix.hpp"

// Removes every operation that repeats an earlier one up to a lattice translation (compared
// within 0.001), keeping the first of each in its order.
void quorix_symmetry_drop_repeats(QUORIX_SYMMETRY* symmetry);

// True when the product of every two operations of `symmetry` is again one of them, up to a
// lattice translation (compared within 0.001); a NULL or empty symmetry counts as a group.
bool quorix_symmetry_is_group(const QUORIX_SYMMETRY* symmetry);
