// Summary of the sites of the migration network (--sites): classes of sites with their energy,
// multiplicity, occupancy, Hessian eigenvalues and hops to other classes.
#pragma once

// Prints the table; de (eV) and dr (A) not positive select 0.01 eV and 0.5 A; hops whose saddle
// lies more than barrier_max above the lowest site are left out when barrier_max is positive.
// 0 on success, 1 (one Error line printed) on failure.
int quorix_graph_sites_calculate_from_file(const char* cif, const char* cube, const char* type, int os, double de,
                                           double dr, double barrier_max, int print_long, int periodic,
                                           const char* dir_symcards, const char* dir_unitary, const char* dir_binary);
