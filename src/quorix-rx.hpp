// Total energy, forces and stress of a cell under the bond-valence force field, deformation
// by a strain, and the coordinate steps of a relaxation. Energies in eV; forces in the
// internal units of the pair model (e^2/A^2, half per pair); stresses in eV/A^3.
#pragma once

#include <array>
#include <functional>
#include <vector>

#include "quorix-import-pair.hpp"
#include "quorix.hpp"

// Pairs closer than this do not interact (this also drops an atom's own image).
constexpr double kQuorixMinimumDistance = 0.3;
// Half the energy unit: the lattice sums visit every pair from both of its atoms.
constexpr double kQuorixHalfEvPerUnit = kQuorixEvPerUnit / 2;

// Reach of the like-charge (screened Coulomb) terms in the lattice energy and forces: the larger
// of 10 A and the largest pair cutoff of the set.
double quorix_property_coulomb_reach(const QUORIX_PROPERTY* ppt);

// The box of lattice images of the sums below: |n_k| <= int(reach / |a_k| + 1).
void quorix_cell_image_box(int box[3], const QUORIX_CELL* cell, double reach);

// Lattice energy summed over ordered pairs of atoms and their images; 0.0 on failure.
double quorix_cell_calculate_total_energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
// The same, but an energy of exactly 0 is reported as a failure.
double quorix_cell_total_energy(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
// The energy of the pairs in which neither atom is `ignored` (fixed).
double quorix_cell_calculate_total_energy_unconstrained_part(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);

// force: one 3-vector per atom, overwritten; fixed (`ignored`) atoms get none.
int quorix_cell_calculate_force(double** force, const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
// dE/d(strain) / volume by central differences of strain 0.0001: the diagonal entries, and
// the entries (1,2), (0,2), (0,1) for the shear.
int quorix_cell_calculate_stress_diagonal(double* stress, QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
int quorix_cell_calculate_stress_shear(double* stress, QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
// Either of the two with the energy of every strained cell from energy_of (0.0: failure).
using QuorixEnergyOf = std::function<double(const QUORIX_CELL*)>;
int quorix_cell_stress_by_strain(double* stress, QUORIX_CELL* cell, bool shear, const QuorixEnergyOf& energy_of);

// v <- v + strain * v for the cell vectors and the Cartesian positions; fractional follow.
int quorix_cell_deform(QUORIX_CELL* cell, const double strain[3][3]);
// One relaxation step of the cell: strain = -0.5 * stress (diagonal and shear entries).
int quorix_cell_update_by_stress(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
// The same step from stresses already found.
int quorix_cell_deform_by_stress(QUORIX_CELL* cell, const double* diagonal, const double* shear);

// dx = force / mass, scaled down so that no atom moves more than 0.1 A.
int quorix_cell_calculate_coordinate_step_size_simple(double** dx, const QUORIX_CELL* cell,
                                                      const QUORIX_PROPERTY* ppt, double** force);
// Adds dx to the Cartesian positions and refreshes the fractional ones.
int quorix_cell_update_coordinate(QUORIX_CELL* cell, double** dx);

// The diagonal stress of one cell, every atom counted (fixed ones too), as a function of the
// screening factor alone. Only the screened Coulomb terms depend on it, so the pair terms of the
// six strained cells are found once; each evaluation sums them in the order of
// quorix_cell_calculate_total_energy and gives bit for bit the stress
// quorix_cell_calculate_stress_diagonal gives at that sf when no atom is fixed.
class QuorixStressBySf {
public:
    int build(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
    int diagonal(double* stress, double sf) const;

    // One term of the energy sum: a fixed bonding value (pair < 0), or a Coulomb term at
    // distance x between species pair `pair`.
    struct Term {
        double x;
        double occ_i;
        double occ_j;
        int pair;
    };

private:
    double energy(const std::vector<Term>& terms, double sf) const;

    std::vector<double> qq_;      // for each pair of species: product of the fractional charges
    std::vector<double> rc_sum_;  // for each pair of species: sum of the screening radii
    std::array<std::vector<Term>, 6> strained_;  // cells strained by -d, +d along x, y, z
    double volume_ = 0;
};
