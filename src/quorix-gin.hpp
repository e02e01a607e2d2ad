// Export for GULP: the force field of a structure as a library (species charges, a Morse term per
// cation-anion pair, a screened Coulomb term per like-charged pair) and a molecular-dynamics
// input of the structure with that library appended. Lines end with "\r\n".
#pragma once

#include "quorix-alloc.hpp"
#include "quorix.hpp"

// Run settings with their defaults; the output base name is `path` without its extension
// ("quorix-default" when path is NULL).
QUORIX_GIN_CONF* quorix_gin_conf_new(const char* path);
void quorix_gin_conf_free(QUORIX_GIN_CONF* conf);

// The library text of a parameter set.
QUORIX_TEXT* quorix_gin_lib_import_from_property(const QUORIX_PROPERTY* ppt);
// The input text of a fully occupied cell: cell, atoms, run settings, then the library.
QUORIX_TEXT* quorix_gin_import_from_cell(const QUORIX_CELL* cell, const QUORIX_GIN_CONF* conf,
                                         const QUORIX_PROPERTY* ppt);

// The cell itself when fully occupied, otherwise a default supercell with its partial occupancies
// assigned at random, owned by `made`; NULL after the error lines.
QUORIX_CELL* quorix_gin_occupied_cell(QUORIX_CELL* cell, CellPtr& made);

// Writes conf->filename + ".gin" for the cell; partial occupancies are first assigned at random
// in the default supercell. The parameter set is imported with conf->sf.
int quorix_gin_write_to_file(QUORIX_CELL* cell, const char* dir_unitary, const char* dir_binary,
                             const QUORIX_GIN_CONF* conf);
// Writes the library of the set to `path`, its screening lengths from `sf` when positive,
// otherwise from the set's own screening factor.
int quorix_gin_lib_write_to_file(const QUORIX_PROPERTY* ppt, double sf, const char* path);

using GinConfPtr = quorix_ptr<QUORIX_GIN_CONF, quorix_gin_conf_free>;
