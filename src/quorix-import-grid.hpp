// Buckets of atoms by fractional position, periodic in every direction, so that the atoms
// near a position are found without comparing against every atom.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "quorix-la.hpp"

// How far in fractional coordinate k a Cartesian vector shorter than `distance` can reach in the
// lattice of the rows of `a`: distance over the spacing of the lattice planes across direction k,
// a trace more so that rounding loses no partner. Unbounded where the lattice or the distance
// gives no finite reach.
inline std::array<double, 3> quorix_fractional_reach(const double a[3][3], double distance) {
    double b[3][3], width[3];
    quorix_lattice_reciprocal(a, b, width);
    std::array<double, 3> reach;
    for (int k = 0; k < 3; k++) {
        reach[k] = distance / width[k] * (1.0 + 1e-9) + 1e-12;
        if (!(reach[k] < HUGE_VAL)) reach[k] = HUGE_VAL;
    }
    return reach;
}

// Every stored atom whose fractional coordinates lie within reach[k] of a position along each
// direction k, modulo 1, is visited for that position (others may be visited too). Bins are
// at least twice the reach wide, so the partner sits in the same bin or, when the position is
// near a face of its bin, in the periodically adjacent one. Positions with non-finite
// coordinates are neither stored nor looked up. The capacity, the atoms expected, sets the bin
// count only: memory grows with the indices stored.
class PositionGrid {
public:
    PositionGrid(long capacity, const double reach[3]) {
        const double per_direction = std::cbrt(static_cast<double>(capacity));
        for (int k = 0; k < 3; k++) {
            const double widest = reach[k] > 0.0 ? 0.5 / reach[k] : kMaxBins;
            bins_[k] = static_cast<int>(std::clamp(std::min(per_direction, widest), 1.0, double(kMaxBins)));
            margin_[k] = std::min(2.0 * reach[k] * bins_[k], 1.0);  // twice the reach, in bin widths
        }
        head_.assign(static_cast<size_t>(bins_[0]) * bins_[1] * bins_[2], -1);
    }

    // Reaching as far as a Cartesian `distance` in the lattice of the rows of `a`: every stored
    // atom whose fractional offset, each component wrapped into [-1/2, 1/2], is a vector shorter
    // than `distance` is visited.
    PositionGrid(long capacity, const double a[3][3], double distance)
        : PositionGrid(capacity, quorix_fractional_reach(a, distance).data()) {}

    void insert(long index, const double* x_f) {
        if (!finite(x_f)) return;
        if (static_cast<size_t>(index) >= next_.size()) next_.resize(static_cast<size_t>(index) + 1, -1);
        const size_t bin = flat(bin_of(0, x_f[0]), bin_of(1, x_f[1]), bin_of(2, x_f[2]));
        next_[index] = head_[bin];
        head_[bin] = index;
    }

    // Calls visit(index) for the stored atoms in the bins around x_f; visit returns false to stop.
    template <class Visit>
    void visit_near(const double* x_f, Visit&& visit) const {
        if (!finite(x_f)) return;
        int around[3][3];
        int count[3];
        for (int k = 0; k < 3; k++) count[k] = bins_near(k, x_f[k], around[k]);
        for (int i = 0; i < count[0]; i++)
            for (int j = 0; j < count[1]; j++)
                for (int l = 0; l < count[2]; l++)
                    for (long index = head_[flat(around[0][i], around[1][j], around[2][l])]; index >= 0;
                         index = next_[index])
                        if (!visit(index)) return;
    }

    // Whether match(index) holds for one of the stored atoms visited for x_f.
    template <class Match>
    bool any_near(const double* x_f, Match&& match) const {
        bool found = false;
        visit_near(x_f, [&](long index) { return !(found = match(index)); });
        return found;
    }

    // The lowest index visited for x_f for which accept(index) holds, or -1.
    template <class Accept>
    long lowest_near(const double* x_f, Accept&& accept) const {
        long found = -1;
        visit_near(x_f, [&](long index) {
            if ((found < 0 || index < found) && accept(index)) found = index;
            return true;
        });
        return found;
    }

private:
    static constexpr int kMaxBins = 100;

    static bool finite(const double* x_f) {
        return std::isfinite(x_f[0]) && std::isfinite(x_f[1]) && std::isfinite(x_f[2]);
    }
    double scaled(int k, double v) const { return (v - std::floor(v)) * bins_[k]; }
    int bin_of(int k, double v) const { return std::min(static_cast<int>(scaled(k, v)), bins_[k] - 1); }
    // The bin of v along k, and its neighbours (modulo the bin count) when v lies within twice
    // the reach of the shared face; each bin once.
    int bins_near(int k, double v, int* out) const {
        const int b = bin_of(k, v);
        const double inside = scaled(k, v) - b;
        int count = 0;
        auto add = [&](int n) {
            n = (n + bins_[k]) % bins_[k];
            if (std::find(out, out + count, n) == out + count) out[count++] = n;
        };
        add(b);
        if (inside < margin_[k]) add(b - 1);
        if (1.0 - inside < margin_[k]) add(b + 1);
        return count;
    }
    size_t flat(int i, int j, int k) const { return (static_cast<size_t>(i) * bins_[1] + j) * bins_[2] + k; }

    int bins_[3];
    double margin_[3];
    std::vector<long> head_;
    std::vector<long> next_;
};
