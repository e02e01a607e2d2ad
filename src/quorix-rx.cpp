// Total energy, forces and stress of a cell under the force field, strains and relaxation steps.
#include "quorix-rx.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "quorix-alloc.hpp"
#include "quorix-images.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"

namespace {

// Strain of the finite differences for the stress.
constexpr double kStrain = 0.0001;

// Strain entries of the three stress components.
constexpr int kDiagonalEntries[3][2] = {{0, 0}, {1, 1}, {2, 2}};
constexpr int kShearEntries[3][2] = {{1, 2}, {0, 2}, {0, 1}};

// Two atoms, one of them at a lattice image: r = x_j - (x_i + image), d = |r|.
struct PairAtImage {
    long i;
    long j;
    int ki;
    int kj;
    const QUORIX_PROPERTY_BINARY* bin;  // cation first
    bool coulomb;                       // like charges; otherwise the bonding term
    double r[3];
    double d;
};

// Calls visit(PairAtImage) for every pair that interacts: atom i not fixed (nor j, when
// `free_partners_only`), like charges within the larger of 10 A and the largest cutoff,
// opposite charges within their cutoff, never closer than 0.3 A. Images of atom i run over
// |l| <= M[0], |m| <= M[1], |p| <= M[2] with M[k] = int(Rmax / |a_k| + 1). false when an atom's
// species is not in the set.
template <class Visit>
bool for_each_interacting_pair(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, bool free_partners_only,
                               Visit visit) {
    const std::vector<int> species = quorix_property_species_of_atoms(ppt, cell);
    if (!quorix_property_all_found(species)) {
        std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
        return false;
    }
    const double rmax = quorix_property_coulomb_reach(ppt);
    int images[3];
    if (!quorix_cell_lattice_usable(cell)) return false;
    quorix_cell_image_box(images, cell, rmax);

    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom_i = cell->atom[i];
        if (atom_i.ignored) continue;
        for (long j = 0; j < cell->total; j++) {
            const QUORIX_ATOM& atom_j = cell->atom[j];
            if (free_partners_only && atom_j.ignored) continue;
            PairAtImage pair{i, j, species[i], species[j], nullptr, false, {}, 0};
            pair.bin = atom_i.os < 0 ? &ppt->bin[pair.kj][pair.ki] : &ppt->bin[pair.ki][pair.kj];
            const long charge_sign = static_cast<long>(atom_i.os) * atom_j.os;
            if (charge_sign == 0) continue;
            pair.coulomb = charge_sign > 0;
            const double reach = pair.coulomb ? rmax : pair.bin->cutoff;
            if (reach <= kQuorixMinimumDistance) continue;
            // Generous squared bound: the exact test is made on d itself.
            const double reach_squared = reach * reach * (1.0 + 1e-9);
            quorix_for_each_image(cell->a, images, [&](const QuorixImage& image) {
                double d_squared = 0;
                for (int k = 0; k < 3; k++) {
                    pair.r[k] = atom_j.x[k] - (image.shift[k] + atom_i.x[k]);
                    d_squared += pair.r[k] * pair.r[k];
                }
                if (d_squared > reach_squared) return;
                pair.d = std::sqrt(d_squared);
                if (pair.d <= kQuorixMinimumDistance || pair.d > reach) return;
                visit(pair);
            });
        }
    }
    return true;
}

double coulomb_sigma(const QUORIX_PROPERTY* ppt, double sf, int ki, int kj) {
    return sf * (ppt->uni[ki].rc + ppt->uni[kj].rc);
}

double bonding_energy(const QUORIX_PROPERTY_BINARY& p, double d) {
    return quorix_energy_bonding_with_energy_shift(d, p.d0, p.rmin, p.b, p.en_s);
}

// The lattice energy in eV; 0.0 (with the message) on failure.
double sum_pair_energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, bool free_partners_only) {
    if (!cell || !ppt) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
        return 0.0;
    }
    double sum = 0;
    const bool ok = for_each_interacting_pair(cell, ppt, free_partners_only, [&](const PairAtImage& pair) {
        const double occ_i = cell->atom[pair.i].occ, occ_j = cell->atom[pair.j].occ;
        if (pair.coulomb) {
            const double qq = ppt->uni[pair.ki].q * ppt->uni[pair.kj].q;
            sum += quorix_energy_coulombic(pair.d, qq, coulomb_sigma(ppt, ppt->sf, pair.ki, pair.kj)) * occ_i * occ_j;
        } else {
            sum += bonding_energy(*pair.bin, pair.d) * occ_i * occ_j;
        }
    });
    return ok ? sum * kQuorixHalfEvPerUnit : 0.0;
}

// A copy of the cell with one strain entry set; NULL (with the message) on failure.
QUORIX_CELL* strained_copy(const QUORIX_CELL* cell, const int entry[2], double strain_value) {
    CellPtr copy(quorix_cell_copy(cell));
    if (!copy) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return nullptr;
    }
    double strain[3][3] = {};
    strain[entry[0]][entry[1]] = strain_value;
    if (quorix_cell_deform(copy.get(), strain) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_deform() returns non-zero.\n");
        return nullptr;
    }
    return copy.release();
}

