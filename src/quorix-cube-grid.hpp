// The voxel grid of a landscape: the position of a grid point and the balls around blocks of them.
#pragma once

namespace quorix_landscape {

// The point i step[0] + j step[1] + k step[2].
void grid_point(const double step[3][3], double i, double j, double k, double r[3]);

// Centre of the parallelepiped of grid points with indices from lo to hi, and the largest
// distance from it to one of them, which is the distance to a corner.
double box_radius(const double step[3][3], const double lo[3], const double hi[3], double centre[3]);

}  // namespace quorix_landscape
