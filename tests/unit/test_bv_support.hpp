// Orthogonal cells with exact lattice vectors, symmetries given as translations or point
// operations, and hand-made bond-valence parameter sets for the bond-valence tests.
#pragma once

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli.hpp"
#include "test_property_support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-property.hpp"

namespace quorix_test {

struct BvSite {
    const char* name;
    const char* type;
    int os;
    double x, y, z;  // fractional
    double occ = 1.0;
};

// A box a x b x c whose lattice vectors are exact, so distances are too.
inline QUORIX_CELL* box_cell(double a, double b, double c, const std::vector<BvSite>& sites) {
    std::vector<Site> plain;
    for (const BvSite& s : sites) plain.push_back({s.type, s.os, s.x, s.y, s.z, s.occ});
    QUORIX_CELL* cell = make_cell(a, b, c, plain);
    const double lengths[3] = {a, b, c};
    for (int k = 0; k < 3; k++)
        for (int l = 0; l < 3; l++) cell->a[k][l] = k == l ? lengths[k] : 0.0;
    for (size_t i = 0; i < sites.size(); i++)
        quorix_copy_bounded(cell->atom[i].name, sites[i].name, sizeof cell->atom[i].name);
    quorix_cell_update_coordinate_cartesion(cell);
    return cell;
}

// One symmetry operation: a diagonal rotation (+1 or -1 per axis) and a translation.
struct Operation {
    std::array<int, 3> diagonal;
    std::array<double, 3> shift;
};

inline QUORIX_SYMMETRY* symmetry_of(const std::vector<Operation>& operations) {
    QUORIX_SYMMETRY* symmetry = quorix_symmetry_new(static_cast<int>(operations.size()));
    for (size_t n = 0; n < operations.size(); n++)
        for (int k = 0; k < 3; k++) {
            symmetry->card[n].r_f[k][k] = operations[n].diagonal[k];
            symmetry->card[n].t_f[k] = operations[n].shift[k];
        }
    return symmetry;
}

// The face-centring translations of a conventional cubic cell.
inline QUORIX_SYMMETRY* face_centring() {
    return symmetry_of(
        {{{1, 1, 1}, {0, 0, 0}}, {{1, 1, 1}, {0, 0.5, 0.5}}, {{1, 1, 1}, {0.5, 0, 0.5}}, {{1, 1, 1}, {0.5, 0.5, 0}}});
}

// Rock salt, conventional cell: four Na then four Cl.
inline QUORIX_CELL* rock_salt(double a) {
    return box_cell(a, a, a,
                    {{"Na1", "Na", 1, 0, 0, 0},
                     {"Na1", "Na", 1, 0, 0.5, 0.5},
                     {"Na1", "Na", 1, 0.5, 0, 0.5},
                     {"Na1", "Na", 1, 0.5, 0.5, 0},
                     {"Cl1", "Cl", -1, 0.5, 0, 0},
                     {"Cl1", "Cl", -1, 0.5, 0.5, 0.5},
                     {"Cl1", "Cl", -1, 0, 0, 0.5},
                     {"Cl1", "Cl", -1, 0, 0.5, 0}});
}

// A set of one cation and one anion with the given bond-valence parameters.
inline QUORIX_PROPERTY* bv_pair_set(const char* cation, int os_cation, const char* anion, int os_anion, double r0,
                                    double b, double cutoff) {
    QUORIX_PROPERTY* ppt = quorix_property_new(0);
    quorix_property_append_index(ppt, cation, os_cation);
    quorix_property_append_index(ppt, anion, os_anion);
    QUORIX_PROPERTY_BINARY& pair = ppt->bin[0][1];
    pair.r0 = r0;
    pair.b = b;
    pair.cutoff = cutoff;
    return ppt;
}

// Runs `call` with standard output captured and returns what it printed.
template <class Call>
std::string printed_by(Call&& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

}  // namespace quorix_test
