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

// The box of lattice translations t shorter than `length` that can bring a difference of two
// positions, taken to its nearest image (fractional parts within half a cell), within `range`:
// |t_k| is at most range / width_k + 1/2 along each axis, which bounds the search in long thin cells.
void translation_box(const double* width, double range, double length, int* box) {
    for (int k = 0; k < 3; k++) box[k] = static_cast<int>(std::ceil(std::min(length, range + width[k]) / width[k]));
}

// Bins first .. last of an axis, `cell` cell translations along it.
struct AxisRun {
    int first, last, cell;
};

// Bins low .. high of an axis of `count` bins, wrapped into the cell: runs of bins in one cell.
std::vector<AxisRun> axis_runs(int low, int high, int count) {
    std::vector<AxisRun> runs;
    for (int b = low; b <= high;) {
        const int cell = b >= 0 ? b / count : -((-b + count - 1) / count);
        const int first = b - cell * count;
        const int last = std::min(count - 1, first + (high - b));
        runs.push_back(AxisRun{first, last, cell});
        b += last - first + 1;
    }
    return runs;
}

constexpr double kBinWidth = 2.0;       // A: bins about this wide across the cell
constexpr double kNarrowestCell = 0.5;  // A: flatter cells cannot hold a sensible structure
constexpr double kFar = 1e3;            // A: a padding partner this far away is out of any reach
constexpr double kFarthestAtom = 1e8;   // A: positions beyond are taken for a run gone wrong
constexpr size_t kOwnRun = 8;           // images of a mobile partner that make a run of their own
constexpr double kRounding = 1e-3;      // A: far more than rounding can move an image, even far out

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
        mobile_extent_[k] = (range + kRounding) / rec.width[k];
        fixed_bins_.count[k] = mobile_bins_.count[k] = std::clamp(static_cast<int>(rec.width[k] / kBinWidth), 1, 64);
    }
    // Bins pay for pairs of mobile atoms where the bins around an atom span less than the cell.
    double span = 1;
    for (int k = 0; k < 3; k++) span *= 2 * mobile_extent_[k] + 1.0 / mobile_bins_.count[k];
    bin_mobile_ = span < 1;
    mobile_flag_ = mobile;
    group_ = group;
    groups_ = group.empty() ? 1 : *std::max_element(group.begin(), group.end()) + 1;
    list_translations(cell, rec.width);
    mobile_.clear();
    fixed_atoms_.clear();
    for (long i = 0; i < cell->total; i++) (mobile[i] ? mobile_ : fixed_atoms_).push_back(i);
    whole_.assign(3 * total, 0.0);
    first_found_.assign(total, -1);
    last_found_.assign(total, -1);
    bin_atoms(fixed_atoms_, x, fixed_bins_);

    fixed_.assign(mobile_.size(), Partners{});
    moving_.assign(mobile_.size(), Partners{});
    fixed_reference_.assign(3 * mobile_.size(), 0.0);
    fixed_shift_.assign(3 * mobile_.size(), 0.0);
    fixed_moved_.assign(mobile_.size(), 0.0);
    moving_shift_.assign(3 * total, 0.0);
    moving_moved_.assign(mobile_.size(), 0.0);
    farthest_ = 0;
    for (size_t n = 0; n < mobile_.size(); n++)
        if (list_fixed(n, x)) return 1;
    list_moving(x);
    return 0;
}

// The lattice translations shorter than reach + skin + half the cell diagonal, in the order of the
// image walk, and where each lies in their box.
void QuorixNeighbourList::list_translations(const QUORIX_CELL* cell, const double* width) {
    const double range = reach_ + skin_, length = range + half_diagonal(cell);
    translation_box(width, range, length, translation_box_);
    translations_.clear();
    translation_index_.clear();
    quorix_for_each_image(cell->a, translation_box_, [&](const QuorixImage& image) {
        const double* t = image.shift;
        const bool listed = t[0] * t[0] + t[1] * t[1] + t[2] * t[2] <= length * length;
        translation_index_.push_back(listed ? static_cast<long>(translations_.size() / 3) : -1);
        if (listed) translations_.insert(translations_.end(), t, t + 3);
    });
}

