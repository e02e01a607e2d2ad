// Steepest-descent relaxation of the atomic positions and, optionally, the cell of a structure.
#pragma once

#include "quorix-import-constraint.hpp"
#include "quorix.hpp"

struct QUORIX_RX_SD {
    QUORIX_CELL* cell;     // the structure being relaxed (owned copy)
    QUORIX_PROPERTY* ppt;  // force field (owned copy)
    double** f;            // forces, one 3-vector per atom
    double** dx;           // displacements, one 3-vector per atom
    bool (*fixed)[3];      // per atom and Cartesian component: true when it does not move
    double f_conv;         // largest force length at convergence
    double p;              // sum of the three diagonal stresses
    double p_conv;         // |p| at convergence
    double en;             // total energy, eV
    long step;
    long step_limit;  // 0: none; > 0: at most that many steps; < 0: cell only, at most |step_limit| steps
    long step_p;      // the cell is strained every step_p steps; never when not positive
    bool converged;
};

QUORIX_RX_SD* quorix_rx_sd_new(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);
void quorix_rx_sd_free(QUORIX_RX_SD* state);
int quorix_rx_sd_run(QUORIX_RX_SD* state);
void quorix_rx_sd_print(const QUORIX_RX_SD* state);
void quorix_rx_sd_print_detail(const QUORIX_RX_SD* state);

// Run settings beyond the step limit; the state's defaults where none are given.
struct QuorixRxSdSettings {
    long step_p = 10;
    double f_conv = 0.005;
    double p_conv = 0.001;
    const QuorixFixedComponents* fixed = nullptr;  // per-component constraints, added to `ignored` atoms
};

// A relaxed copy of the cell, or NULL.
QUORIX_CELL* quorix_cell_relax_sd(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, long step_limit,
                                  const QuorixRxSdSettings* settings = nullptr);
