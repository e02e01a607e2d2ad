// Nudged elastic band: the minimum-energy path of a structure between two end images, with a
// climbing image at the saddle, springs along the path and a FIRE optimiser.
#pragma once

#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-import-constraint.hpp"
#include "quorix.hpp"

struct QuorixNebSettings {
    long step_limit = 0;  // 0 or negative: no limit
    int step_log = 50;    // logs and image files every step_log steps; negative: no logs; 0: 50
    bool relax = true;    // relax the end images to their minima first
    double f_conv = 0.005;  // largest force at convergence, eV/A; non-positive: 0.005
    double k = 0.5;         // spring constant, eV/A^2; non-positive: 0.5
    // Components that stay where they are in the first image, per atom of the first image, besides
    // every component of its `ignored` atoms.
    const QuorixFixedComponents* fixed = nullptr;
};

// A band of images; positions are the Cartesian coordinates of the image cells, continuous
// along the band (an atom that crosses a cell face is not wrapped back).
struct QuorixNebBand {
    std::vector<CellPtr> images;
    std::vector<double> energy;      // eV
    std::vector<double> coordinate;  // reaction coordinate, A: path length from the first image
    std::vector<double> force_max;   // largest force on an atom, eV/A (the band force inside)
    int climbing = -1;
    long steps = 0;
    long force_evaluations = 0;
    bool converged = false;
};

// The forces of the pair model in eV/A; the energy unit is counted once per ordered pair. Every
// pair counts, those of fixed (`ignored`) atoms too, as in the band, which then zeroes the forces
// on fixed components.
int quorix_cell_calculate_force_ev(std::vector<double>& force, const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);

// True when two images can belong to one band: the same number of atoms, of the same species
// (in any order), in the same cell; otherwise false with one "Error:" line.
bool quorix_neb_images_compatible(const QUORIX_CELL* a, const QUORIX_CELL* b);

// `total` images interpolated linearly between the two ends, every atom along its shortest
// periodic path. The ends must hold the same atoms in the same cell; the atoms of the last are
// matched to those of the first (same species, nearest first), so their order may differ.
int quorix_neb_band_interpolate(QuorixNebBand& band, const QUORIX_CELL* first, const QUORIX_CELL* last, int total);
// A band from a series of images, each matched to the one before it.
int quorix_neb_band_from_images(QuorixNebBand& band, QUORIX_CELL* const* cells, int total);
// Relaxes a single structure in place by FIRE until no force exceeds f_conv; its fixed
// components keep their coordinates.
int quorix_neb_relax_image(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, const QuorixNebSettings& settings,
                           long* force_evaluations);
// Relaxes the band, its fixed components held where they are in the first image; writes
// "<name>.neb-log.txt", "<name>.neb-log.<i>.txt" and the image files
// "<name>.neb.<i>.cif". Prints the profile and the barrier at the end.
int quorix_neb_band_relax(QuorixNebBand& band, const QUORIX_PROPERTY* ppt, const QuorixNebSettings& settings,
                          const char* name);

// End images of a vacancy hop: `first` is the cell without the atom nearest to fractional
// position to_f; `last` is `first` with the atom nearest to from_f moved onto that vacant site.
int quorix_neb_vacancy_hop_ends(const QUORIX_CELL* cell, const double* from_f, const double* to_f, CellPtr& first,
                                CellPtr& last);

// The two commands: `total` images between two end structures, or a series of images.
int quorix_cell_relax_neb(const QUORIX_CELL* first, const QUORIX_CELL* last, int total, const QUORIX_PROPERTY* ppt,
                          const QuorixNebSettings& settings, const char* name);
int quorix_cell_relax_neb_images(QUORIX_CELL* const* cells, int total, const QUORIX_PROPERTY* ppt,
                                 const QuorixNebSettings& settings, const char* name);
