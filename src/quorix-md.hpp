// Molecular dynamics of the conducting ions in a fixed framework: Langevin and plain velocity
// Verlet steps, observables, logs, and the diffusivity and conductivity from the mean squared
// displacement. Lengths in A, time in ps, energies in eV, masses in eV ps^2 / A^2.
#pragma once

#include <cstdint>
#include <cstdio>

#include "quorix.hpp"

struct QuorixMdWork;

struct QUORIX_MD {
    QUORIX_CELL* cell;     // owned copy; atoms flagged `ignored` stay fixed
    QUORIX_PROPERTY* ppt;  // owned copy, with the conducting species set
    double* m;
    double** x;  // positions followed without wrapping, so that x - x0 is the true displacement
    double** x0;
    double** x_p1;
    double** v;
    double** v_nh;
    double** f;
    double** r;
    double x_com[3];
    double en_k;
    double en_p;
    double en;
    double volume;
    double pressure;  // GPa
    std::int64_t step;
    double t;
    double temperature;
    double en_ave;
    double en_k_ave;
    double en_p_ave;
    double temperature_ave;
    double pressure_ave;
    double t_equil;
    double t_end;
    double dt;
    double zeta;
    double temperature_target;
    double temperature_init;
    double displacement;
    double diffusivity;
    double mobility;
    double conductivity;
    double t_log;
    std::int64_t step_log;
    char logname[1024];
    char xyzname[1024];
    char trjname[1024];
    FILE* log;
    FILE* xyz;
    FILE* trj;
    QuorixMdWork* work;  // pair tables, neighbour list and running sums
};

// Copies of the cell and the parameter set (whose conducting species must be set); every other
// field zero. Non-positive settings select the defaults in quorix_md_init_vv.
QUORIX_MD* quorix_md_new(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, double temperature_target,
                         double t_end, double t_equil, double dt, double zeta, std::int64_t step_log);
void quorix_md_free(QUORIX_MD* md);
void quorix_md_print(const QUORIX_MD* md);

// Defaults, the three log files (names in the record; written under temporary names, which the
// pipeline renames into place when the run is complete and a failed run removes), masses,
// volume, positions, neighbour list, forces, initial velocities, energy, temperature, pressure.
int quorix_md_init_vv(QUORIX_MD* md);
int quorix_md_calculate_vi_vv(QUORIX_MD* md);
// Forces on the mobile atoms from every atom and image within 10 A.
int quorix_md_calculate_force(QUORIX_MD* md);
// Kinetic energy, centre of mass, and the potential energy and virial of the pairs with a mobile ion.
int quorix_md_calculate_energy(QUORIX_MD* md);
int quorix_md_calculate_temperature(QUORIX_MD* md);
int quorix_md_calculate_pressure(QUORIX_MD* md);
int quorix_md_calculate_average(QUORIX_MD* md);
int quorix_md_calculate_conduction_property(QUORIX_MD* md);
int quorix_md_update_vv_langevin(QUORIX_MD* md);
// A velocity Verlet step without friction and noise: the total energy is conserved.
int quorix_md_update_vv(QUORIX_MD* md);

// Before quorix_md_init_vv: every force and energy in eV, the bonding terms reaching their pair
// cutoff and the Coulomb terms the larger of 10 A and the largest cutoff (the model of the
// lattice energy), Maxwell-Boltzmann initial velocities, and quorix_md_update_langevin_std as
// the step of both phases.
void quorix_md_use_standard_model(QUORIX_MD* md);
// A Langevin step that samples the target temperature: an exact Ornstein-Uhlenbeck half step of
// the velocities with fresh noise, a velocity Verlet step, another such half step.
int quorix_md_update_langevin_std(QUORIX_MD* md);
int quorix_md_equilibrate(QUORIX_MD* md);
int quorix_md_run(QUORIX_MD* md);
int quorix_md_log_sample(QUORIX_MD* md);
int quorix_md_log_xyz(QUORIX_MD* md);
int quorix_md_log_trj(QUORIX_MD* md);

// Sets ppt->conducting to the species (type, os); 1 when the set has no such species.
int quorix_property_set_conducting(QUORIX_PROPERTY* ppt, const char* type, int os);

// The --md pipeline on a CIF file: 0, or -1 after the error lines.
int quorix_md_conduction_from_file(const char* cif, const char* type, int os, double sf, double temperature,
                                   double t_end, double t_equil, double dt, double t_log, const char* dir_symcards,
                                   const char* dir_unitary, const char* dir_binary);

// The arguments of quorix_md_conduction_from_file.
struct QuorixMdSettings {
    const char* cif;
    const char* type;
    int os;
    double sf, temperature, t_end, t_equil, dt, t_log;
    const char* dir_symcards;
    const char* dir_unitary;
    const char* dir_binary;
};
// The same pipeline in the standard model (quorix_md_use_standard_model), its results named
// input + ".mdstd.txt", ".mdstd.xyz", ".mdstd.trj" and ".mdstd.cif": 0, or -1 after the error lines.
int quorix_md_std_conduction_from_file(const QuorixMdSettings& settings);

#include "quorix-alloc.hpp"
using MdPtr = quorix_ptr<QUORIX_MD, quorix_md_free>;
