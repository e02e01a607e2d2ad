// Filling a landscape: every voxel computed once per orbit of the operations and given to the
// whole orbit, the first voxels of the orbits shared out among threads.
#pragma once

#include "quorix-cube-probe.hpp"
#include "quorix.hpp"

namespace quorix_landscape {

// Fills every voxel of `cube` with the energy of the probe in `field`, adding the work done.
void fill_landscape(QUORIX_CUBE* cube, const QUORIX_SYMMETRY* symmetry, const ProbeField& field,
                    QuorixLandscapeWork& work);

}  // namespace quorix_landscape
