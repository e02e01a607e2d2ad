// Pair list of the lattice energy and forces for the relaxations: the pairs of the plain sums of
// quorix-rx, listed within their reach plus a skin and in the order those sums visit them.
#pragma once

#include <vector>

#include "quorix-rx-pair-term.hpp"
#include "quorix.hpp"

// Every evaluation first checks that the cell is still within the skin of the listed one (atoms
// moved, cell vectors strained) and lists it anew when it is not, so the sums over the list equal
// the plain sums bit for bit: the same pairs, the same arithmetic, the same order. The cell must
// hold the same atoms as the listed one, and the set must be the same.
class QuorixRxPairs {
public:
    // With `count_fixed` the pairs of `ignored` atoms count like all others, as though no atom
    // were flagged.
    explicit QuorixRxPairs(bool count_fixed = false, double skin = 1.0) : skin_(skin), count_fixed_(count_fixed) {}

    // quorix_cell_calculate_total_energy; 0.0 on failure.
    double energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
    // The energy and quorix_cell_calculate_force in one pass; 0 or 1.
    int energy_and_force(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, double& energy, double** force);
    long builds() const { return builds_; }

private:
    // The interaction of an ordered pair of species, with the Coulomb shift at 10 A found once.
    struct Term {
        QuorixPairTerm pair;
        double coulomb_shift;
        double reach_squared;  // generous: the exact test is made on the distance
        bool listed;           // interacts and reaches beyond the minimum distance
    };
    // Atom j at lattice image `image` of atom i.
    struct Entry {
        long i;
        long j;
        int image;
        int term;
    };

    bool ensure_listed(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
    bool covers(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) const;
    bool build(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
    std::vector<double> image_shifts(const QUORIX_CELL* cell) const;
    // visit(entry, term, r, d) for every listed pair within its reach and beyond the minimum distance.
    template <class Visit>
    void for_each_pair(const QUORIX_CELL* cell, Visit visit) const;

    double skin_;
    bool count_fixed_;
    bool listed_ = false;
    long builds_ = 0;
    const QUORIX_PROPERTY* ppt_ = nullptr;
    double sf_ = 0;
    int box_[3] = {0, 0, 0};
    std::vector<Term> terms_;          // species a, b at a * species + b
    std::vector<Entry> entries_;
    std::vector<double> reference_x_;  // Cartesian positions at the last build
    double reference_a_[3][3] = {};
};
