// Site graph of a structure and its landscape cube file, as --gh and --sites use it: built with
// about the memory of the path-finding grid, keeping the half-paths the hops follow.
#pragma once

#include <memory>
#include <vector>

#include "quorix-fp.hpp"
#include "quorix-gh.hpp"

class QuorixSampledFft;

struct QuorixSiteNetwork {
    QuorixSiteNetwork();
    ~QuorixSiteNetwork();
    GraphPtr graph;
    FphalfListPtr halves;            // the half-paths that edges name by index_half
    std::vector<QUORIX_FPDOT> dots;  // copies of the grid dots on the half-paths, which point here
    std::unique_ptr<QuorixSampledFft> fft;  // energy and Hessian at the sites, until the graph is built
    double en_min = 0.0;                    // lowest site energy, eV
};

// True unless the landscape's header names a conducting ion other than type/os; otherwise false
// after one Error line.
bool quorix_site_network_same_ion(const char* cube_name, const char* type, int os);

// True when the landscape's lattice vectors are the structure's (each within 1e-3 of its length);
// otherwise false after one Error line naming both files.
bool quorix_site_network_same_cell(const QUORIX_CELL* cell, const QUORIX_CUBE* cube, const char* cif_name,
                                   const char* cube_name);

// First step of the build: the half-paths of the landscape, detached from its path-finding grid,
// and the energy and Hessian at their minima. The cube is not needed afterwards.
bool quorix_site_network_trace(QuorixSiteNetwork& network, const QUORIX_CUBE* cube);
// Second step: the graph of sites and hops of the conducting ion on the traced half-paths.
bool quorix_site_network_connect(QuorixSiteNetwork& network, QUORIX_CELL* cell, const QUORIX_PROPERTY* property);

// Reads the CIF and the cube, checks that they describe the same cell and builds the graph of
// sites and hops of the conducting ion; false (after one Error line) on any failure.
bool quorix_site_network_from_files(QuorixSiteNetwork& network, const char* cif, const char* cube, const char* type,
                                    int os, bool periodic, const char* dir_symcards, const char* dir_unitary,
                                    const char* dir_binary);

// Hops are admitted when their saddle lies at most barrier_max above the lowest site (all when
// barrier_max is not positive).
double quorix_site_network_saddle_cap(const QuorixSiteNetwork& network, double barrier_max);
