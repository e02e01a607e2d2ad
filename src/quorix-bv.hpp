// Bond valence sums of the symmetry-distinct sites of a cell, the bond valence between every
// pair of sites, and the global instability index (GII) with its verdict.
#pragma once

#include "quorix-images.hpp"
#include "quorix.hpp"

QUORIX_BV* quorix_bv_new(long total);
void quorix_bv_free(QUORIX_BV* bv);

QUORIX_BV* quorix_bv_calculate_from_cell(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* dir_unitary,
                                         const char* dir_binary);
QUORIX_BV* quorix_bv_calculate_from_cell_with_type(QUORIX_CELL* cell_in, QUORIX_SYMMETRY* symmetry, const char* type1,
                                                   int os1, const char* type2, int os2, const char* dir_unitary,
                                                   const char* dir_binary);
// The cell's atoms must carry site numbers in `flag` (quorix_cell_flag_site_by_symmetry).
QUORIX_BV* quorix_bv_calculate_from_flagged_cell(QUORIX_CELL* cell, QUORIX_PROPERTY* ppt);

// false, with a message naming the first atom, when an atom's oxidation state is unknown (99):
// such atoms have no bond-valence parameters. Atoms of state 0 bond with nothing; the first is
// named in a warning.
bool quorix_bv_states_usable(const QUORIX_CELL* cell);

// -1.0 on failure.
double quorix_gii_calculate_from_cell(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* dir_unitary,
                                      const char* dir_binary);
// Prints the GII and its verdict; -1.0 for a record without sites.
double quorix_gii_calculate_from_bv(QUORIX_BV* bv);

int quorix_bv_validate_property(QUORIX_PROPERTY* ppt);

QUORIX_TEXT* quorix_bv_export_to_text(QUORIX_BV* bv);
void quorix_bv_print(QUORIX_BV* bv);
void quorix_bv_print_gui(QUORIX_BV* bv);

#include <cmath>

// Bond valence of a cation-anion contact at distance d, before the neighbour's occupancy.
inline double quorix_bv_bond_valence(double r0, double b, double d) { return std::exp((r0 - d) / b); }

// Contacts at 0.3 A or closer are the atom itself or unphysical and carry no bond.
constexpr double kQuorixBvMinimumDistance = 0.3;

// Only cation-anion contacts bond; atoms of oxidation state 0 bond with nothing.
inline bool quorix_bv_is_bond(int os_centre, int os_other) {
    return (os_centre > 0 && os_other < 0) || (os_centre < 0 && os_other >= 1);
}

// The largest pair cutoff of a parameter set.
double quorix_bv_largest_cutoff(const QUORIX_PROPERTY* ppt);

// Images searched per lattice vector for bonds up to `cutoff`: (int)(cutoff / |a_i| + 2).
// 1, with a message, for a lattice vector too short to search around (under 0.5 A).
int quorix_bv_image_range(int x_max[3], const QUORIX_CELL* cell, double cutoff);

// Calls visit(d) for every image of `other` within the open range (0.3 A, pair cutoff) of
// the Cartesian position `centre`; a pair whose cutoff is 0.3 A or less has no bonds.
template <class Visit>
void quorix_bv_for_each_bond(const QUORIX_CELL* cell, const double centre[3], const QUORIX_ATOM& other,
                             const QUORIX_PROPERTY_BINARY& pair, const int x_max[3], Visit&& visit) {
    if (pair.cutoff <= kQuorixBvMinimumDistance) return;
    const double cutoff2 = pair.cutoff * pair.cutoff;
    const double floor2 = kQuorixBvMinimumDistance * kQuorixBvMinimumDistance;
    quorix_for_each_image(cell->a, x_max, [&](const QuorixImage& image) {
        double d2 = 0;
        for (int c = 0; c < 3; c++) {
            const double x = image.shift[c] + other.x[c];
            d2 += (x - centre[c]) * (x - centre[c]);
        }
        if (d2 < cutoff2 && d2 > floor2) visit(std::sqrt(d2));
    });
}

#include "quorix-alloc.hpp"

using BvPtr = quorix_ptr<QUORIX_BV, quorix_bv_free>;
