// Neighbour list of the mobile atoms in a fixed framework.
#include "quorix-rx-neighbour.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "quorix-images.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-la.hpp"

namespace {

// Reciprocal vectors b_k (a_k . b_l = delta_kl) and the widths of the cell across each pair of faces.
struct Reciprocal {
    double b[3][3];
    double width[3];
};

Reciprocal reciprocal_of(const QUORIX_CELL* cell) {
    Reciprocal rec{};
    quorix_lattice_reciprocal(cell->a, rec.b, rec.width);
    return rec;
}

struct Translation {
    double v[3];
};

// Every lattice translation t shorter than `length` that can bring a difference of two positions,
// taken to its nearest image (fractional parts within half a cell), within `range`: |t_k| is at
// most range / width_k + 1/2 along each axis, which bounds the search in long thin cells.
std::vector<Translation> translations_within(const QUORIX_CELL* cell, const Reciprocal& rec, double range,
                                             double length) {
    int images[3];
    for (int k = 0; k < 3; k++)
        images[k] = static_cast<int>(std::ceil(std::min(length, range + rec.width[k]) / rec.width[k]));
    std::vector<Translation> translations;
    quorix_for_each_image(cell->a, images, [&](const QuorixImage& image) {
        Translation t;
        for (int k = 0; k < 3; k++) t.v[k] = image.shift[k];
        if (t.v[0] * t.v[0] + t.v[1] * t.v[1] + t.v[2] * t.v[2] <= length * length) translations.push_back(t);
    });
    return translations;
}

// The bins visited along one axis: each bin index in the cell and the cell translation it lies in.
struct AxisBins {
    std::vector<int> bin;
    std::vector<int> cell;
};

// Bins low .. high of an axis of `count` bins, wrapped into the cell.
AxisBins axis_bins(int low, int high, int count) {
    AxisBins axis;
    int cell = low >= 0 ? low / count : -((-low + count - 1) / count);
    int bin = low - cell * count;
    for (int b = low; b <= high; b++) {
        axis.bin.push_back(bin);
        axis.cell.push_back(cell);
        if (++bin == count) {
            bin = 0;
            cell++;
        }
    }
    return axis;
}

constexpr double kBinWidth = 2.0;       // A: bins about this wide across the cell
constexpr double kNarrowestCell = 0.5;  // A: flatter cells cannot hold a sensible structure
constexpr double kFar = 1e3;            // A: a padding partner this far away is out of any reach
constexpr double kFarthestAtom = 1e8;   // A: positions beyond are taken for a run gone wrong
constexpr size_t kOwnRun = 8;           // images of a mobile partner that make a run of their own

double squared_distance(const double* a, const double* b) {
    return (a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]);
}

// Half the longest diagonal of the cell: the longest difference of two positions taken to its
// nearest image by rounding their fractional coordinates.
double half_diagonal(const QUORIX_CELL* cell) {
    double half = 0;
    for (int diagonal = 0; diagonal < 4; diagonal++) {
        double v[3];
        for (int k = 0; k < 3; k++)
            v[k] = cell->a[0][k] + (diagonal & 1 ? -1 : 1) * cell->a[1][k] + (diagonal & 2 ? -1 : 1) * cell->a[2][k];
        half = std::max(half, 0.5 * quorix_vector3_double_length(v));
    }
    return half;
}

}  // namespace

void QuorixNeighbourList::Partners::empty_all() {
    runs.clear();
    rx.clear();
    ry.clear();
    rz.clear();
    partner.clear();
}

void QuorixNeighbourList::Partners::append(long j, const double* r) {
    rx.push_back(r[0]);
    ry.push_back(r[1]);
    rz.push_back(r[2]);
    partner.push_back(j);
}

