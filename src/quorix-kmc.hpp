// Kinetic Monte Carlo of the conducting ions on the supercell site graph: Arrhenius hops with
// screened Coulomb repulsion between ions, mean squared displacement, diffusivity, mobility and
// conductivity, logs of displacements and trajectory, and the pipeline from a CIF and its cube.
#pragma once

#include <cstdint>
#include <cstdio>

#include "quorix.hpp"

struct QuorixKmcState;

// One site of the network.
struct QUORIX_KMC_VERTEX {
    QUORIX_GRAPH_VERTEX* v;
    long total_v;  // other sites within the Coulomb cutoff
    long* v_n;
    long total_e;  // edges whose saddle lies within the cutoff
    long* e_n;
    double* v_de;  // Coulomb energy (eV) with each site of v_n when that site is occupied
    bool occupied;
    bool init;    // occupied at the start of the production run
    long origin;  // site where the ion now here started; -1 when empty
    long y_i[3];  // lattice translations crossed by the ion that started here
    double d[3];  // its net displacement, A
    double t;     // time spent occupied, ps
    double en;    // site energy, eV
    bool update;
};

// One directed hop of the network.
struct QUORIX_KMC_EDGE {
    QUORIX_GRAPH_EDGE* e;
    long total_v;  // sites within the cutoff of the saddle, its two ends excluded
    long* v_n;
    double* v_de;  // their Coulomb energies with an ion at the saddle, eV
    double f;      // attempt frequency, THz
    double r;      // current rate, 1/ps
    double* r2;    // reserved
    double en;     // saddle energy, eV
    double l;      // hop length, A
    bool update;
};

struct QUORIX_KMC {
    QUORIX_GRAPH* graph;
    QUORIX_KMC_VERTEX* kv;
    QUORIX_KMC_EDGE* ke;
    long step;
    double t;
    double t_total;
    long step_limit;
    double t_limit;
    double temperature;
    double displacement[4];  // x, y, z, total
    double diffusivity[4];
    double mobility[4];
    double conductivity[4];
    long step_log;
    char logname[1024];
    char xyzname[1024];
    FILE* log;
    FILE* xyz;
    QuorixKmcState* state;  // exact Coulomb sums, rate tree and bookkeeping of the fast path
};

double quorix_kmc_calculate_conductivity_from_file(const char* cif_name, const char* cube_name, const char* type,
                                                   int os, const int* supercell, double sf, double temperature,
                                                   double t_limit, long step_limit, long step_log, double cutoff,
                                                   const char* dir_symcards, const char* dir_unitary,
                                                   const char* dir_binary);

// The simulation of a structure on the supercell graph of its landscape cube, before any file is
// written (the first steps of the pipeline above); null after printing why.
QUORIX_KMC* quorix_kmc_new_from_file(const char* cif_name, const char* cube_name, const char* type, int os,
                                     const int* supercell, double sf, double cutoff, const char* dir_symcards,
                                     const char* dir_unitary, const char* dir_binary);

// Takes ownership of the graph when it succeeds.
QUORIX_KMC* quorix_kmc_new(QUORIX_GRAPH* graph, const QUORIX_PROPERTY* property, double cutoff);
void quorix_kmc_free(QUORIX_KMC* kmc);
int quorix_kmc_init(QUORIX_KMC* kmc);
int quorix_kmc_reset(QUORIX_KMC* kmc);
int quorix_kmc_update_rate(QUORIX_KMC* kmc);
int quorix_kmc_equilibrate(QUORIX_KMC* kmc);
int quorix_kmc_evolve(QUORIX_KMC* kmc);
int quorix_kmc_run(QUORIX_KMC* kmc);
int quorix_kmc_calculate_conductivity(QUORIX_KMC* kmc);
int quorix_kmc_log(QUORIX_KMC* kmc);
int quorix_kmc_log_trj(QUORIX_KMC* kmc);
int quorix_kmc_log_xyz(QUORIX_KMC* kmc);
QUORIX_CELL* quorix_kmc_export_to_cell(const QUORIX_KMC* kmc);
QUORIX_CELL* quorix_kmc_export_occ_to_cell(const QUORIX_KMC* kmc, const QUORIX_CELL* supercell_cell);
void quorix_kmc_print(const QUORIX_KMC* kmc);
void quorix_kmc_print_short(const QUORIX_KMC* kmc);
void quorix_kmc_print_result(const QUORIX_KMC* kmc);
double quorix_kmc_random();

// Fast-path access for tests and benchmarks: the sum of the positive rates and the hop the
// selection rule picks for u * total, from the tree; -1 when no rate is positive.
double quorix_kmc_total_rate(const QUORIX_KMC* kmc);
long quorix_kmc_select_edge(const QUORIX_KMC* kmc, double u);
// Recomputes all rates from the occupation, keeping none (the oracle of the local update).
int quorix_kmc_update_rate_all(QUORIX_KMC* kmc);
// Chooses hops by the plain running-sum scan instead of the tree (the benchmark's reference).
void quorix_kmc_set_linear_scan(QUORIX_KMC* kmc, bool linear);

#include "quorix-alloc.hpp"
using KmcPtr = quorix_ptr<QUORIX_KMC, quorix_kmc_free>;
