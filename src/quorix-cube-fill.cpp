// Filling a landscape: the operations in grid form, the orbits of the voxels, and the threads
// that compute the first voxel of every orbit.
#include "quorix-cube-fill.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "quorix-cube-blocks.hpp"
#include "quorix-la.hpp"
#include "quorix-threads.hpp"

namespace quorix_landscape {

namespace {

constexpr double kUnfilled = 1e-7;       // a voxel this close to 0 is still to be computed

// The operations in grid form, y = r_i x + t_i brought into the grid. The fill writes every voxel
// once or more, all over the grid, and is most of the time of a high-symmetry landscape, so the
// rows of the cube are looked up directly and the wrap into the grid is a table look-up rather
// than a division or a branch.
class GridImages {
public:
    GridImages(QUORIX_CUBE* cube, const QUORIX_SYMMETRY* symmetry) : cube_(cube) {
        for (int c = 0; c < symmetry->total; c++) {
            const QUORIX_CARD& card = symmetry->card[c];
            Operation op{};
            for (int i = 0; i < 3; i++) {
                for (int j = 0; j < 3; j++) op.r[i][j] = card.r_i[i][j];
                op.t[i] = card.t_i[i];
            }
            operations_.push_back(op);
        }
        images_.resize(operations_.size());
        rows_.reserve(cube->n[0] * cube->n[1]);
        for (long i = 0; i < cube->n[0]; i++)
            for (long j = 0; j < cube->n[1]; j++) rows_.push_back(cube->en[i][j]);
        for (int i = 0; i < 3; i++) {
            const long n = cube->n[i];
            wrapped_[i].resize(2 * kWrapReach * n);
            for (long v = -kWrapReach * n; v < kWrapReach * n; v++)
                wrapped_[i][v + kWrapReach * n] = quorix_mod_long(v, n);
        }
    }

    // Calls reach(row, column) with the image of voxel x under every operation in turn; `row`
    // counts the rows of the cube, first axis slowest. The images lie all over the grid: all are
    // found first and the memory that address(row, column) gives for each fetched ahead, so that
    // the reads overlap instead of waiting on one another.
    template <class Address, class Reach>
    void for_each_image(const long x[3], Address&& address, Reach&& reach) {
        for (size_t k = 0; k < operations_.size(); k++) {
            const Operation& op = operations_[k];
            long y[3];
            for (int i = 0; i < 3; i++)
                y[i] = wrap(op.r[i][0] * x[0] + op.r[i][1] * x[1] + op.r[i][2] * x[2] + op.t[i], i);
            images_[k] = {y[0] * cube_->n[1] + y[1], y[2]};
            __builtin_prefetch(address(images_[k].row, images_[k].column), 1);
        }
        for (const Image& image : images_) reach(image.row, image.column);
    }

    // Gives `energy` to every image of voxel x that holds no positive value yet.
    void fill(const long x[3], double energy) {
        for_each_image(
            x, [&](long row, long column) { return &rows_[row][column]; },
            [&](long row, long column) {
                double& value = rows_[row][column];
                if (value <= kUnfilled) value = energy;
            });
    }

    // The value of the voxel at visiting position `index`.
    double& at(long index) const { return rows_[index / cube_->n[2]][index % cube_->n[2]]; }

private:
    struct Operation {
        long r[3][3];
        long t[3];
    };
    struct Image {
        long row, column;
    };

    // Rotation entries are -1, 0 or 1 and translations at most one grid length, so images fall
    // within four grid lengths of the grid; anything else takes the division.
    static constexpr long kWrapReach = 4;

    long wrap(long v, int i) const {
        const long index = v + kWrapReach * cube_->n[i];
        if (index >= 0 && index < static_cast<long>(wrapped_[i].size())) return wrapped_[i][index];
        return quorix_mod_long(v, cube_->n[i]);
    }