int QuorixNeighbourList::build(const QUORIX_CELL* cell, const std::vector<char>& mobile, const std::vector<int>& group,
                               double* const* x) {
    if (!quorix_cell_lattice_usable(cell)) return 1;
    const size_t total = static_cast<size_t>(cell->total);
    if (mobile.size() != total || group.size() != total ||
        (total > 0 && *std::min_element(group.begin(), group.end()) < 0)) {
        std::fprintf(stderr, "Error: the neighbour list needs a flag and a group >= 0 for every atom.\n");
        return 1;
    }
    const Reciprocal rec = reciprocal_of(cell);
    for (int k = 0; k < 3; k++) {
        if (!(rec.width[k] >= kNarrowestCell) || !std::isfinite(rec.width[k])) {
            std::fprintf(stderr, "Error: the cell is %f A thick across faces %d, too thin for the pair sums.\n",
                         rec.width[k], k);
            return 1;
        }
    }
    const double range = reach_ + skin_;
    for (int k = 0; k < 3; k++) {
        for (int c = 0; c < 3; c++) {
            lattice_[k][c] = cell->a[k][c];
            reciprocal_[k][c] = rec.b[k][c];
        }
        extent_[k] = range / rec.width[k];
        bin_count_[k] = std::clamp(static_cast<int>(rec.width[k] / kBinWidth), 1, 64);
    }
    mobile_flag_ = mobile;
    group_ = group;
    groups_ = group.empty() ? 1 : *std::max_element(group.begin(), group.end()) + 1;
    translations_.clear();
    for (const Translation& t : translations_within(cell, rec, range, range + half_diagonal(cell)))
        translations_.insert(translations_.end(), t.v, t.v + 3);
    bin_fixed_atoms(x);

    mobile_.clear();
    for (long i = 0; i < cell->total; i++)
        if (mobile[i]) mobile_.push_back(i);
    fixed_.assign(mobile_.size(), Partners{});
    moving_.assign(mobile_.size(), Partners{});
    fixed_reference_.assign(3 * mobile_.size(), 0.0);
    for (size_t n = 0; n < mobile_.size(); n++)
        if (list_fixed(n, x)) return 1;
    list_moving(x);
    return 0;
}

int QuorixNeighbourList::refresh(const QUORIX_CELL* cell, const std::vector<char>& mobile,
                                 const std::vector<int>& group, double* const* x) {
    if (mobile != mobile_flag_ || group != group_) return build(cell, mobile, group, x);
    // Fixed partners: the atom alone must not have moved beyond the skin.
    for (size_t n = 0; n < mobile_.size(); n++)
        if (!(squared_distance(x[mobile_[n]], &fixed_reference_[3 * n]) <= skin_ * skin_) && list_fixed(n, x))
            return 1;
    // Mobile pairs: no two atoms together.
    double largest = 0, second = 0;
    for (const long i : mobile_) {
        const double moved = std::sqrt(squared_distance(x[i], &moving_reference_[3 * i]));
        if (moved > largest) {
            second = largest;
            largest = moved;
        } else if (moved > second) {
            second = moved;
        }
    }
    if (largest + second > skin_) list_moving(x);
    return 0;
}

// Bins the fixed atoms by their fractional coordinates wrapped into the cell.
void QuorixNeighbourList::bin_fixed_atoms(double* const* x) {
    const long total = static_cast<long>(mobile_flag_.size());
    const size_t bin_total = static_cast<size_t>(bin_count_[0]) * bin_count_[1] * bin_count_[2];
    std::vector<size_t> bin_of(total, bin_total);
    std::vector<Binned> atoms(total);
    bins_.assign(bin_total + 1, 0);
    for (long j = 0; j < total; j++) {
        if (mobile_flag_[j]) continue;
        Binned& atom = atoms[j];
        atom.j = j;
        atom.group = group_[j];
        int index[3];
        for (int c = 0; c < 3; c++) atom.q[c] = x[j][c];
        for (int k = 0; k < 3; k++) {
            const double u = quorix_vector3_double_dot(reciprocal_[k], x[j]);
            const double whole = std::floor(u);
            for (int c = 0; c < 3; c++) atom.q[c] -= whole * lattice_[k][c];
            index[k] = std::clamp(static_cast<int>((u - whole) * bin_count_[k]), 0, bin_count_[k] - 1);
        }
        bin_of[j] = (static_cast<size_t>(index[0]) * bin_count_[1] + index[1]) * bin_count_[2] + index[2];
        bins_[bin_of[j] + 1]++;
    }
    for (size_t b = 0; b < bin_total; b++) bins_[b + 1] += bins_[b];
    binned_.resize(bins_[bin_total]);
    std::vector<size_t> next(bins_.begin(), bins_.end() - 1);
    for (long j = 0; j < total; j++)
        if (bin_of[j] < bin_total) binned_[next[bin_of[j]]++] = atoms[j];
}

