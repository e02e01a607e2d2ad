// Filling a landscape: the operations in grid form, the orbits of the voxels, and the threads
// that compute the first voxel of every orbit.
#include "quorix-cube-fill.hpp"

#include <algorithm>
#include <cmath>
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

    // Gives `energy` to every image of voxel x that holds no positive value yet.
    void fill(const long x[3], double energy) const {
        for (const Operation& op : operations_) {
            long y[3];
            for (int i = 0; i < 3; i++)
                y[i] = wrap(op.r[i][0] * x[0] + op.r[i][1] * x[1] + op.r[i][2] * x[2] + op.t[i], i);
            double& value = rows_[y[0] * cube_->n[1] + y[1]][y[2]];
            if (value <= kUnfilled) value = energy;
        }
    }

private:
    struct Operation {
        long r[3][3];
        long t[3];
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

void clear_values(QUORIX_CUBE* cube) {
    for (long i = 0; i < cube->n[0]; i++)
        for (long j = 0; j < cube->n[1]; j++) std::fill(cube->en[i][j], cube->en[i][j] + cube->n[2], 0.0);
}

// The voxels the visit computes when no energy lies within 1e-7 of 0: the first voxel of every
// orbit, in visiting order. Found by the visit itself with a mark for the energy; the cube is
// cleared afterwards.
std::vector<long> orbit_firsts(QUORIX_CUBE* cube, const GridImages& images) {
    constexpr double kMark = 1.0;
    std::vector<long> firsts;
    long x[3], index = 0;
    for (x[0] = 0; x[0] < cube->n[0]; x[0]++)
        for (x[1] = 0; x[1] < cube->n[1]; x[1]++)
            for (x[2] = 0; x[2] < cube->n[2]; x[2]++, index++) {
                if (!(std::fabs(cube->en[x[0]][x[1]][x[2]]) <= kUnfilled)) continue;
                firsts.push_back(index);
                images.fill(x, kMark);
            }
    clear_values(cube);
    return firsts;
}

// Energies of the voxels at the given visiting positions, shared out in contiguous runs among
// `threads` threads (each run keeps the block lists of its slabs warm).
std::vector<double> energies_of(const QUORIX_CUBE* cube, const ProbeField& field, const std::vector<long>& voxels,
                                unsigned threads, QuorixLandscapeWork& work) {
    std::vector<double> energies(voxels.size());
    std::vector<QuorixLandscapeWork> works(threads);
    const auto run = [&](unsigned part) {
        VoxelWorker worker(cube, field);
        const size_t begin = voxels.size() * part / threads, end = voxels.size() * (part + 1) / threads;
        for (size_t v = begin; v < end; v++) {
            long x[3];
            voxel_of(cube, voxels[v], x);
            energies[v] = worker.energy(x);
        }
        works[part] = worker.work;
    };
    quorix_run_parts(threads, run);
    for (const QuorixLandscapeWork& part : works) add_work(work, part);
    return energies;
}

}  // namespace

// Visits the voxels in order; one still empty is computed and its value given to all its images
// under the operations that do not hold a positive value yet (the identity fills the voxel itself).
// With several threads the first voxels of the orbits, which the visit computes in any case, are
// computed beforehand in parallel; the visit then takes their energies and computes only the
// voxels left empty by an energy within 1e-7 of 0, so the cube is the same as without threads.
void fill_landscape(QUORIX_CUBE* cube, const QUORIX_SYMMETRY* symmetry, const ProbeField& field,
                    QuorixLandscapeWork& work) {
    constexpr long kVoxelsPerThread = 4096;  // fewer distinct voxels per thread are not worth a thread
    const GridImages images(cube, symmetry);
    const long voxels = cube->n[0] * cube->n[1] * cube->n[2];
    const unsigned threads = static_cast<unsigned>(
        std::min<long>(quorix_thread_count(), voxels / std::max(1, symmetry->total) / kVoxelsPerThread));
    std::vector<long> firsts;
    std::vector<double> energies;
    if (threads > 1) {
        firsts = orbit_firsts(cube, images);
        energies = energies_of(cube, field, firsts, threads, work);
    }
    VoxelWorker worker(cube, field);
    size_t next = 0;
    long x[3], index = 0;
    for (x[0] = 0; x[0] < cube->n[0]; x[0]++)
        for (x[1] = 0; x[1] < cube->n[1]; x[1]++)
            for (x[2] = 0; x[2] < cube->n[2]; x[2]++, index++) {
                if (!(std::fabs(cube->en[x[0]][x[1]][x[2]]) <= kUnfilled)) continue;
                while (next < firsts.size() && firsts[next] < index) next++;
                const bool precomputed = next < firsts.size() && firsts[next] == index;
                images.fill(x, precomputed ? energies[next] : worker.energy(x));
            }
    add_work(work, worker.work);
}

}  // namespace quorix_landscape