    QUORIX_CUBE* cube_;
    std::vector<Operation> operations_;
    std::vector<Image> images_;  // of the voxel being filled
    std::vector<double*> rows_;
    std::vector<long> wrapped_[3];
};

void add_work(QuorixLandscapeWork& total, const QuorixLandscapeWork& part) {
    total.voxels += part.voxels;
    total.distances += part.distances;
    total.terms += part.terms;
}

// Grid indices of the voxel at position `index` of the visiting order (last axis fastest).
void voxel_of(const QUORIX_CUBE* cube, long index, long x[3]) {
    x[2] = index % cube->n[2];
    x[1] = index / cube->n[2] % cube->n[1];
    x[0] = index / (cube->n[2] * cube->n[1]);
}

// The orbits as the visit meets them, found without energies: for each voxel, by visiting
// position, the first voxel of the orbit that reached it first (kNone for none yet). A first
// voxel is one the visit finds unreached; it is its own first voxel.
struct Orbits {
    static constexpr uint32_t kNone = UINT32_MAX;
    std::vector<uint32_t> first;
    long count = 0;         // first voxels
    bool disjoint = true;   // every voxel reached from one orbit only, every first voxel by itself

    bool is_first(long index) const { return first[index] == static_cast<uint32_t>(index); }
};

Orbits find_orbits(const QUORIX_CUBE* cube, GridImages& images) {
    const long columns = cube->n[2];
    Orbits orbits;
    orbits.first.assign(cube->n[0] * cube->n[1] * columns, Orbits::kNone);
    long x[3], index = 0;
    for (x[0] = 0; x[0] < cube->n[0]; x[0]++)
        for (x[1] = 0; x[1] < cube->n[1]; x[1]++)
            for (x[2] = 0; x[2] < columns; x[2]++, index++) {
                if (orbits.first[index] != Orbits::kNone) continue;
                const auto leader = static_cast<uint32_t>(index);
                orbits.first[index] = leader;
                orbits.count++;
                bool reached_itself = false;
                const auto slot = [&](long row, long column) { return &orbits.first[row * columns + column]; };
                images.for_each_image(x, slot, [&](long row, long column) {
                    const long image = row * columns + column;
                    uint32_t& first = orbits.first[image];
                    if (first == Orbits::kNone) first = leader;
                    else if (first != leader) orbits.disjoint = false;
                    reached_itself |= image == index;
                });
                orbits.disjoint &= reached_itself;
            }
    return orbits;
}

// Visiting positions where the runs of `parts` threads begin, each run holding an equal share of
// the first voxels; the last entry is the end of the grid.
std::vector<long> run_bounds(const Orbits& orbits, unsigned parts) {
    const long voxels = static_cast<long>(orbits.first.size());
    std::vector<long> bounds(parts + 1, voxels);
    bounds[0] = 0;
    unsigned part = 1;
    for (long index = 0, rank = 0; index < voxels && part < parts; index++) {
        if (!orbits.is_first(index)) continue;
        while (part < parts && rank == orbits.count * part / parts) bounds[part++] = index;
        rank++;
    }
    return bounds;
}

// Energies of the first voxels, each written at its own voxel, shared out in contiguous runs
// among `threads` threads (each run keeps the block lists of its slabs warm).
void compute_firsts(QUORIX_CUBE* cube, const GridImages& images, const ProbeField& field, const Orbits& orbits,
                    unsigned threads, QuorixLandscapeWork& work) {
    const std::vector<long> bounds = run_bounds(orbits, threads);
    std::vector<QuorixLandscapeWork> works(threads);
    const auto run = [&](unsigned part) {
        VoxelWorker worker(cube, field);
        for (long index = bounds[part]; index < bounds[part + 1]; index++) {
            if (!orbits.is_first(index)) continue;
            long x[3];
            voxel_of(cube, index, x);
            images.at(index) = worker.energy(x);
        }
        works[part] = worker.work;
    };
    quorix_run_parts(threads, run);
    for (const QuorixLandscapeWork& part : works) add_work(work, part);
}

// Whether the visit would give every voxel its first voxel's energy: the orbits are disjoint and
// no energy of a first voxel lies within 1e-7 of 0, which would leave its orbit to be computed.
bool placeable(const GridImages& images, const Orbits& orbits) {
    if (!orbits.disjoint) return false;
    for (long index = 0; index < static_cast<long>(orbits.first.size()); index++)
        if (orbits.is_first(index) && std::fabs(images.at(index)) <= kUnfilled) return false;
    return true;
}

// Gives every voxel the energy of its first voxel, the grid shared out among `threads` threads
// (first voxels are only read).
void place(const GridImages& images, const Orbits& orbits, unsigned threads) {
    const long voxels = static_cast<long>(orbits.first.size());
    quorix_run_parts(threads, [&](unsigned part) {
        for (long index = voxels * part / threads; index < voxels * (part + 1) / threads; index++)
            if (!orbits.is_first(index)) images.at(index) = images.at(orbits.first[index]);
    });
}

// Energies computed before the visit: the first voxels and their energies in visiting order.
struct Precomputed {
    const Orbits& orbits;
    std::vector<double> energies;
};

// The energies of the first voxels taken out of the cube, which is left at 0.
std::vector<double> take_first_energies(const GridImages& images, const Orbits& orbits) {
    std::vector<double> energies;
    energies.reserve(orbits.count);
    for (long index = 0; index < static_cast<long>(orbits.first.size()); index++) {
        if (orbits.is_first(index)) energies.push_back(images.at(index));
        images.at(index) = 0.0;
    }
    return energies;
}

// Visits the voxels in order; one still empty takes its precomputed energy, else is computed, and
// the value goes to all its images under the operations that do not hold a positive value yet
// (the identity fills the voxel itself).
void visit(QUORIX_CUBE* cube, GridImages& images, const ProbeField& field, const Precomputed* precomputed,
           QuorixLandscapeWork& work) {
    VoxelWorker worker(cube, field);
    size_t rank = 0;  // first voxels passed
    long x[3], index = 0;
    for (x[0] = 0; x[0] < cube->n[0]; x[0]++)
        for (x[1] = 0; x[1] < cube->n[1]; x[1]++)
            for (x[2] = 0; x[2] < cube->n[2]; x[2]++, index++) {
                const bool first = precomputed && precomputed->orbits.is_first(index);
                rank += first;
                if (!(std::fabs(cube->en[x[0]][x[1]][x[2]]) <= kUnfilled)) continue;
                images.fill(x, first ? precomputed->energies[rank - 1] : worker.energy(x));
            }
    add_work(work, worker.work);
}

}  // namespace

// One thread visits the voxels in order. Several threads first find the orbits as the visit meets
// them and compute the first voxel of each, which the visit computes in any case, in parallel;
// when the orbits are disjoint and no such energy lies within 1e-7 of 0 every voxel then takes
// its first voxel's energy, else the visit runs with the precomputed energies and computes only
// the voxels they leave empty. Either way the cube is the same as without threads.
void fill_landscape(QUORIX_CUBE* cube, const QUORIX_SYMMETRY* symmetry, const ProbeField& field,
                    QuorixLandscapeWork& work) {
    constexpr long kVoxelsPerThread = 4096;  // fewer distinct voxels per thread are not worth a thread
    GridImages images(cube, symmetry);
    const long voxels = cube->n[0] * cube->n[1] * cube->n[2];
    const long distinct = voxels / std::max(1, symmetry->total);
    const unsigned threads = quorix_part_count(distinct, kVoxelsPerThread, distinct);
    if (threads <= 1 || voxels >= static_cast<long>(Orbits::kNone)) {
        visit(cube, images, field, nullptr, work);
        return;
    }
    const Orbits orbits = find_orbits(cube, images);
    compute_firsts(cube, images, field, orbits, threads, work);
    if (placeable(images, orbits)) {
        place(images, orbits, threads);
        return;
    }
    const Precomputed precomputed{orbits, take_first_energies(images, orbits)};
    visit(cube, images, field, &precomputed, work);
}

}  // namespace quorix_landscape