double central_difference(double energy_minus, double energy_plus, double volume) {
    return (energy_plus - energy_minus) / (2 * kStrain) / volume;
}

const int (&strain_entries(bool shear))[3][2] { return shear ? kShearEntries : kDiagonalEntries; }

// Stress components by central differences of the plain energy.
int plain_stress(double* stress, QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, bool shear) {
    if (!stress || !cell || !ppt) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    return quorix_cell_stress_by_strain(stress, cell, shear, [ppt](const QUORIX_CELL* strained) {
        return quorix_cell_calculate_total_energy(strained, ppt);
    });
}

}  // namespace

void quorix_cell_image_box(int box[3], const QUORIX_CELL* cell, double reach) {
    for (int k = 0; k < 3; k++) box[k] = static_cast<int>(reach / quorix_vector3_double_length(cell->a[k]) + 1.0);
}

int quorix_cell_stress_by_strain(double* stress, QUORIX_CELL* cell, bool shear, const QuorixEnergyOf& energy_of) {
    if (!stress || !cell) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    const double volume = quorix_cell_calculate_volume(cell);
    for (int k = 0; k < 3; k++) {
        double energy[2];
        for (int s = 0; s < 2; s++) {
            CellPtr strained(strained_copy(cell, strain_entries(shear)[k], s == 0 ? -kStrain : kStrain));
            if (!strained) return 1;
            energy[s] = energy_of(strained.get());
            if (energy[s] == 0.0) {
                std::fprintf(stderr, "Error: quorix_cell_calculate_total_energy() returns 0.00.\n");
                return 1;
            }
        }
        stress[k] = central_difference(energy[0], energy[1], volume);
    }
    return 0;
}

double quorix_cell_calculate_total_energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    return sum_pair_energy(cell, ppt, false);
}

double quorix_cell_calculate_total_energy_unconstrained_part(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    return sum_pair_energy(cell, ppt, true);
}

double quorix_cell_total_energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    if (!cell || !ppt) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
        return 0.0;
    }
    const double energy = quorix_cell_calculate_total_energy(cell, ppt);
    if (energy == 0.0) std::fprintf(stderr, "Error: quorix_cell_calculate_total_energy() returns zero.\n");
    return energy;
}

double quorix_property_coulomb_reach(const QUORIX_PROPERTY* ppt) {
    double rmax = kQuorixCoulombReach;
    for (int i = 0; i < ppt->total; i++)
        for (int j = 0; j < ppt->total; j++) rmax = std::max(rmax, ppt->bin[i][j].cutoff);
    return rmax;
}

int quorix_cell_calculate_force(double** force, const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    if (!force || !cell || !ppt) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    for (long i = 0; i < cell->total; i++) force[i][0] = force[i][1] = force[i][2] = 0;
    const bool ok = for_each_interacting_pair(cell, ppt, false, [&](const PairAtImage& pair) {
        double slope;
        if (pair.coulomb) {
            const double qq = ppt->uni[pair.ki].q * ppt->uni[pair.kj].q;
            slope = quorix_force_coulombic(pair.d, qq, coulomb_sigma(ppt, ppt->sf, pair.ki, pair.kj));
        } else {
            slope = quorix_force_bonding(pair.d, pair.bin->d0, pair.bin->rmin, pair.bin->b);
        }
        const double g = slope * cell->atom[pair.i].occ * cell->atom[pair.j].occ * 0.5;
        for (int k = 0; k < 3; k++) force[pair.i][k] += pair.r[k] * g / pair.d;
    });
    return ok ? 0 : 1;
}

int quorix_cell_calculate_stress_diagonal(double* stress, QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    return plain_stress(stress, cell, ppt, false);
}

int quorix_cell_calculate_stress_shear(double* stress, QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    return plain_stress(stress, cell, ppt, true);
}

int quorix_cell_deform(QUORIX_CELL* cell, const double strain[3][3]) {
    if (!cell) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    auto strain_vector = [&](double* v) {
        double change[3];
        quorix_matrix33_double_multiply_vector3(change, strain, v);
        for (int k = 0; k < 3; k++) v[k] += change[k];
    };
    for (auto& vector : cell->a) strain_vector(vector);
    for (long i = 0; i < cell->total; i++) strain_vector(cell->atom[i].x);
    quorix_cell_update_fractional(cell);
    return 0;
}

int quorix_cell_update_by_stress(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    double diagonal[3], shear[3];
    if (quorix_cell_calculate_stress_diagonal(diagonal, cell, ppt) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_calculate_stress_diagonal() returns non-zero.\n");
        return 1;
    }
    if (quorix_cell_calculate_stress_shear(shear, cell, ppt) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_calculate_stress_shear() returns non-zero.\n");
        return 1;
    }
    return quorix_cell_deform_by_stress(cell, diagonal, shear);
}

