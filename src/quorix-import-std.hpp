// Standards-based CIF import: any CIF the gemmi parser reads, completed by its symmetry
// operations into a full cell, and the removal of species the bond-valence field cannot treat.
#pragma once

#include <string>
#include <vector>

#include "quorix-alloc.hpp"

// A structure read by the standards-based path.
struct QUORIX_STD_STRUCTURE {
    CellPtr cell;                    // full cell in canonical order; oxidation state 99 where the file gives none
    std::string block;               // the data block read
    std::string symmetry_source;     // where the operations came from
    std::vector<std::string> notes;  // what was dropped or assumed, one sentence each
    bool os_from_file = false;       // every atom has its oxidation state from the file
    double tolerance = 0;            // A: the one asked for, or the one chosen for the file
};

// Tolerance in A when none is asked for: 0.01, or as far as two images may lie apart when their
// coordinates are rounded to the decimals the file gives (sqrt(3) * 10^-decimals * longest edge,
// for three decimals or more, up to 0.1 A), if that is more: files written to three decimals
// keep their symmetry.
constexpr double kQuorixStdDefaultTolerance = 0.01;
constexpr double kQuorixStdWidestTolerance = 0.1;

// Reads the first data block of `cif` that holds atom sites. Missing occupancies are 1, a
// non-integral oxidation state splits its site as the plain CIF reader does, and images of one
// site closer than `tolerance` (A; non-positive: chosen for the file) are one atom. 0 on success,
// else 1 after one "Error: " line.
int quorix_std_import_from_file(QUORIX_STD_STRUCTURE* structure, const char* cif, double tolerance);

// Distance in A between two fractional positions of the cell, through the nearest lattice
// translation (exact for distances short against the cell).
double quorix_std_periodic_distance(const QUORIX_CELL* cell, const double* f1, const double* f2);

// Drops the hydrogen atoms when the per-pair database has no parameters for hydrogen (with a
// note); any other element without parameters is an error. 0 on success, else 1.
int quorix_std_keep_bv_elements(QUORIX_STD_STRUCTURE* structure, const char* dir_binary);
