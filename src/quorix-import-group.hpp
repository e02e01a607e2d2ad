// Closure test of a list of symmetry operations, the reader's guard against misread operations.
#pragma once

#include "quorix.hpp"

// True when the product of every two operations of `symmetry` is again one of them, up to a
// lattice translation (compared within 0.001); a NULL or empty symmetry counts as a group.
bool quorix_symmetry_is_group(const QUORIX_SYMMETRY* symmetry);
