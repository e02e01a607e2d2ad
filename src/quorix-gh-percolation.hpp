// Percolation of the migration network: for each dimension k the lowest saddle energy at which
// hops join a site to its periodic images along k independent cell translations, the cluster
// that does so, and the closed walk (characteristic pathway) whose highest saddle sets it.
#pragma once

#include <vector>

#include "quorix-gh-lattice.hpp"
#include "quorix.hpp"

struct QuorixPercolationLevel {
    bool found = false;
    double en = 0.0;                                // threshold: saddle energy, eV
    quorix_lattice::EchelonLattice translations;    // of the percolating cluster, reduced
    std::vector<long> sites;                        // its vertices
    std::vector<long> hops;                         // its hops, one edge index per pair
    std::vector<const QUORIX_GRAPH_EDGE*> pathway;  // walk from a site to one of its images
};

// Levels of dimensions 1, 2 and 3; hops whose saddle lies above en_cap are left out.
std::vector<QuorixPercolationLevel> quorix_graph_percolation(const QUORIX_GRAPH* graph, double en_cap);

// The --gh driver: prints the thresholds and writes, for each dimension that percolates,
// "<cube>.gh.<k>d.cif" (marker atoms of the cluster) and "<cube>.gh.<k>d.csv" (pathway profile).
// 0 on success, 1 (one Error line printed) on failure.
int quorix_graph_network_calculate_from_file_export_full(const char* cif, const char* cube, const char* type, int os,
                                                         double barrier_max, int periodic, const char* dir_symcards,
                                                         const char* dir_unitary, const char* dir_binary);
