// Site graph of a structure and its landscape cube file, as --gh and --sites use it: built with
// about the memory of the path-finding grid, keeping the half-paths the hops follow.
#pragma once

#include <vector>

#include "quorix-fp.hpp"
#include "quorix-gh.hpp"

struct QuorixSiteNetwork {
    GraphPtr graph;
    FphalfListPtr halves;            // the half-paths that edges name by index_half
    std::vector<QUORIX_FPDOT> dots;  // copies of the grid dots on the half-paths, which point here
    double en_min = 0.0;             // lowest site energy, eV
};

// Reads the CIF and the cube, checks that they describe the same cell and builds the graph of
// sites and hops of the conducting ion; false (after one Error line) on any failure.
bool quorix_site_network_from_files(QuorixSiteNetwork& network, const char* cif, const char* cube, const char* type,
                                    int os, bool periodic, const char* dir_symcards, const char* dir_unitary,
                                    const char* dir_binary);

// Hops are admitted when their saddle lies at most barrier_max above the lowest site (all when
// barrier_max is not positive).
double quorix_site_network_saddle_cap(const QuorixSiteNetwork& network, double barrier_max);