// Index into translations_ of the translation by cells n, -1 when it is not listed.
long QuorixNeighbourList::translation_at(const long* n) const {
    long index = 0;
    for (int k = 0; k < 3; k++) {
        if (n[k] < -translation_box_[k] || n[k] > translation_box_[k]) return -1;
        index = index * (2 * translation_box_[k] + 1) + n[k] + translation_box_[k];
    }
    return translation_index_[index];
}

int QuorixNeighbourList::refresh(double* const* x) {
    // Fixed partners: the atom alone must not have moved beyond the skin.
    for (size_t n = 0; n < mobile_.size(); n++) {
        double* shift = &fixed_shift_[3 * n];
        for (int k = 0; k < 3; k++) shift[k] = x[mobile_[n]][k] - fixed_reference_[3 * n + k];
        if (!(shift[0] * shift[0] + shift[1] * shift[1] + shift[2] * shift[2] <= skin_ * skin_)) {
            if (list_fixed(n, x)) return 1;
            shift[0] = shift[1] = shift[2] = 0;
        }
        fixed_moved_[n] = length(shift);
    }
    // Mobile pairs: no two atoms together.
    double largest = 0, second = 0;
    for (size_t n = 0; n < mobile_.size(); n++) {
        const long i = mobile_[n];
        double* shift = &moving_shift_[3 * i];
        for (int k = 0; k < 3; k++) shift[k] = x[i][k] - moving_reference_[3 * i + k];
        const double moved = moving_moved_[n] = length(shift);
        if (moved > largest) {
            second = largest;
            largest = moved;
        } else if (moved > second) {
            second = moved;
        }
    }
    farthest_ = largest;
    if (largest + second > skin_) list_moving(x);
    return 0;
}

QuorixNeighbourList::Wrapped QuorixNeighbourList::wrapped(const double* x) const {
    Wrapped at;
    for (int k = 0; k < 3; k++) {
        at.u[k] = quorix_vector3_double_dot(reciprocal_[k], x);
        at.whole[k] = std::floor(at.u[k]);
    }
    for (int c = 0; c < 3; c++) {
        at.p[c] = x[c];
        for (int k = 0; k < 3; k++) at.p[c] -= at.whole[k] * lattice_[k][c];
    }
    return at;
}

// Bins `atoms` by their fractional coordinates wrapped into the cell, each bin in the atoms' order.
void QuorixNeighbourList::bin_atoms(const std::vector<long>& atoms, double* const* x, Bins& bins) {
    const size_t bin_total = static_cast<size_t>(bins.count[0]) * bins.count[1] * bins.count[2];
    std::vector<size_t> bin_of(atoms.size());
    std::vector<Binned> binned(atoms.size());
    bins.start.assign(bin_total + 1, 0);
    for (size_t n = 0; n < atoms.size(); n++) {
        const long j = atoms[n];
        const Wrapped at = wrapped(x[j]);
        Binned& atom = binned[n];
        atom.j = j;
        atom.group = group_[j];
        int index[3];
        for (int k = 0; k < 3; k++) {
            atom.q[k] = at.p[k];
            whole_[3 * j + k] = at.whole[k];
            index[k] = std::clamp(static_cast<int>((at.u[k] - at.whole[k]) * bins.count[k]), 0, bins.count[k] - 1);
        }
        bin_of[n] = (static_cast<size_t>(index[0]) * bins.count[1] + index[1]) * bins.count[2] + index[2];
        bins.start[bin_of[n] + 1]++;
    }
    for (size_t b = 0; b < bin_total; b++) bins.start[b + 1] += bins.start[b];
    bins.atoms.resize(atoms.size());
    std::vector<size_t> next(bins.start.begin(), bins.start.end() - 1);
    for (size_t n = 0; n < atoms.size(); n++) bins.atoms[next[bin_of[n]]++] = binned[n];
}

