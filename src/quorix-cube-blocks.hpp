// Blocks of neighbouring voxels that share one list of candidate images, and the energy of a
// voxel from the list of its block.
#pragma once

#include <vector>

#include "quorix-cube-probe.hpp"
#include "quorix.hpp"

namespace quorix_landscape {

// Candidate images per block of voxels. The grid is visited slab by slab along the first axis,
// so only the blocks of the current slab are kept, each built when first needed.
class BlockCandidates {
public:
    BlockCandidates(const QUORIX_CUBE* cube, const ProbeField& field);

    // The candidate images of the block of voxel x.
    const Candidates& at(const long x[3]);

private:
    const QUORIX_CUBE* cube_;
    const ProbeField& field_;
    long edge_[3];
    long count_[3];
    long slab_ = -1;
    std::vector<Candidates> lists_;
    std::vector<bool> built_;
};

// The energy of voxels, with the block lists and scratch of one thread.
class VoxelWorker {
public:
    VoxelWorker(const QUORIX_CUBE* cube, const ProbeField& field) : cube_(cube), field_(field), blocks_(cube, field) {}

    // Energy of the probe at voxel x.
    double energy(const long x[3]);

    QuorixLandscapeWork work;

private:
    const QUORIX_CUBE* cube_;
    const ProbeField& field_;
    BlockCandidates blocks_;
    ProbeScratch scratch_;
};

}  // namespace quorix_landscape