int quorix_cell_deform_by_stress(QUORIX_CELL* cell, const double* diagonal, const double* shear) {
    // The strain is symmetric like the stress: a shear entry on one side only would halve the
    // shear strain and turn the cell, which breaks the symmetry of cells whose axes are not the
    // Cartesian ones (rhombohedral axes).
    double strain[3][3] = {};
    for (int k = 0; k < 3; k++) {
        const int i = kShearEntries[k][0], j = kShearEntries[k][1];
        strain[k][k] = -0.5 * diagonal[k];
        strain[i][j] = strain[j][i] = -0.5 * shear[k];
    }
    if (quorix_cell_deform(cell, strain) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_deform() returns non-zero.\n");
        return 1;
    }
    return 0;
}

int quorix_cell_calculate_coordinate_step_size_simple(double** dx, const QUORIX_CELL* cell,
                                                      const QUORIX_PROPERTY* ppt, double** force) {
    if (!dx || !cell || !ppt || !force) {
        std::fprintf(stderr, "Error: null arguments found.\n");
        return 1;
    }
    double longest = 0;
    for (long i = 0; i < cell->total; i++) {
        const int k = quorix_property_find_index(ppt, cell->atom[i].type, cell->atom[i].os);
        if (k < 0) {
            std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
            return 1;
        }
        const double mass = ppt->uni[k].m;
        if (mass <= 0) {
            std::fprintf(stderr, "Error: wrong mass value.\n");
            return 1;
        }
        for (int d = 0; d < 3; d++) dx[i][d] = force[i][d] / mass;
        longest = std::max(longest, quorix_vector3_double_length(dx[i]));
    }
    if (longest > 0.1) {
        const double scale = 0.1 / longest;
        for (long i = 0; i < cell->total; i++)
            for (int d = 0; d < 3; d++) dx[i][d] *= scale;
    }
    return 0;
}

int quorix_cell_update_coordinate(QUORIX_CELL* cell, double** dx) {
    if (!cell || !dx) {
        std::fprintf(stderr, "Error: invalid arguments found.\n");
        return 1;
    }
    for (long i = 0; i < cell->total; i++)
        for (int d = 0; d < 3; d++) cell->atom[i].x[d] += dx[i][d];
    quorix_cell_update_coordinate_fractional(cell);
    return 0;
}

// ---------------------------------------------------------------- stress at many screening factors

int QuorixStressBySf::build(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    if (!cell || !ppt || !ppt->uni || !ppt->bin) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    const int total = ppt->total;
    qq_.assign(total * total, 0);
    rc_sum_.assign(total * total, 0);
    for (int ki = 0; ki < total; ki++) {
        for (int kj = 0; kj < total; kj++) {
            qq_[ki * total + kj] = ppt->uni[ki].q * ppt->uni[kj].q;
            rc_sum_[ki * total + kj] = ppt->uni[ki].rc + ppt->uni[kj].rc;
        }
    }
    volume_ = quorix_cell_calculate_volume(cell);
    for (int k = 0; k < 3; k++) {
        for (int s = 0; s < 2; s++) {
            CellPtr strained(strained_copy(cell, kDiagonalEntries[k], s == 0 ? -kStrain : kStrain));
            if (!strained) return 1;
            // The screening factor belongs to the structure: atoms held fixed count like the others.
            for (long i = 0; i < strained->total; i++) strained->atom[i].ignored = false;
            std::vector<Term>& terms = strained_[2 * k + s];
            terms.clear();
            const QUORIX_CELL* c = strained.get();
            const bool ok = for_each_interacting_pair(c, ppt, false, [&](const PairAtImage& pair) {
                const double occ_i = c->atom[pair.i].occ, occ_j = c->atom[pair.j].occ;
                if (pair.coulomb)
                    terms.push_back({pair.d, occ_i, occ_j, pair.ki * total + pair.kj});
                else
                    terms.push_back({bonding_energy(*pair.bin, pair.d) * occ_i * occ_j, 0, 0, -1});
            });
            if (!ok) return 1;
        }
    }
    return 0;
}

double QuorixStressBySf::energy(const std::vector<Term>& terms, double sf) const {
    // sigma and the 10 A shift depend on the species pair only: found once per evaluation.
    std::vector<double> sigma(rc_sum_.size()), shift(rc_sum_.size());
    for (size_t p = 0; p < rc_sum_.size(); p++) {
        sigma[p] = sf * rc_sum_[p];
        shift[p] = quorix_energy_coulombic_unshifted(10.0, qq_[p], sigma[p]);
    }
    double sum = 0;
    for (const Term& t : terms) {
        if (t.pair < 0) {
            sum += t.x;
            continue;
        }
        const double coulomb = quorix_energy_coulombic_unshifted(t.x, qq_[t.pair], sigma[t.pair]) - shift[t.pair];
        sum += coulomb * t.occ_i * t.occ_j;
    }
    return sum * kQuorixHalfEvPerUnit;
}

int QuorixStressBySf::diagonal(double* stress, double sf) const {
    for (int k = 0; k < 3; k++) {
        const double minus = energy(strained_[2 * k], sf);
        const double plus = energy(strained_[2 * k + 1], sf);
        if (minus == 0.0 || plus == 0.0) {
            std::fprintf(stderr, "Error: quorix_cell_calculate_total_energy() returns 0.00.\n");
            return 1;
        }
        stress[k] = central_difference(minus, plus, volume_);
    }
    return 0;
}