// The fixed partners of mobile atom n, through the bins that reach `extent_` cell fractions
// each way from it; 1 when its position is not a number or absurdly far.
int QuorixNeighbourList::list_fixed(size_t n, double* const* x) {
    const long i = mobile_[n];
    for (int k = 0; k < 3; k++) {
        if (!(std::fabs(x[i][k]) < kFarthestAtom)) {
            std::fprintf(stderr, "Error: atom %ld is at %g A, far beyond any cell.\n", i, x[i][k]);
            return 1;
        }
    }
    const double range_squared = (reach_ + skin_) * (reach_ + skin_);
    // Atom i in the cell: p = x - floor(u) . a with u its fractional coordinates.
    double u[3], p[3];
    for (int k = 0; k < 3; k++) u[k] = quorix_vector3_double_dot(reciprocal_[k], x[i]);
    for (int c = 0; c < 3; c++) {
        p[c] = x[i][c];
        for (int k = 0; k < 3; k++) p[c] -= std::floor(u[k]) * lattice_[k][c];
    }
    AxisBins axes[3];
    for (int k = 0; k < 3; k++) {
        const double in_cell = u[k] - std::floor(u[k]);
        axes[k] = axis_bins(static_cast<int>(std::floor((in_cell - extent_[k]) * bin_count_[k])),
                            static_cast<int>(std::floor((in_cell + extent_[k]) * bin_count_[k])), bin_count_[k]);
    }
    candidates_.clear();
    for (size_t n0 = 0; n0 < axes[0].bin.size(); n0++)
        for (size_t n1 = 0; n1 < axes[1].bin.size(); n1++) {
            double shift01[3];
            for (int c = 0; c < 3; c++)
                shift01[c] = axes[0].cell[n0] * lattice_[0][c] + axes[1].cell[n1] * lattice_[1][c] - p[c];
            const size_t row = (static_cast<size_t>(axes[0].bin[n0]) * bin_count_[1] + axes[1].bin[n1]) * bin_count_[2];
            for (size_t n2 = 0; n2 < axes[2].bin.size(); n2++) {
                double shift[3];
                for (int c = 0; c < 3; c++) shift[c] = shift01[c] + axes[2].cell[n2] * lattice_[2][c];
                const size_t bin = row + axes[2].bin[n2];
                for (size_t b = bins_[bin]; b < bins_[bin + 1]; b++) {
                    const Binned& atom = binned_[b];
                    const double r[3] = {atom.q[0] + shift[0], atom.q[1] + shift[1], atom.q[2] + shift[2]};
                    if (r[0] * r[0] + r[1] * r[1] + r[2] * r[2] <= range_squared)
                        candidates_.push_back(Candidate{atom.group, atom.j, {r[0], r[1], r[2]}});
                }
            }
        }
    fixed_[n].empty_all();
    file_group_runs(candidates_, false, fixed_[n]);
    for (int k = 0; k < 3; k++) fixed_reference_[3 * n + k] = x[i][k];
    return 0;
}

// The mobile partners of every mobile atom: the nearest image of each, then every translation
// that keeps it in range. A partner with many images in range has a run of its own; the others
// share runs, which spares the force sum a run for every one or two pairs in large cells.
void QuorixNeighbourList::list_moving(double* const* x) {
    const double range_squared = (reach_ + skin_) * (reach_ + skin_);
    moving_reference_.assign(3 * mobile_flag_.size(), 0.0);
    for (const long i : mobile_)
        for (int k = 0; k < 3; k++) moving_reference_[3 * i + k] = x[i][k];
    for (size_t n = 0; n < mobile_.size(); n++) {
        const long i = mobile_[n];
        moving_[n].empty_all();
        scattered_.clear();
        for (size_t m = n + 1; m < mobile_.size(); m++) {
            const long j = mobile_[m];
            double between[3];
            for (int k = 0; k < 3; k++) between[k] = x[j][k] - x[i][k];
            double fraction[3];
            for (int k = 0; k < 3; k++)
                fraction[k] = std::floor(quorix_vector3_double_dot(reciprocal_[k], between) + 0.5);
            for (int k = 0; k < 3; k++)
                for (int c = 0; c < 3; c++) between[k] -= fraction[c] * lattice_[c][k];
            candidates_.clear();
            for (size_t t = 0; t < translations_.size(); t += 3) {
                const Candidate c{group_[j], j, {between[0] + translations_[t], between[1] + translations_[t + 1],
                                                 between[2] + translations_[t + 2]}};
                if (c.r[0] * c.r[0] + c.r[1] * c.r[1] + c.r[2] * c.r[2] <= range_squared) candidates_.push_back(c);
            }
            if (candidates_.size() >= kOwnRun)
                file_mobile_run(candidates_, moving_[n]);
            else
                scattered_.insert(scattered_.end(), candidates_.begin(), candidates_.end());
        }
        file_group_runs(scattered_, true, moving_[n]);
    }
}

