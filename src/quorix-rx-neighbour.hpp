// Neighbour list of the mobile atoms of a cell whose other atoms stay fixed: the images of every
// atom within reach + skin of each mobile atom, listed once and refreshed only when a mobile atom
// has moved more than half the skin. Positions are one 3-vector per atom of the cell, continuous
// in time (not wrapped back into the cell).
#pragma once

#include <cmath>
#include <vector>

#include "quorix.hpp"

class QuorixNeighbourList {
public:
    QuorixNeighbourList(double reach, double skin) : reach_(reach), skin_(skin) {}

    // Lists the partners of every atom flagged in `mobile` at positions x: every image of a fixed
    // atom, and every image of a mobile atom of higher index, so that each pair of mobile atoms
    // comes once. An atom's own images are left out: their pull cancels pairwise. 1 when the
    // lattice vectors are unusable.
    int build(const QUORIX_CELL* cell, const std::vector<char>& mobile, double* const* x);
    // True when a mobile atom has moved more than half the skin since the last build.
    bool needs_refresh(double* const* x) const;
    // build() when needs_refresh(); 0 otherwise.
    int refresh(const QUORIX_CELL* cell, const std::vector<char>& mobile, double* const* x);
    long builds() const { return builds_; }

    // visit(i, j, r, d_squared, j_mobile) for every mobile atom i and every listed image of atom j
    // within reach of it at positions x, r = image of x[j] - x[i].
    template <class Visit>
    void for_each_pair(double* const* x, Visit visit) const {
        traverse(x, visit, [](long) {});
    }

    // f[i] += r * factor(i, j, d_squared) for every pair of for_each_pair(), and f[j] -= the same
    // when j is mobile too. f is not cleared first.
    template <class Factor>
    void add_pair_forces(double* const* x, double** f, Factor factor) const {
        double f_i[3] = {0, 0, 0};
        traverse(
            x,
            [&](long i, long j, const double* r, double d_squared, bool j_mobile) {
                const double g = factor(i, j, d_squared);
                for (int k = 0; k < 3; k++) f_i[k] += r[k] * g;
                if (j_mobile)
                    for (int k = 0; k < 3; k++) f[j][k] -= r[k] * g;
            },
            [&](long i) {
                for (int k = 0; k < 3; k++) {
                    f[i][k] += f_i[k];
                    f_i[k] = 0;
                }
            });
    }

private:
    // The pairs of for_each_pair(), mobile atom by mobile atom; done(i) after those of atom i.
    template <class Visit, class Done>
    void traverse(double* const* x, Visit visit, Done done) const {
        for (size_t n = 0; n < mobile_.size(); n++) {
            const long i = mobile_[n];
            double shift_i[3];
            for (int k = 0; k < 3; k++) shift_i[k] = x[i][k] - reference_[3 * i + k];
            for (size_t e = first_[n]; e < first_[n + 1]; e++) {
                const Entry& entry = entries_[e];
                double r[3];
                for (int k = 0; k < 3; k++) r[k] = entry.r[k] - shift_i[k];
                if (entry.moves)
                    for (int k = 0; k < 3; k++) r[k] += x[entry.j][k] - reference_[3 * entry.j + k];
                const double d_squared = r[0] * r[0] + r[1] * r[1] + r[2] * r[2];
                if (d_squared <= reach_ * reach_) visit(i, entry.j, r, d_squared, entry.moves);
            }
            done(i);
        }
    }

    // One image of atom j near a mobile atom i: r = image of j - i, both at their listed positions.
    struct Entry {
        double r[3];
        long j;
        bool moves;
    };

    double reach_;
    double skin_;
    long builds_ = 0;
    std::vector<long> mobile_;     // indices of the mobile atoms
    std::vector<size_t> first_;    // entries of mobile_[n]: first_[n] .. first_[n + 1] - 1
    std::vector<Entry> entries_;
    std::vector<double> reference_;  // positions of all atoms at the last build
};
