// Migration network of the conducting ion: sites (landscape minima) joined by hops through
// first-order saddles, built from half-paths; its supercell form, periodic helpers on grid
// indices and positions, and the dimensionality of the network.
#pragma once

#include "quorix-alloc.hpp"
#include "quorix.hpp"

QUORIX_GRAPH* quorix_graph_new(long total_v, long total_e);
void quorix_graph_free(QUORIX_GRAPH* graph);
QUORIX_GRAPH* quorix_graph_new_filled(const QUORIX_FPHALF_LIST* halves, const QUORIX_FFT* fft, QUORIX_CELL* cell,
                                      const QUORIX_PROPERTY* property);
int quorix_graph_assign_occ(QUORIX_GRAPH* graph, const QUORIX_CELL* cell);
int quorix_graph_assign_label(QUORIX_GRAPH* graph, const QUORIX_CELL* cell);
QUORIX_GRAPH* quorix_graph_new_supergraph(const QUORIX_GRAPH* graph, const int* s);

// Dimensionality of the network: the largest rank, over its connected parts, of the lattice of
// net cell-boundary crossings around closed walks. Only hops whose saddle lies at most en_cap
// above the lowest site are used (every hop when en_cap < 0). `basis` (may be null) receives
// an integer basis, rows in echelon form, of the lattice spanned by all parts together; unused
// rows are zero. Returns 0..3, or -1 for a graph that is not there.
int quorix_graph_dimensionality(const QUORIX_GRAPH* graph, double en_cap, int basis[3][3]);

// Periodic helpers: grid points at most one step apart on every axis; the shortest distance
// over the 27 neighbouring images of x1; the unit vector from the nearest such image to x2.
int quorix_dot_adjacent(const long* x_i1, const long* x_i2, const long* n);
double quorix_dot_distance(const double* x1, const double* x2, const double a[3][3]);
void quorix_dot_direction(double* out, const double* x1, const double* x2, const double a[3][3]);

using GraphPtr = quorix_ptr<QUORIX_GRAPH, quorix_graph_free>;
