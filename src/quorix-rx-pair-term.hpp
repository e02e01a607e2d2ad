// The pair term acting between two species of a parameter set, with its unit and reach: screened
// Coulomb between like charges, the bonding term between opposite charges.
#pragma once

#include "quorix-import-pair.hpp"
#include "quorix.hpp"

enum class QuorixPairModel {
    // --md: the Coulomb term alone converted to eV, every term reaching 10 A.
    md,
    // The lattice energy in eV: bonding terms to their pair cutoff, Coulomb terms to the larger of
    // 10 A and the largest cutoff.
    lattice,
};

struct QuorixPairTerm {
    bool interacts;  // neither species has oxidation state 0
    bool coulomb;
    double qq;
    double sigma;
    const QUORIX_PROPERTY_BINARY* bin;  // cation first
    double reach;                       // A: no interaction beyond
    double bonding_unit;                // the bonding term's energy unit in eV
    double bonding_at_reach;            // shifts the bonding energy to zero at the reach

    // dE/dr at distance d.
    double slope(double d) const {
        if (coulomb) return kQuorixEvPerUnit * quorix_force_coulombic(d, qq, sigma);
        return bonding_unit * quorix_force_bonding(d, bin->d0, bin->rmin, bin->b);
    }
    // The energy whose derivative slope() is: the Coulomb term zero at 10 A, the bonding term at the reach.
    double energy(double d) const {
        if (coulomb) return kQuorixEvPerUnit * quorix_energy_coulombic(d, qq, sigma);
        return bonding_unit * (quorix_energy_bonding(d, bin->d0, bin->rmin, bin->b) - bonding_at_reach);
    }
};

// The term between species a and b of the set.
QuorixPairTerm quorix_pair_term(const QUORIX_PROPERTY* ppt, int a, int b, QuorixPairModel model);
