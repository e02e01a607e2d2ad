// Blocks of neighbouring voxels sharing one list of candidate images, built slab by slab, and
// the energy of a voxel from the list of its block.
#include "quorix-cube-blocks.hpp"

#include <algorithm>

#include "quorix-cube-grid.hpp"
#include "quorix-la.hpp"

namespace quorix_landscape {

namespace {

constexpr double kBlockEdge = 0.8;  // A: edge of the voxel blocks sharing one image list

}  // namespace

BlockCandidates::BlockCandidates(const QUORIX_CUBE* cube, const ProbeField& field) : cube_(cube), field_(field) {
    for (int k = 0; k < 3; k++) {
        const double step = quorix_vector3_double_length(cube->a_i[k]);
        edge_[k] = std::clamp(static_cast<long>(kBlockEdge / step + 0.5), 1L, cube->n[k]);
        count_[k] = (cube->n[k] + edge_[k] - 1) / edge_[k];
    }
    lists_.resize(count_[1] * count_[2]);
    built_.assign(lists_.size(), false);
}

const Candidates& BlockCandidates::at(const long x[3]) {
    const long slab = x[0] / edge_[0];
    if (slab != slab_) {
        slab_ = slab;
        std::fill(built_.begin(), built_.end(), false);
    }
    const long b[3] = {slab, x[1] / edge_[1], x[2] / edge_[2]};
    const long index = b[1] * count_[2] + b[2];
    if (!built_[index]) {
        double lo[3], hi[3];
        for (int k = 0; k < 3; k++) {
            lo[k] = static_cast<double>(b[k] * edge_[k]);
            hi[k] = static_cast<double>(std::min((b[k] + 1) * edge_[k], cube_->n[k]) - 1);
        }
        double centre[3];
        const double radius = box_radius(cube_->a_i, lo, hi, centre);
        field_.gather(centre, radius, lists_[index]);
        built_[index] = true;
    }
    return lists_[index];
}

double VoxelWorker::energy(const long x[3]) {
    double r[3];
    grid_point(cube_->a_i, static_cast<double>(x[0]), static_cast<double>(x[1]), static_cast<double>(x[2]), r);
    return field_.energy_at(r, blocks_.at(x), scratch_, work);
}

}  // namespace quorix_landscape