// visit(first, last, shift, cell) for the atoms first .. last - 1 of every run of bins that reach
// `extent` cell fractions each way from a position: their images cell[] cells from their bins lie
// at atom.q + shift.
template <class Visit>
void QuorixNeighbourList::for_each_binned_near(const Bins& bins, const Wrapped& at, const double* extent,
                                               Visit visit) const {
    std::vector<AxisRun> axes[3];
    for (int k = 0; k < 3; k++) {
        const double in_cell = at.u[k] - at.whole[k];
        axes[k] = axis_runs(static_cast<int>(std::floor((in_cell - extent[k]) * bins.count[k])),
                            static_cast<int>(std::floor((in_cell + extent[k]) * bins.count[k])), bins.count[k]);
    }
    for (const AxisRun& run0 : axes[0])
        for (int b0 = run0.first; b0 <= run0.last; b0++)
            for (const AxisRun& run1 : axes[1])
                for (int b1 = run1.first; b1 <= run1.last; b1++) {
                    double shift01[3];
                    for (int c = 0; c < 3; c++)
                        shift01[c] = run0.cell * lattice_[0][c] + run1.cell * lattice_[1][c] - at.p[c];
                    const size_t row = (static_cast<size_t>(b0) * bins.count[1] + b1) * bins.count[2];
                    // The bins of a run along the last axis hold their atoms side by side.
                    for (const AxisRun& run2 : axes[2]) {
                        double shift[3];
                        for (int c = 0; c < 3; c++) shift[c] = shift01[c] + run2.cell * lattice_[2][c];
                        const int cell[3] = {run0.cell, run1.cell, run2.cell};
                        const size_t first = bins.start[row + run2.first], last = bins.start[row + run2.last + 1];
                        if (first < last) visit(&bins.atoms[first], bins.atoms.data() + last, shift, cell);
                    }
                }
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
    candidates_.clear();
    auto near = [&](const Binned* first, const Binned* last, const double* shift, const int*) {
        for (const Binned* atom = first; atom != last; atom++) {
            const double r[3] = {atom->q[0] + shift[0], atom->q[1] + shift[1], atom->q[2] + shift[2]};
            if (r[0] * r[0] + r[1] * r[1] + r[2] * r[2] <= range_squared)
                candidates_.push_back(Candidate{atom->group, atom->j, {r[0], r[1], r[2]}});
        }
    };
    for_each_binned_near(fixed_bins_, wrapped(x[i]), extent_, near);
    fixed_[n].empty_all();
    file_group_runs(candidates_, false, fixed_[n]);
    for (int k = 0; k < 3; k++) fixed_reference_[3 * n + k] = x[i][k];
    return 0;
}

// The mobile partners of every mobile atom. Displacements are measured from here on.
void QuorixNeighbourList::list_moving(double* const* x) {
    moving_reference_.assign(3 * mobile_flag_.size(), 0.0);
    for (const long i : mobile_)
        for (int k = 0; k < 3; k++) moving_reference_[3 * i + k] = x[i][k];
    std::fill(moving_shift_.begin(), moving_shift_.end(), 0.0);
    std::fill(moving_moved_.begin(), moving_moved_.end(), 0.0);
    farthest_ = 0;
    if (bin_mobile_) bin_atoms(mobile_, x, mobile_bins_);
    for (size_t n = 0; n < mobile_.size(); n++) {
        moving_[n].empty_all();
        scattered_.clear();
        if (bin_mobile_)
            list_binned_partners(n, x);
        else
            list_all_partners(n, x);
        file_group_runs(scattered_, true, moving_[n]);
    }
}

// The mobile partners of mobile atom n are, of every mobile atom j of higher index, the nearest
// image and then, in their order, the listed translations that keep it in range. This tries every
// translation on every such j.
void QuorixNeighbourList::list_all_partners(size_t n, double* const* x) {
    const double range_squared = (reach_ + skin_) * (reach_ + skin_);
    for (size_t m = n + 1; m < mobile_.size(); m++) {
        const long j = mobile_[m];
        const NearestImage near = nearest_image(x, mobile_[n], j);
        candidates_.clear();
        for (size_t t = 0; t < translations_.size(); t += 3)
            add_image(j, near.between, &translations_[t], range_squared);
        file_partner(n);
    }
}

