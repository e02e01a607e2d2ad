// The voxel grid of a landscape: the voxel counts for a resolution, grid points and block balls.
#include "quorix-cube-grid.hpp"

#include <algorithm>
#include <cmath>

#include "quorix-cube.hpp"
#include "quorix-la.hpp"

namespace {

constexpr long kGridMultiple = 24;       // such grids are mapped onto themselves by every operation
constexpr long kMaxVoxels = 7529536;     // 196^3
// Beyond this many steps of 24 an axis would be cut back by the size cap even with both other
// axes at their minimum of 24 (24 * 24 * 13080 > kMaxVoxels), so clamping there changes nothing
// and keeps every count and product representable.
constexpr double kMaxAxisSteps = 545;

double axis_length(const QUORIX_CELL* cell, int k) { return quorix_vector3_double_length(cell->a[k]); }

}  // namespace

// The tests of the loop always cut an axis of the largest count. A count that is not a number
// (a degenerate cell) becomes one step of 24.
void quorix_cube_choose_grid(const QUORIX_CELL* cell, double resolution, long* n) {
    for (int k = 0; k < 3; k++) {
        const double steps = std::ceil(axis_length(cell, k) / resolution / kGridMultiple);
        n[k] = static_cast<long>(steps >= kMaxAxisSteps ? kMaxAxisSteps : steps >= 1 ? steps : 1) * kGridMultiple;
    }
    while (n[0] * n[1] * n[2] > kMaxVoxels) {
        if (n[0] < n[1]) {
            if (n[1] >= n[2])
                n[1] -= kGridMultiple;
            else
                n[2] -= kGridMultiple;
        } else {
            if (n[0] >= n[2])
                n[0] -= kGridMultiple;
            else
                n[2] -= kGridMultiple;
        }
    }
}

namespace quorix_landscape {

// The point i step[0] + j step[1] + k step[2].
void grid_point(const double step[3][3], double i, double j, double k, double r[3]) {
    for (int c = 0; c < 3; c++) r[c] = i * step[0][c] + j * step[1][c] + k * step[2][c];
}

// Centre of the parallelepiped of grid points with indices from lo to hi, and the largest
// distance from it to one of them, which is the distance to a corner.
double box_radius(const double step[3][3], const double lo[3], const double hi[3], double centre[3]) {
    grid_point(step, 0.5 * (lo[0] + hi[0]), 0.5 * (lo[1] + hi[1]), 0.5 * (lo[2] + hi[2]), centre);
    double radius = 0;
    for (int corner = 0; corner < 8; corner++) {
        double r[3];
        grid_point(step, (corner & 1 ? hi : lo)[0], (corner & 2 ? hi : lo)[1], (corner & 4 ? hi : lo)[2], r);
        radius = std::max(radius, quorix_vector3_double_distance(r, centre));
    }
    return radius;
}

}  // namespace quorix_landscape
