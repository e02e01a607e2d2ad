// Pair list of the lattice energy and forces, equal to the plain sums over the image box.
#include "quorix-rx-pairs.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "quorix-images.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"
#include "quorix-rx.hpp"

namespace {

bool arguments_usable(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    if (cell && ppt) return true;
    std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
    return false;
}

}  // namespace

std::vector<double> QuorixRxPairs::image_shifts(const QUORIX_CELL* cell) const {
    std::vector<double> shifts;
    quorix_for_each_image(cell->a, box_, [&](const QuorixImage& image) {
        shifts.insert(shifts.end(), image.shift, image.shift + 3);
    });
    return shifts;
}

bool QuorixRxPairs::covers(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) const {
    if (!listed_ || ppt != ppt_ || ppt->sf != sf_ || 3 * cell->total != static_cast<long>(reference_x_.size()))
        return false;
    if (!quorix_cell_lattice_usable(cell)) return false;
    int box[3];
    quorix_cell_image_box(box, cell, quorix_property_coulomb_reach(ppt));
    if (!std::equal(box, box + 3, box_)) return false;
    // A pair distance changes by at most the moves of both atoms plus that of the image shift.
    double moved = 0;
    for (long i = 0; i < cell->total; i++) {
        double d_squared = 0;
        for (int k = 0; k < 3; k++) d_squared += std::pow(cell->atom[i].x[k] - reference_x_[3 * i + k], 2);
        moved = std::max(moved, d_squared);
    }
    double drift = 2 * std::sqrt(moved);
    for (int v = 0; v < 3; v++) {
        double d_squared = 0;
        for (int k = 0; k < 3; k++) d_squared += std::pow(cell->a[v][k] - reference_a_[v][k], 2);
        drift += box_[v] * std::sqrt(d_squared);
    }
    return drift < skin_ - 1e-6;
}

bool QuorixRxPairs::build(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    listed_ = false;
    const std::vector<int> species = quorix_property_species_of_atoms(ppt, cell);
    if (!quorix_property_all_found(species)) {
        std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
        return false;
    }
    if (!quorix_cell_lattice_usable(cell)) return false;
    ppt_ = ppt;
    sf_ = ppt->sf;
    quorix_cell_image_box(box_, cell, quorix_property_coulomb_reach(ppt));
    terms_.assign(static_cast<size_t>(ppt->total) * ppt->total, Term{});
    for (int a = 0; a < ppt->total; a++)
        for (int b = 0; b < ppt->total; b++) {
            Term& t = terms_[a * ppt->total + b];
            t.pair = quorix_pair_term(ppt, a, b, QuorixPairModel::lattice);
            t.coulomb_shift = quorix_energy_coulombic_unshifted(kQuorixCoulombReach, t.pair.qq, t.pair.sigma);
            t.reach_squared = t.pair.reach * t.pair.reach * (1.0 + 1e-9);
            t.listed = t.pair.interacts && t.pair.reach > kQuorixMinimumDistance;
        }
    const std::vector<double> shifts = image_shifts(cell);
    entries_.clear();
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom_i = cell->atom[i];
        if (atom_i.ignored && !count_fixed_) continue;
        for (long j = 0; j < cell->total; j++) {
            const int term = species[i] * ppt->total + species[j];
            if (!terms_[term].listed) continue;
            const double range = terms_[term].pair.reach + skin_;
            for (size_t n = 0; 3 * n < shifts.size(); n++) {
                double d_squared = 0;
                for (int k = 0; k < 3; k++)
                    d_squared += std::pow(cell->atom[j].x[k] - (shifts[3 * n + k] + atom_i.x[k]), 2);
                if (d_squared <= range * range) entries_.push_back({i, j, static_cast<int>(n), term});
            }
        }
    }
    reference_x_.resize(3 * cell->total);
    for (long i = 0; i < cell->total; i++)
        for (int k = 0; k < 3; k++) reference_x_[3 * i + k] = cell->atom[i].x[k];
    std::copy(&cell->a[0][0], &cell->a[0][0] + 9, &reference_a_[0][0]);
    listed_ = true;
    builds_++;
    return true;
}

bool QuorixRxPairs::ensure_listed(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    if (!arguments_usable(cell, ppt)) return false;
    return covers(cell, ppt) || build(cell, ppt);
}

template <class Visit>
void QuorixRxPairs::for_each_pair(const QUORIX_CELL* cell, Visit visit) const {
    const std::vector<double> shifts = image_shifts(cell);
    for (const Entry& e : entries_) {
        const Term& term = terms_[e.term];
        const double* x_i = cell->atom[e.i].x;
        const double* x_j = cell->atom[e.j].x;
        const double* shift = &shifts[3 * e.image];
        double r[3];
        double d_squared = 0;
        for (int k = 0; k < 3; k++) {
            r[k] = x_j[k] - (shift[k] + x_i[k]);
            d_squared += r[k] * r[k];
        }
        if (d_squared > term.reach_squared) continue;
        const double d = std::sqrt(d_squared);
        if (d <= kQuorixMinimumDistance || d > term.pair.reach) continue;
        visit(e, term, r, d);
    }
}

double QuorixRxPairs::energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    if (!ensure_listed(cell, ppt)) return 0.0;
    double sum = 0;
    for_each_pair(cell, [&](const Entry& e, const Term& term, const double*, double d) {
        const double occ = cell->atom[e.i].occ, occ_j = cell->atom[e.j].occ;
        const QuorixPairTerm& p = term.pair;
        if (p.coulomb)
            sum += (quorix_energy_coulombic_unshifted(d, p.qq, p.sigma) - term.coulomb_shift) * occ * occ_j;
        else
            sum += quorix_energy_bonding_with_energy_shift(d, p.bin->d0, p.bin->rmin, p.bin->b, p.bin->en_s) * occ *
                   occ_j;
    });
    return sum * kQuorixHalfEvPerUnit;
}

int QuorixRxPairs::energy_and_force(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, double& energy,
                                    double** force) {
    if (!force || !ensure_listed(cell, ppt)) return 1;
    for (long i = 0; i < cell->total; i++) force[i][0] = force[i][1] = force[i][2] = 0;
    double sum = 0;
    for_each_pair(cell, [&](const Entry& e, const Term& term, const double* r, double d) {
        const double occ = cell->atom[e.i].occ, occ_j = cell->atom[e.j].occ;
        const QuorixPairTerm& p = term.pair;
        double slope;
        if (p.coulomb) {
            const double x = d / p.sigma;
            const double erfc_x = std::erfc(x);
            sum += (quorix_energy_coulombic_from_erfc(erfc_x, d, p.qq) - term.coulomb_shift) * occ * occ_j;
            slope = quorix_force_coulombic_from_erfc(erfc_x, x, d, p.qq, p.sigma);
        } else {
            const double e_exp = std::exp((p.bin->rmin - d) / p.bin->b);
            sum += (quorix_energy_bonding_from_exp(e_exp, p.bin->d0) - p.bin->en_s) * occ * occ_j;
            slope = quorix_force_bonding_from_exp(e_exp, p.bin->d0, p.bin->b);
        }
        const double g = slope * occ * occ_j * 0.5;
        for (int k = 0; k < 3; k++) force[e.i][k] += r[k] * g / d;
    });
    energy = sum * kQuorixHalfEvPerUnit;
    return 0;
}
