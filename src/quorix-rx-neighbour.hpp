// Neighbour list of the mobile atoms of a cell whose other atoms stay fixed. For each mobile atom
// it lists the images of every fixed atom within reach + skin, refreshed for that atom alone once
// it has moved more than the skin, and the images of every mobile atom of higher index within
// reach + skin, refreshed for all once two mobile atoms together have moved more than the skin.
// Both are found through bins over the cell (the mobile pairs only where the bins around an atom
// leave some out: in small cells every pair is tried under every translation). Positions are one
// 3-vector per atom of the cell, continuous in time (not wrapped back into the cell), so an atom
// crossing a cell face forces no refresh.
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
    // each mobile atom come in runs of one `group` (one value >= 0 per atom, e.g. its species).
    // 1 when the lattice is unusable.
    int build(const QUORIX_CELL* cell, const std::vector<char>& mobile, const std::vector<int>& group,
              double* const* x);
    // Takes the atoms to positions x (after build(), with the same flags and groups: build() again
    // when they change): notes how far each has moved and lists again what they have moved out
    // of. 0, or 1 when an atom is lost.
    int refresh(double* const* x);

    // visit(i, j, r, d_squared, j_mobile) for every mobile atom i and every listed image of atom j
    // within reach of it at the positions of the last build() or refresh(), r = image of x[j] - x[i].
    template <class Visit>
    void for_each_pair(Visit visit) const {
        const double reach_squared = reach_ * reach_;
        for_each_run([&](long i, const Partners& partners, const Run& run, const double* shift, double) {
            for (size_t e = run.first; e < run.last; e++) {
                double r[3] = {partners.rx[e] - shift[0], partners.ry[e] - shift[1], partners.rz[e] - shift[2]};
                if (run.scattered)
                    for (int k = 0; k < 3; k++) r[k] += moving_displacement(partners.partner[e], k);
                const double d_squared = r[0] * r[0] + r[1] * r[1] + r[2] * r[2];
                if (d_squared <= reach_squared) visit(i, partners.partner[e], r, d_squared, run.moves);
            }
        });
    }

    // f[i] += r * g(d_squared) for every pair of for_each_pair(), and f[j] -= the same when j is
    // mobile too, where g = factor_for(i, group of j) is looked up once per run of partners and
    // takes kQuorixLanes squared distances at a time. Partners out of reach come too: g must give
    // them zero. Where every partner of a run is at least g.far_from away, g.far(d_squared) is
    // called instead. f is not cleared first.
    template <class FactorFor>
    void add_pair_forces(double** f, FactorFor factor_for) const {
        for_each_run([&](long i, const Partners& partners, const Run& run, const double* shift, double moved) {
            if (run.closest - moved > reach_) return;
            const auto g = factor_for(i, run.group);
            // Partners listed beyond reach + k quarters of the skin are still out of reach while
            // the pair has moved less than k quarters of the skin.
            const int quarters = static_cast<int>(std::ceil(kNearCuts * moved / skin_));
            const Run part{run.first, quarters < kNearCuts ? run.near_last[std::max(quarters, 1) - 1] : run.last};
            double sum[3];
            if (run.scattered)
                sum_scattered_run(partners, part, shift, f, g, sum);
            else if (run.closest - moved >= g.far_from)
                sum_run(partners, part, shift, [&g](QuorixLanes d_squared) { return g.far(d_squared); }, sum);
            else
                sum_run(partners, part, shift, g, sum);
            for (int k = 0; k < 3; k++) {
                f[i][k] += sum[k];
                if (run.moves && !run.scattered) f[run.j][k] -= sum[k];
            }
        });
    }

