// The field of the host ions that a probe ion of the conducting species feels: one term per host
// atom, the lattice images of each that can reach the cell, and the energy at a point.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "quorix-cube-erfc.hpp"
#include "quorix-cube.hpp"
#include "quorix.hpp"

namespace quorix_landscape {

// What one host atom adds to the probe's energy: a bonding term with a counter-ion or a screened
// Coulomb term with a like-charged ion, each replaced by its quadratic core at short range.
struct HostTerm {
    double reach;          // no contribution beyond this distance
    double reach_squared;  // slightly above reach^2, for the test before the square root
    double occ;
    double core, a2, a1, a0;      // quadratic core below `core`, from the cation-first pair record
    double qq, inv_sigma, shift;  // Coulomb terms only
    double d0, rmin, b, en_s;     // bonding terms only
};

// One lattice image of a host atom: l a0 + m a1 + p a2 + x.
struct HostImage {
    double x[3];
    uint32_t term;
};

// Images of the host atoms that may reach the voxels of one block, by kind of term.
struct Candidates {
    std::vector<uint32_t> coulomb;
    std::vector<uint32_t> bonding;
};

// Images of one kind found within reach of a voxel: their terms and squared distances (the first
// `count` entries).
struct NearImages {
    std::vector<uint32_t> term;
    std::vector<double> d_squared;
    size_t count = 0;
};

// Working memory of one thread's energy_at calls.
struct ProbeScratch {
    NearImages coulomb, bonding;
};

class ProbeField {
public:
    // false (message printed) when an atom's species is missing from the parameter set.
    bool build(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);

    // The images that may lie within reach of some point of the ball (centre, radius).
    void gather(const double centre[3], double radius, Candidates& out) const;

    // Energy in eV at r, capped at 999.9, from the candidate images of its block.
    double energy_at(const double r[3], const Candidates& candidates, ProbeScratch& scratch,
                     QuorixLandscapeWork& work) const;

private:
    // A term kept apart from the others: images within reach, found without branching, are
    // summed in a second loop whose only test is the short-range core.
    struct Kind {
        std::vector<HostTerm> terms;
        std::vector<HostImage> images;

        void gather(const double centre[3], double radius, std::vector<uint32_t>& out) const;
        // Images of `candidates` within reach of r.
        void select(const double r[3], const std::vector<uint32_t>& candidates, NearImages& near) const;
        // Sum of energy(term, d) * occupancy over the near images.
        template <class Energy>
        double sum(const NearImages& near, Energy energy) const;
    };

    bool add_term(const QUORIX_ATOM& atom, const QUORIX_PROPERTY* ppt);
    static void add_images(Kind& kind, const QUORIX_CELL* cell, const std::vector<const QUORIX_ATOM*>& atoms,
                           const int box[3]);

    Kind coulomb_, bonding_;
    std::vector<const QUORIX_ATOM*> coulomb_atoms_, bonding_atoms_;
    ErfcTable erfc_;
};

}  // namespace quorix_landscape