// The same through the bins of the mobile atoms, which pass over the atoms that no translation
// brings near: each image of j found within range (give or take rounding) names its translation.
void QuorixNeighbourList::list_binned_partners(size_t n, double* const* x) {
    const long i = mobile_[n];
    const Wrapped at = wrapped(x[i]);
    const double range_squared = (reach_ + skin_) * (reach_ + skin_);
    const double wide_squared = (reach_ + skin_ + kRounding) * (reach_ + skin_ + kRounding);
    // Every atom met is written down but kept only when it is a partner in range: a branch here
    // would go either way at random.
    size_t kept = 0;
    auto near = [&](const Binned* first, const Binned* last, const double* shift, const int* cell) {
        if (found_.size() < kept + (last - first)) found_.resize(2 * (kept + (last - first)));
        for (const Binned* atom = first; atom != last; atom++) {
            const double r[3] = {atom->q[0] + shift[0], atom->q[1] + shift[1], atom->q[2] + shift[2]};
            found_[kept] = Found{atom->j, {cell[0], cell[1], cell[2]}, -1};
            kept += (atom->j > i) & (r[0] * r[0] + r[1] * r[1] + r[2] * r[2] <= wide_squared);
        }
    };
    for_each_binned_near(mobile_bins_, at, mobile_extent_, near);
    // The images of each j are chained in the order the bins met them, which is the order of their
    // cells and so of the translations.
    found_partners_.clear();
    for (size_t f = 0; f < kept; f++) {
        const long j = found_[f].j;
        if (first_found_[j] < 0) {
            first_found_[j] = static_cast<long>(f);
            found_partners_.push_back(j);
        } else {
            found_[last_found_[j]].next = static_cast<long>(f);
        }
        last_found_[j] = static_cast<long>(f);
    }
    std::sort(found_partners_.begin(), found_partners_.end());
    for (const long j : found_partners_) {
        const NearestImage near = nearest_image(x, i, j);
        // The image `cell` cells from j's bin is the nearest one + the translation by cell + offset.
        long offset[3];
        for (int k = 0; k < 3; k++) offset[k] = static_cast<long>(at.whole[k] - whole_[3 * j + k]) + near.fraction[k];
        candidates_.clear();
        for (long f = first_found_[j]; f >= 0; f = found_[f].next) {
            const long cells[3] = {found_[f].cell[0] + offset[0], found_[f].cell[1] + offset[1],
                                   found_[f].cell[2] + offset[2]};
            const long t = translation_at(cells);
            if (t >= 0) add_image(j, near.between, &translations_[3 * t], range_squared);
        }
        first_found_[j] = -1;
        file_partner(n);
    }
}

// x[j] - x[i] taken to its nearest image by rounding its fractional coordinates, and the cells
// rounded away.
QuorixNeighbourList::NearestImage QuorixNeighbourList::nearest_image(double* const* x, long i, long j) const {
    NearestImage near;
    for (int k = 0; k < 3; k++) near.between[k] = x[j][k] - x[i][k];
    double fraction[3];
    for (int k = 0; k < 3; k++) fraction[k] = std::floor(quorix_vector3_double_dot(reciprocal_[k], near.between) + 0.5);
    for (int k = 0; k < 3; k++)
        for (int c = 0; c < 3; c++) near.between[k] -= fraction[c] * lattice_[c][k];
    for (int k = 0; k < 3; k++) near.fraction[k] = static_cast<long>(fraction[k]);
    return near;
}

// Adds the image of mobile atom j at `between` + `translation` to the candidates when in range.
void QuorixNeighbourList::add_image(long j, const double* between, const double* translation, double range_squared) {
    const Candidate c{group_[j], j,
                      {between[0] + translation[0], between[1] + translation[1], between[2] + translation[2]}};
    if (c.r[0] * c.r[0] + c.r[1] * c.r[1] + c.r[2] * c.r[2] <= range_squared) candidates_.push_back(c);
}

// Files the candidate images of one partner of mobile atom n: many make a run of their own, a few
// join the runs shared by the partners with few images, which spares the force sum a run for
// every one or two pairs in large cells.
void QuorixNeighbourList::file_partner(size_t n) {
    if (candidates_.size() >= kOwnRun)
        file_mobile_run(candidates_, moving_[n]);
    else
        scattered_.insert(scattered_.end(), candidates_.begin(), candidates_.end());
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
