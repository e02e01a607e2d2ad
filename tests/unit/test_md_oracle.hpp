// The forces of a molecular-dynamics step by the plain sum over every pair of atoms and every
// image of the fixed box: the oracle of the neighbour list, in the tests and in the benchmark.
#pragma once

#include <vector>

#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"
#include "quorix-md.hpp"

namespace quorix_oracle {

// Force on atom i: every atom j and every image in the box of int(10 / |a_k| + 1) cells within
// 10 A, Coulomb in eV for like charges, the bonding term as it stands otherwise.
inline std::vector<double> all_pairs_force(const QUORIX_MD* md, long i) {
    const QUORIX_CELL* cell = md->cell;
    const QUORIX_PROPERTY* ppt = md->ppt;
    int box[3];
    for (int k = 0; k < 3; k++) box[k] = static_cast<int>(10.0 / quorix_vector3_double_length(cell->a[k]) + 1.0);
    const int ki = quorix_property_find_index(ppt, cell->atom[i].type, cell->atom[i].os);
    std::vector<double> force(3, 0.0);
    for (long j = 0; j < cell->total; j++) {
        const int kj = quorix_property_find_index(ppt, cell->atom[j].type, cell->atom[j].os);
        const QUORIX_PROPERTY_BINARY& bin = ppt->os[ki] > 0 ? ppt->bin[ki][kj] : ppt->bin[kj][ki];
        for (int l = -box[0]; l <= box[0]; l++)
            for (int m = -box[1]; m <= box[1]; m++)
                for (int p = -box[2]; p <= box[2]; p++) {
                    double r[3];
                    quorix_vector3_double_sum3(r, cell->a[0], l, cell->a[1], m, cell->a[2], p);
                    for (int k = 0; k < 3; k++) r[k] += cell->atom[j].x[k] - cell->atom[i].x[k];
                    const double d = quorix_vector3_double_length(r);
                    if (d < 0.1 || d > 10.0) continue;
                    const double g = ppt->os[ki] * ppt->os[kj] > 0
                                         ? 14.39964 * quorix_force_coulombic(d, ppt->uni[ki].q * ppt->uni[kj].q,
                                                                             ppt->sf * (ppt->uni[ki].rc + ppt->uni[kj].rc))
                                         : quorix_force_bonding(d, bin.d0, bin.rmin, bin.b);
                    for (int k = 0; k < 3; k++) force[k] += r[k] * g / d;
                }
    }
    return force;
}

}  // namespace quorix_oracle
