// Bookkeeping of the kinetic Monte Carlo fast path, shared by the simulation and its outputs.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "quorix-file.hpp"
#include "quorix-kmc-tree.hpp"

// Coulomb energies are summed as integers in units of 2^-40 eV, so a sum kept up to date hop by
// hop equals the sum formed afresh in any order, and local updates give the full recomputation's rates.
constexpr double kKmcEnergyQuantum = 1.0 / 1099511627776.0;

struct QuorixKmcState {
    std::vector<std::vector<int64_t>> site_de;    // parallel to kv[i].v_n
    std::vector<std::vector<int64_t>> saddle_de;  // parallel to ke[e].v_n
    // For each site, the hops whose saddle has it among its neighbours, with that energy.
    std::vector<std::vector<std::pair<long, int64_t>>> near_saddles;
    std::vector<int64_t> end_de;    // per hop: energy between its two ends (0 beyond the cutoff)
    std::vector<int64_t> site_phi;  // Coulomb energy of each site with the occupied sites around it
    std::vector<int64_t> saddle_phi;
    // Compact copies of what the rate updates read most, for the cache.
    std::vector<unsigned char> occupied;                // per site
    std::vector<long> from, to, reverse;                // per hop: initial and final site, reverse hop
    std::vector<double> rate;                           // per hop, equal to ke[].r
    std::vector<double> site_en, saddle_en, frequency;  // kv[].en, ke[].en, ke[].f
    std::vector<unsigned char> active;                  // per hop: from an occupied to an empty site
    std::vector<double> barrier;                        // per active hop: the barrier of its rate (NaN when none)
    std::vector<unsigned char> marked;                  // per hop: waiting in marked_edges (ke[].update)
    std::vector<long> hops_begin, hops;                 // hops leaving site v: hops[hops_begin[v] .. hops_begin[v + 1])
    QuorixRateTree tree;
    std::vector<long> marked_sites;
    std::vector<long> marked_edges;
    std::vector<long> where;    // current site of the ion that started at each site; -1 if none
    std::vector<double> since;  // clock at which each occupied site was last taken
    double clock = 0.0;         // production time over all runs, ps
    long ions = 0;              // ions placed by the last reset
    bool linear_scan = false;   // choose hops by the plain scan (benchmark reference)
    std::string elements_name;  // trajectory with element symbols, when asked for
    FILE* xyz_elements = nullptr;
    // The logs appear under their names only when the run is complete (kmc->log, kmc->xyz and
    // xyz_elements write into them).
    QuorixResultFile log_file, xyz_file, elements_file;
};

struct QUORIX_KMC;

// True when the record can run; otherwise prints why.
bool quorix_kmc_usable(const QUORIX_KMC* kmc);
// Net displacement (A) of the ion that started the production run at site `origin`.
void quorix_kmc_displacement(const QUORIX_KMC* kmc, long origin, double d[3]);