private:
    // Partners e in [first, last) of one group: fixed atoms, the images of one mobile atom j, or
    // (scattered) the few images of several mobile atoms. Those from near_last[k] on were listed
    // beyond reach + (k + 1) quarters of the skin; none was listed closer than `closest`.
    static constexpr int kNearCuts = 4;
    struct Run {
        size_t first, last, near_last[kNearCuts - 1] = {};
        int group = 0;
        bool moves = false;
        long j = -1;
        double closest = 0;
        bool scattered = false;
    };

    // Listed partners of one mobile atom, r = image of j - the atom at the positions listed.
    struct Partners {
        std::vector<Run> runs;
        std::vector<double> rx, ry, rz;
        std::vector<long> partner;
        void empty_all();
        void append(long j, const double* r);
    };

    // How far mobile atom j had moved along k at the last refresh since the mobile pairs were listed.
    double moving_displacement(long j, int k) const { return moving_shift_[3 * j + k]; }

    // visit(i, partners, run, shift, moved) for every run of every mobile atom i, where shift is
    // how far i has moved since the run was listed, less how far its partner has (scattered runs:
    // i alone), and `moved` bounds how far the pair has moved apart.
    template <class Visit>
    void for_each_run(Visit visit) const {
        for (size_t n = 0; n < mobile_.size(); n++) {
            const long i = mobile_[n];
            for (const Run& run : fixed_[n].runs) visit(i, fixed_[n], run, &fixed_shift_[3 * n], fixed_moved_[n]);
            const double* own = &moving_shift_[3 * i];
            for (const Run& run : moving_[n].runs) {
                if (run.scattered) {
                    visit(i, moving_[n], run, own, moving_moved_[n] + farthest_);
                    continue;
                }
                double shift[3];
                for (int k = 0; k < 3; k++) shift[k] = own[k] - moving_displacement(run.j, k);
                visit(i, moving_[n], run, shift, length(shift));
            }
        }
    }

    static double length(const double* v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

    // sum = the sum of r * g(d_squared) over the partners of `run` at `shift`.
    template <class Factor>
    static void sum_run(const Partners& partners, const Run& run, const double* shift, const Factor& g, double* sum) {
        const double *rx = partners.rx.data(), *ry = partners.ry.data(), *rz = partners.rz.data();
        QuorixLanes lanes[3] = {};
        for (size_t e = run.first; e < run.last; e += kQuorixLanes) {
            const QuorixLanes r[3] = {quorix_lanes_load(rx + e) - shift[0], quorix_lanes_load(ry + e) - shift[1],
                                      quorix_lanes_load(rz + e) - shift[2]};
            const QuorixLanes factor = g(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
            for (int k = 0; k < 3; k++) lanes[k] += r[k] * factor;
        }
        for (int k = 0; k < 3; k++) sum[k] = quorix_lanes_sum(lanes[k]);
    }

    // The same for a scattered run, shift being that of atom i alone; f[j] -= each pair's term.
    template <class Factor>
    void sum_scattered_run(const Partners& partners, const Run& run, const double* shift, double** f, const Factor& g,
                           double* sum) const {
        static_assert(kQuorixLanes == 2, "one partner per lane");
        const double *rx = partners.rx.data(), *ry = partners.ry.data(), *rz = partners.rz.data();
        QuorixLanes lanes[3] = {};
        for (size_t e = run.first; e < run.last; e += kQuorixLanes) {
            const long j0 = partners.partner[e], j1 = partners.partner[e + 1];
            QuorixLanes r[3] = {quorix_lanes_load(rx + e) - shift[0], quorix_lanes_load(ry + e) - shift[1],
                                quorix_lanes_load(rz + e) - shift[2]};
            for (int k = 0; k < 3; k++)
                r[k] += QuorixLanes{moving_displacement(j0, k), moving_displacement(j1, k)};
            const QuorixLanes factor = g(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
            for (int k = 0; k < 3; k++) {
                const QuorixLanes term = r[k] * factor;
                lanes[k] += term;
                f[j0][k] -= term[0];
                f[j1][k] -= term[1];
            }
        }
        for (int k = 0; k < 3; k++) sum[k] = quorix_lanes_sum(lanes[k]);
    }

    // One image of a partner before it is filed into its run.
    struct Candidate {
        int group;
        long j;
        double r[3];
    };

    // Atoms binned by their position in the cell, `count` bins along each axis: bin b holds
    // atoms[start[b]] .. atoms[start[b + 1] - 1], each with its position q wrapped into the cell
    // (Cartesian).
    struct Binned {
        double q[3];
        long j;
        int group;
    };
    struct Bins {
        int count[3] = {1, 1, 1};  // along each axis
        std::vector<size_t> start;
        std::vector<Binned> atoms;
    };
    // A position: fractional coordinates u, the cell floor(u) it lies in, and p wrapped into the cell.
    struct Wrapped {
        double u[3], whole[3], p[3];
    };
    // An image of mobile atom j found near another, `cell` cells from its bin; the next image
    // found of the same atom (-1: none).
    struct Found {
        long j;
        int cell[3];
        long next;
    };

    Wrapped wrapped(const double* x) const;
    void bin_atoms(const std::vector<long>& atoms, double* const* x, Bins& bins);
    template <class Visit>
    void for_each_binned_near(const Bins& bins, const Wrapped& at, const double* extent, Visit visit) const;
    int list_fixed(size_t n, double* const* x);
    // x[j] - x[i] at its nearest image, and the cells rounded away.
    struct NearestImage {
        double between[3];
        long fraction[3];
    };
    void list_moving(double* const* x);
    void list_all_partners(size_t n, double* const* x);
    void list_binned_partners(size_t n, double* const* x);
    NearestImage nearest_image(double* const* x, long i, long j) const;
    void add_image(long j, const double* between, const double* translation, double range_squared);
    void file_partner(size_t n);
    void list_translations(const QUORIX_CELL* cell, const double* width);
    long translation_at(const long* n) const;
    void file_group_runs(const std::vector<Candidate>& candidates, bool moving, Partners& out);
    void file_mobile_run(std::vector<Candidate>& candidates, Partners& out) const;
    void close_run(Run run, Partners& out) const;

    double reach_;
    double skin_;
    std::vector<char> mobile_flag_;  // of every atom, as built
    std::vector<int> group_;         // of every atom, as built
    int groups_ = 1;
    std::vector<long> mobile_, fixed_atoms_;   // indices of the mobile and of the fixed atoms
    std::vector<Partners> fixed_, moving_;     // by mobile atom n
    std::vector<double> fixed_reference_;      // position of mobile atom n when its fixed partners were listed
    std::vector<double> moving_reference_;     // of every atom when the mobile pairs were listed
    // Measured at the last build() or refresh(): how far mobile atom n has moved since its fixed
    // partners were listed (3 each, and the length), and how far every mobile atom has moved since
    // the mobile pairs were listed (3 per atom of the cell; the length by n; the largest length).
    std::vector<double> fixed_shift_, fixed_moved_, moving_shift_, moving_moved_;
    double farthest_ = 0;
    std::vector<size_t> start_, order_;        // scratch of the counting sort
    std::vector<Candidate> candidates_, scattered_;  // scratch
    std::vector<Found> found_;                        // scratch: images found near one mobile atom
    std::vector<long> found_partners_;                // ... the atoms they are of
    std::vector<long> first_found_, last_found_;      // ... by atom: the first and last of its images (-1: none)

    Bins fixed_bins_, mobile_bins_;
    bool bin_mobile_ = false;  // the mobile pairs are found through bins
    std::vector<double> whole_;  // 3 per binned atom of the cell: the cell floor(u) it was wrapped from
    double lattice_[3][3] = {};
    double reciprocal_[3][3] = {};
    double extent_[3] = {};         // reach + skin in cell fractions along each axis
    double mobile_extent_[3] = {};  // the same, widened by what rounding can change
    std::vector<double> translations_;  // lattice translations that can bring a mobile pair within range, 3 each
    int translation_box_[3] = {};       // translations_ lie within this box of cells ...
    std::vector<long> translation_index_;  // ... at this index each (-1: not listed), cells of the box in order
};
