// Oxidation states of the atoms read from a CIF: mixed-valence splitting and database defaults.
#pragma once

#include "quorix.hpp"

int quorix_atom_fork_os(QUORIX_ATOM** atom, long* total);
int quorix_atom_update_default_os(QUORIX_ATOM* atom, long total, const char* dir_unitary);