// Files partners of one mobile atom as runs of one group each (fixed atoms, or the few images of
// several mobile atoms), every run in rising distance (by whole square Angstroms: a counting
// sort), so that the pair terms a force sum looks up next are mostly those it looked up last.
void QuorixNeighbourList::file_group_runs(const std::vector<Candidate>& candidates, bool moving, Partners& out) {
    const int shells = static_cast<int>((reach_ + skin_) * (reach_ + skin_)) + 1;
    auto key = [shells](const Candidate& c) {
        const double d_squared = c.r[0] * c.r[0] + c.r[1] * c.r[1] + c.r[2] * c.r[2];
        return c.group * shells + std::min(static_cast<int>(d_squared), shells - 1);
    };
    start_.assign(static_cast<size_t>(groups_) * shells + 1, 0);
    for (const Candidate& c : candidates) start_[key(c) + 1]++;
    for (size_t k = 1; k < start_.size(); k++) start_[k] += start_[k - 1];
    std::vector<size_t> group_start(groups_ + 1);
    for (int g = 0; g <= groups_; g++) group_start[g] = start_[g * shells];
    order_.resize(candidates.size());
    for (size_t n = 0; n < candidates.size(); n++) order_[start_[key(candidates[n])]++] = n;
    for (int g = 0; g < groups_; g++) {
        if (group_start[g] == group_start[g + 1]) continue;
        Run run{out.rx.size(), 0, {}, g, moving, -1};
        run.scattered = moving;
        for (size_t n = group_start[g]; n < group_start[g + 1]; n++)
            out.append(candidates[order_[n]].j, candidates[order_[n]].r);
        close_run(run, out);
    }
}

// Files the images of one mobile partner of a mobile atom as a run in rising distance.
void QuorixNeighbourList::file_mobile_run(std::vector<Candidate>& candidates, Partners& out) const {
    if (candidates.empty()) return;
    auto d_squared = [](const Candidate& c) { return c.r[0] * c.r[0] + c.r[1] * c.r[1] + c.r[2] * c.r[2]; };
    std::sort(candidates.begin(), candidates.end(),
              [&](const Candidate& a, const Candidate& b) { return d_squared(a) < d_squared(b); });
    Run run{out.rx.size(), 0, {}, candidates[0].group, true, candidates[0].j};
    for (const Candidate& c : candidates) out.append(c.j, c.r);
    close_run(run, out);
}

// Closes a run, padded with partners out of reach to a multiple of kQuorixLanes for the force sum;
// notes its closest partner and where its partners beyond reach + k quarters of the skin begin
// (runs are in rising distance by whole square Angstroms, so from the first such square on,
// rounded up to whole lanes).
void QuorixNeighbourList::close_run(Run run, Partners& out) const {
    const double far[3] = {kFar, kFar, kFar};
    while ((out.rx.size() - run.first) % kQuorixLanes) out.append(out.partner.back(), far);
    run.last = out.rx.size();
    auto d_squared = [&out](size_t e) { return out.rx[e] * out.rx[e] + out.ry[e] * out.ry[e] + out.rz[e] * out.rz[e]; };
    double closest_squared = kFar * kFar;
    for (size_t e = run.first; e < run.last; e++) closest_squared = std::min(closest_squared, d_squared(e));
    run.closest = std::sqrt(closest_squared);
    for (int k = 0; k + 1 < kNearCuts; k++) {
        const double near = reach_ + (k + 1) * skin_ / kNearCuts;
        const double near_squares = std::floor(near * near) + 1;
        size_t& cut = run.near_last[k];
        cut = run.first;
        while (cut < run.last && d_squared(cut) < near_squares) cut++;
        while ((cut - run.first) % kQuorixLanes) cut++;
    }
    out.runs.push_back(run);
}
