// Relaxation constraints of a structure read from its CIF: which Cartesian components of which
// atoms stay where they are.
#pragma once

#include <array>
#include <vector>

#include "quorix.hpp"

// One flag per Cartesian component and atom: true where that component does not move.
using QuorixFixedComponents = std::vector<std::array<bool, 3>>;

// Reads the loop holding "_quorix_fixed" (the column `_atom_site_quorix_fixed` of the atom-site
// loop, or a loop of its own beside `_atom_site_label`) from the CIF file `cif`. A value that
// begins with 't' or 'T' fixes the whole atom (its `ignored` flag is set); one that begins with
// 'f' or 'F' fixes nothing; otherwise the letters x, y, z in it fix those Cartesian components.
// Every atom of the cell whose name is a listed label takes that label's constraint. `fixed`
// gets one entry per atom of the cell. A file without the loop leaves everything free.
int quorix_cell_import_cif_read_constraint(QUORIX_CELL* cell, const char* cif, QuorixFixedComponents& fixed);

// Whether component k of atom i of `cell` stays put: its atom is `ignored`, or `fixed` (when it
// has one entry per atom) lists the component.
inline bool quorix_component_fixed(const QUORIX_CELL* cell, const QuorixFixedComponents* fixed, long i, int k) {
    const bool listed = fixed && static_cast<long>(fixed->size()) == cell->total;
    return cell->atom[i].ignored || (listed && (*fixed)[i][k]);
}
