// Neighbour list of the mobile atoms of a cell whose other atoms stay fixed: the images of every
// atom within reach + skin of each mobile atom, listed once and refreshed only when a pair may
// have come from beyond reach + skin to within reach. Positions are one 3-vector per atom of the cell, continuous
// in time (not wrapped back into the cell), so an atom crossing a cell face forces no refresh.
#pragma once

#include <cmath>
#include <vector>

#include "quorix-lanes.hpp"
#include "quorix.hpp"

class QuorixNeighbourList {
public:
    QuorixNeighbourList(double reach, double skin) : reach_(reach), skin_(skin) {}

    // Lists the partners of every atom flagged in `mobile` at positions x: every image of a fixed
    // atom, and every image of a mobile atom of higher index, so that each pair of mobile atoms
    // comes once. An atom's own images are left out: their pull cancels pairwise. The partners of
    // each mobile atom come in runs of one `group` (one value >= 0 per atom, e.g. its species), fixed
    // atoms first. 1 when the lattice is unusable.
    int build(const QUORIX_CELL* cell, const std::vector<char>& mobile, const std::vector<int>& group,
              double* const* x);
    // True when two mobile atoms together have moved more than the skin since the last build.
    bool needs_refresh(double* const* x) const;
    // build() when needs_refresh(); 0 otherwise.
    int refresh(const QUORIX_CELL* cell, const std::vector<char>& mobile, const std::vector<int>& group,
                double* const* x);
    long builds() const { return builds_; }

    // visit(i, j, r, d_squared, j_mobile) for every mobile atom i and every listed image of atom j
    // within reach of it at positions x, r = image of x[j] - x[i].
    template <class Visit>
    void for_each_pair(double* const* x, Visit visit) const {
        for (size_t n = 0; n < mobile_.size(); n++) {
            const long i = mobile_[n];
            for (size_t u = first_run_[n]; u < first_run_[n + 1]; u++)
                walk(x, i, runs_[u], [&](size_t e, const double* r, double d_squared) {
                    visit(i, partner_[e], r, d_squared, runs_[u].moves);
                });
        }
    }

    // f[i] += r * g(d_squared) for every pair of for_each_pair(), and f[j] -= the same when j is
    // mobile too, where g = factor_for(i, group of j) is looked up once per run of partners and
    // takes kQuorixLanes squared distances at a time. Partners out of reach come too: g must give
    // them zero. Where every partner of a run is at least g.far_from away, g.far(d_squared) is
    // called instead. f is not cleared first.
    template <class FactorFor>
    void add_pair_forces(double* const* x, double** f, FactorFor factor_for) const {
        for (size_t n = 0; n < mobile_.size(); n++) {
            const long i = mobile_[n];
            for (size_t u = first_run_[n]; u < first_run_[n + 1]; u++) {
                const Run& run = runs_[u];
                const auto g = factor_for(i, run.group);
                double shift[3];
                shift_of(x, i, run, shift);
                const double moved = std::sqrt(shift[0] * shift[0] + shift[1] * shift[1] + shift[2] * shift[2]);
                // Partners listed beyond reach + half the skin are still out of reach while the
                // pair has moved less than half the skin.
                const Run part{run.first, moved <= 0.5 * skin_ ? run.near_last : run.last};
                double sum[3];
                if (run.closest - moved >= g.far_from)
                    sum_run(part, shift, [&g](QuorixLanes d_squared) { return g.far(d_squared); }, sum);
                else
                    sum_run(part, shift, g, sum);
                for (int k = 0; k < 3; k++) {
                    f[i][k] += sum[k];
                    if (run.moves) f[run.j][k] -= sum[k];
                }
            }
        }
    }

private:
    // Partners e in [first, last) of one group: fixed atoms, or the images of one mobile atom j.
    // Those from near_last on were listed beyond reach + half the skin; none was listed closer
    // than `closest`.
    struct Run {
        size_t first, last, near_last = 0;
        int group = 0;
        bool moves = false;
        long j = -1;
        double closest = 0;
    };

    // sum = the sum of r * g(d_squared) over the partners of `run` at `shift`.
    template <class Factor>
    void sum_run(const Run& run, const double* shift, const Factor& g, double* sum) const {
        const double *rx = rx_.data(), *ry = ry_.data(), *rz = rz_.data();
        QuorixLanes lanes[3] = {};
        for (size_t e = run.first; e < run.last; e += kQuorixLanes) {
            const QuorixLanes r[3] = {quorix_lanes_load(rx + e) - shift[0], quorix_lanes_load(ry + e) - shift[1],
                                      quorix_lanes_load(rz + e) - shift[2]};
            const QuorixLanes factor = g(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
            for (int k = 0; k < 3; k++) lanes[k] += r[k] * factor;
        }
        for (int k = 0; k < 3; k++) sum[k] = quorix_lanes_sum(lanes[k]);
    }

    // How far atom i has moved since the build, less how far the partners of `run` have.
    void shift_of(double* const* x, long i, const Run& run, double* shift) const {
        for (int k = 0; k < 3; k++) {
            shift[k] = x[i][k] - reference_[3 * i + k];
            if (run.moves) shift[k] -= x[run.j][k] - reference_[3 * run.j + k];
        }
    }

    // visit(e, r, d_squared) for the partners of `run` within reach of mobile atom i at positions x.
    template <class Visit>
    void walk(double* const* x, long i, const Run& run, Visit visit) const {
        const double reach_squared = reach_ * reach_;
        double shift[3];
        shift_of(x, i, run, shift);
        const double* rx = rx_.data();
        const double* ry = ry_.data();
        const double* rz = rz_.data();
        for (size_t e = run.first; e < run.last; e++) {
            const double r[3] = {rx[e] - shift[0], ry[e] - shift[1], rz[e] - shift[2]};
            const double d_squared = r[0] * r[0] + r[1] * r[1] + r[2] * r[2];
            if (d_squared <= reach_squared) visit(e, r, d_squared);
        }
    }

    // One image of a partner before it is filed into its run.
    struct Candidate {
        int group;
        long j;
        double r[3];
    };
    void add_fixed_partners(long i, double* const* x, std::vector<Candidate>& out) const;
    void file_fixed_runs(const std::vector<Candidate>& candidates, int groups);
    void file_mobile_run(std::vector<Candidate>& candidates, int group);
    void append_entry(long j, const double* r);
    void close_run(Run run);
    void bin_fixed_atoms(const QUORIX_CELL* cell, const std::vector<char>& mobile, const std::vector<int>& group,
                         double* const* x);

    double reach_;
    double skin_;
    long builds_ = 0;
    std::vector<long> mobile_;        // indices of the mobile atoms
    std::vector<size_t> first_run_;   // runs of mobile_[n]: first_run_[n] .. first_run_[n + 1] - 1
    std::vector<Run> runs_;
    std::vector<double> rx_, ry_, rz_;  // r = image of j - i at the listed positions, by partner
    std::vector<long> partner_;         // j, by partner
    std::vector<double> reference_;     // positions of all atoms at the last build
    std::vector<size_t> start_, order_;  // scratch of the counting sort

    // The fixed atoms binned by their position in the cell: bins_[b] .. bins_[b + 1] - 1 index
    // binned_; cell positions q (Cartesian, inside the cell) of each.
    struct Binned {
        double q[3];
        long j;
        int group;
    };
    int bin_count_[3] = {1, 1, 1};
    std::vector<size_t> bins_;
    std::vector<Binned> binned_;
    double lattice_[3][3] = {};
    double reciprocal_[3][3] = {};
    double extent_[3] = {};  // reach + skin in cell fractions along each axis
};
