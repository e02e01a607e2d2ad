// Pair interaction model: a Morse-type bonding term between cations and anions, a screened
// Coulomb term between like charges, the quadratic cores below both, and the unit constants.
// Energies in e^2/A, "force" is dE/dr.
#pragma once

#include <cmath>

constexpr double kQuorixEvPerUnit = 14.39964;  // eV per e^2/A, the energy unit of the pair terms
constexpr double kQuorixCoulombReach = 10.0;   // A: the screened Coulomb term is shifted to zero here

// The bonding energy and force from exp((rmin - r) / b), for sums that need both.
inline double quorix_energy_bonding_from_exp(double e_exp, double d0) {
    const double e = e_exp - 1.0;
    return 0.5 * d0 * (e * e - 1.0);
}

inline double quorix_force_bonding_from_exp(double e_exp, double d0, double b) {
    return -d0 * e_exp * (e_exp - 1.0) / b;
}

inline double quorix_energy_bonding(double r, double d0, double rmin, double b) {
    return quorix_energy_bonding_from_exp(std::exp((rmin - r) / b), d0);
}

inline double quorix_energy_bonding_with_energy_shift(double r, double d0, double rmin, double b, double en_s) {
    return quorix_energy_bonding(r, d0, rmin, b) - en_s;
}

inline double quorix_energy_bonding_with_energy_shift_and_force_shift(double r, double d0, double rmin, double b,
                                                                      double en_s, double f_s, double cutoff) {
    return quorix_energy_bonding(r, d0, rmin, b) - en_s - (r - cutoff) * f_s;
}

inline double quorix_force_bonding(double r, double d0, double rmin, double b) {
    return quorix_force_bonding_from_exp(std::exp((rmin - r) / b), d0, b);
}

inline double quorix_force_bonding_with_force_shift(double r, double d0, double rmin, double b, double f_s) {
    return quorix_force_bonding(r, d0, rmin, b) - f_s;
}

// The screened Coulomb energy (unshifted) and force from erfc(x), x = r / sigma, for sums that
// need both.
inline double quorix_energy_coulombic_from_erfc(double erfc_x, double r, double qq) { return erfc_x * qq / r; }

inline double quorix_force_coulombic_from_erfc(double erfc_x, double x, double r, double qq, double sigma) {
    return -erfc_x * qq / (r * r) - 2.0 * qq * std::exp(-x * x) / (1.7724538498928541 * sigma * r);
}

// Screened Coulomb energy before the shift that brings it to zero at 10 A.
inline double quorix_energy_coulombic_unshifted(double r, double qq, double sigma) {
    return quorix_energy_coulombic_from_erfc(std::erfc(r / sigma), r, qq);
}

inline double quorix_energy_coulombic(double r, double qq, double sigma) {
    return quorix_energy_coulombic_unshifted(r, qq, sigma) -
           quorix_energy_coulombic_unshifted(kQuorixCoulombReach, qq, sigma);
}

inline double quorix_force_coulombic(double r, double qq, double sigma) {
    const double x = r / sigma;
    return quorix_force_coulombic_from_erfc(std::erfc(x), x, r, qq, sigma);
}

inline double quorix_pseudopotential_energy_bonding(double r, double a2, double a1, double a0) {
    return a2 * r * r + a1 * r + a0;
}

inline double quorix_pseudopotential_energy_coulombic(double r, double a2, double a1, double a0) {
    return quorix_pseudopotential_energy_bonding(r, a2, a1, a0);
}
