// The site-energy landscape by the plain loop: every voxel sums over every atom and every
// lattice image of the fixed box. The oracle of the fast calculation, in the tests and in the
// benchmark; slow, so only for small grids or samples of voxels.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "quorix-cube.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-symmetry.hpp"

namespace quorix_oracle {

// The conducting species in the parameter set, its host atoms and the image box.
struct Host {
    const QUORIX_CELL* cell;
    const QUORIX_PROPERTY* ppt;
    bool ignore_conducting;
    int box[3];

    Host(const QUORIX_CELL* c, const QUORIX_PROPERTY* p, bool ignore) : cell(c), ppt(p), ignore_conducting(ignore) {
        double range = 10.0;
        for (int i = 0; i < p->total; i++)
            for (int j = 0; j < p->total; j++) range = std::max(range, p->bin[i][j].cutoff);
        for (int k = 0; k < 3; k++) {
            const double length =
                std::sqrt(c->a[k][0] * c->a[k][0] + c->a[k][1] * c->a[k][1] + c->a[k][2] * c->a[k][2]);
            box[k] = static_cast<int>(range / length + 2.0);
        }
    }
};

// Energy in eV of the probe at r, capped at 999.9.
inline double energy_at(const Host& host, const double r[3]) {
    const QUORIX_PROPERTY* ppt = host.ppt;
    const int c = ppt->conducting;
    double bonding = 0, coulomb = 0;
    for (long n = 0; n < host.cell->total; n++) {
        const QUORIX_ATOM& atom = host.cell->atom[n];
        if (host.ignore_conducting && atom.os == ppt->os[c] && std::strcmp(atom.type, ppt->type[c]) == 0) continue;
        const int s = quorix_property_find_index(ppt, atom.type, atom.os);
        const QUORIX_PROPERTY_BINARY& p = ppt->os[c] < 0 ? ppt->bin[s][c] : ppt->bin[c][s];
        const bool like = ppt->os[c] * atom.os > 0;
        const double qq = ppt->uni[c].q * ppt->uni[s].q;
        const double sigma = ppt->sf * (ppt->uni[c].rc + ppt->uni[s].rc);
        const double(&a)[3][3] = host.cell->a;
        for (int l = -host.box[0]; l <= host.box[0]; l++)
            for (int m = -host.box[1]; m <= host.box[1]; m++)
                for (int q = -host.box[2]; q <= host.box[2]; q++) {
                    double v[3];
                    for (int k = 0; k < 3; k++) v[k] = l * a[0][k] + m * a[1][k] + q * a[2][k] + atom.x[k] - r[k];
                    const double d = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
                    if (!like && d <= p.cutoff)
                        bonding += (d > p.r_bc ? quorix_energy_bonding(d, p.d0, p.rmin, p.b) - p.en_s
                                               : quorix_pseudopotential_energy_bonding(d, p.a2, p.a1, p.a0)) *
                                   atom.occ;
                    if (like && d <= 10.0)
                        coulomb += (d > p.r_cc ? quorix_energy_coulombic(d, qq, sigma)
                                               : quorix_pseudopotential_energy_coulombic(d, p.a2, p.a1, p.a0)) *
                                   atom.occ;
                }
    }
    return std::min((bonding + coulomb) * 14.39964, 999.9);
}

inline void voxel_position(const QUORIX_CUBE* cube, long i, long j, long k, double r[3]) {
    for (int c = 0; c < 3; c++) r[c] = i * cube->a_i[0][c] + j * cube->a_i[1][c] + k * cube->a_i[2][c];
}

// The whole landscape on an n[0] x n[1] x n[2] grid, filled by symmetry as voxels are visited;
// `computed` receives the number of voxels computed.
inline QUORIX_CUBE* landscape(const Host& host, QUORIX_SYMMETRY* symmetry, const long n[3], long* computed = nullptr) {
    QUORIX_CUBE* cube = quorix_cube_new(n);
    quorix_symmetry_fill_card_discrete(symmetry, n);
    for (int k = 0; k < 3; k++)
        for (int c = 0; c < 3; c++) {
            cube->a[k][c] = host.cell->a[k][c];
            cube->a_i[k][c] = host.cell->a[k][c] / n[k];
        }
    long count = 0;
    long x[3];
    for (x[0] = 0; x[0] < n[0]; x[0]++)
        for (x[1] = 0; x[1] < n[1]; x[1]++)
            for (x[2] = 0; x[2] < n[2]; x[2]++) {
                if (std::fabs(cube->en[x[0]][x[1]][x[2]]) > 1e-7) continue;
                double r[3];
                voxel_position(cube, x[0], x[1], x[2], r);
                const double value = energy_at(host, r);
                count++;
                for (int op = 0; op < symmetry->total; op++) {
                    long y[3];
                    quorix_card_transform_vector3_long(y, x, n, &symmetry->card[op]);
                    if (cube->en[y[0]][y[1]][y[2]] <= 1e-7) cube->en[y[0]][y[1]][y[2]] = value;
                }
            }
    if (computed) *computed = count;
    return cube;
}

}  // namespace quorix_oracle
