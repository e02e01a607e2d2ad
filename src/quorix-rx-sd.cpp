// Steepest-descent relaxation: atoms move along their forces (largest move 0.1 A), the cell is
// strained by its stress every step_p steps. Energies, forces and stresses come from a pair list.
#include "quorix-rx-sd.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"
#include "quorix-rx-pairs.hpp"
#include "quorix-rx.hpp"

namespace {

using RxSdPtr = quorix_ptr<QUORIX_RX_SD, quorix_rx_sd_free>;

bool allocated(const void* p, const char* what) {
    if (!p) std::fprintf(stderr, "Error: unable to allocate %s.\n", what);
    return p != nullptr;
}

void zero_fixed_components(const QUORIX_RX_SD* state, double** v) {
    for (long i = 0; i < state->cell->total; i++)
        for (int k = 0; k < 3; k++)
            if (state->fixed[i][k]) v[i][k] = 0;
}

bool forces_converged(const QUORIX_RX_SD* state) {
    for (long i = 0; i < state->cell->total; i++)
        if (quorix_vector3_double_length(state->f[i]) > state->f_conv) return false;
    return true;
}

// The pair list of a run, and the forces found with the last energy while no strain or move
// has changed the cell since.
struct RunPairs {
    QuorixRxPairs pairs;
    std::vector<double> force;
    std::vector<double*> force_rows;
    bool force_current = false;

    explicit RunPairs(long total) : force(3 * total), force_rows(total) {
        for (long i = 0; i < total; i++) force_rows[i] = &force[3 * i];
    }
};

// The pressure measure and one strain of the cell by its stress.
int strain_cell(QUORIX_RX_SD* state, RunPairs& run, bool& pressure_converged) {
    const QuorixEnergyOf energy_of = [&](const QUORIX_CELL* strained) {
        return run.pairs.energy(strained, state->ppt);
    };
    double diagonal[3], shear[3];
    if (quorix_cell_stress_by_strain(diagonal, state->cell, false, energy_of) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_calculate_stress_diagonal() returns non-zero.\n");
        return 1;
    }
    state->p = diagonal[0] + diagonal[1] + diagonal[2];
    if (quorix_cell_stress_by_strain(shear, state->cell, true, energy_of) != 0 ||
        quorix_cell_deform_by_stress(state->cell, diagonal, shear) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_update_by_stress() returns non-zero.\n");
        return 1;
    }
    run.force_current = false;
    pressure_converged = std::fabs(state->p) <= state->p_conv;
    return 0;
}

// One move of the atoms along their forces; sets `forces_done` when no force exceeds f_conv,
// and then leaves the atoms where they are.
int move_atoms(QUORIX_RX_SD* state, RunPairs& run, bool& forces_done) {
    double energy;
    if (!run.force_current && run.pairs.energy_and_force(state->cell, state->ppt, energy, run.force_rows.data()) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_calculate_force() returns non-zero.\n");
        return 1;
    }
    for (long i = 0; i < state->cell->total; i++)
        for (int k = 0; k < 3; k++) state->f[i][k] = run.force_rows[i][k];
    zero_fixed_components(state, state->f);
    if (quorix_cell_calculate_coordinate_step_size_simple(state->dx, state->cell, state->ppt, state->f) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_calculate_coordinate_step_size_simple() returns non-zero.\n");
        return 1;
    }
    forces_done = forces_converged(state);
    if (forces_done) return 0;
    zero_fixed_components(state, state->dx);
    if (quorix_cell_update_coordinate(state->cell, state->dx) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_update_coordinate() returns non-zero.\n");
        return 1;
    }
    run.force_current = false;
    return 0;
}

// The energy after a step; with the forces at the same positions when atoms move next, before
// any strain of the cell (which would make them stale).
int step_energy(QUORIX_RX_SD* state, RunPairs& run) {
    const bool strain_next = state->step_p > 0 && (state->step + 1) % state->step_p == 0;
    if (state->step_limit < 0 || strain_next) {
        state->en = run.pairs.energy(state->cell, state->ppt);
        return 0;
    }
    if (run.pairs.energy_and_force(state->cell, state->ppt, state->en, run.force_rows.data()) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_calculate_force() returns non-zero.\n");
        return 1;
    }
    run.force_current = true;
    return 0;
}

}  // namespace

QUORIX_RX_SD* quorix_rx_sd_new(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    if (!cell || cell->total <= 0 || !cell->atom) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (!ppt) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return nullptr;
    }
    RxSdPtr state(static_cast<QUORIX_RX_SD*>(std::calloc(1, sizeof(QUORIX_RX_SD))));
    if (!allocated(state.get(), "QUORIX_RX_SD")) return nullptr;
    const long total = cell->total;
    state->cell = quorix_cell_copy(cell);
    if (!allocated(state->cell, "QUORIX_RX_SD->cell")) return nullptr;
    state->ppt = quorix_property_copy(ppt);
    if (!allocated(state->ppt, "QUORIX_RX_SD->ppt")) return nullptr;
    state->f = quorix_array_double_2D_new(static_cast<int>(total), 3);
    if (!allocated(state->f, "QUORIX_RX_SD->f")) return nullptr;
    state->dx = quorix_array_double_2D_new(static_cast<int>(total), 3);
    if (!allocated(state->dx, "QUORIX_RX_SD->dx")) return nullptr;
    state->fixed = static_cast<bool(*)[3]>(std::calloc(total, sizeof(bool[3])));
    if (!allocated(state->fixed, "QUORIX_RX_SD->fixed")) return nullptr;
    for (long i = 0; i < total; i++)
        for (bool& component : state->fixed[i]) component = cell->atom[i].ignored;
    state->f_conv = 0.005;
    state->p_conv = 0.001;
    state->step_p = 10;
    state->step_limit = 0;
    return state.release();
}

void quorix_rx_sd_free(QUORIX_RX_SD* state) {
    if (!state) return;
    const int total = state->cell ? static_cast<int>(state->cell->total) : 0;
    quorix_array_double_2D_free(state->f, total);
    quorix_array_double_2D_free(state->dx, total);
    std::free(state->fixed);
    quorix_property_free(state->ppt);
    quorix_cell_free(state->cell);
    std::free(state);
}

int quorix_rx_sd_run(QUORIX_RX_SD* state) {
    if (!state || !state->cell || !state->ppt || !state->f || !state->dx || !state->fixed) {
        std::fprintf(stderr, "Error: QUORIX_RX_SD has not been properly initialized.\n");
        return 1;
    }
    if (state->f_conv <= 0) state->f_conv = 0.005;
    if (state->p_conv <= 0) state->p_conv = 0.001;
    if (state->step_limit < 0) state->step_p = 1;
    std::printf("RX_SD: step_limit=%ld; step_p=%ld; f_conv=%f; p_conv=%f\n", state->step_limit, state->step_p,
                state->f_conv, state->p_conv);
    bool forces_done = true;
    bool pressure_done = true;
    RunPairs run(state->cell->total);
    while (!state->converged) {
        if (state->step_limit != 0 && state->step >= std::labs(state->step_limit)) {
            std::printf("Warning: step limit reached without achieving convergence.\n");
            return 0;
        }
        if (state->step_p > 0 && state->step % state->step_p == 0 && strain_cell(state, run, pressure_done) != 0)
            return 1;
        if (state->step_limit >= 0 && move_atoms(state, run, forces_done) != 0) return 1;
        state->converged = pressure_done && forces_done;
        if (step_energy(state, run) != 0) return 1;
        quorix_rx_sd_print(state);
        state->step += 1;
    }
    std::printf("RX_SD: convergence reached.\n");
    std::printf("RX_SD: unconstrained energy = %f eV\n",
                quorix_cell_calculate_total_energy_unconstrained_part(state->cell, state->ppt));
    std::printf("RX_SD: total energy = %f eV\n", state->en);
    return 0;
}

void quorix_rx_sd_print(const QUORIX_RX_SD* state) {
    if (!state) {
        std::printf("RX_SD: (not allocated)\n");
        return;
    }
    std::printf("RX_SD: step=%3ld; en=%11.6f; p=%9.6f; converged=%s\n", state->step, state->en, state->p,
                state->converged ? "true" : "false");
}

void quorix_rx_sd_print_detail(const QUORIX_RX_SD* state) {
    if (!state || !state->cell || !state->f || !state->dx) {
        std::printf("RX_SD: (not allocated)\n");
        return;
    }
    for (long i = 0; i < state->cell->total; i++) {
        const QUORIX_ATOM& atom = state->cell->atom[i];
        const double* f = state->f[i];
        const double* dx = state->dx[i];
        std::printf("RX_SD: [%3ld]%2s%d%c: %8.5f, %8.5f, %8.5f; %8.5f, %8.5f, %8.5f\n", i, atom.type,
                    std::abs(atom.os), atom.os < 0 ? '-' : '+', f[0], f[1], f[2], dx[0], dx[1], dx[2]);
    }
}

QUORIX_CELL* quorix_cell_relax_sd(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, long step_limit,
                                  const QuorixRxSdSettings* settings) {
    if (!cell || !ppt) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
        return nullptr;
    }
    if (quorix_property_validate_generic(ppt) != 0) {
        std::fprintf(stderr, "Error: quorix_property_validate_generic() returns non-zero.\n");
        return nullptr;
    }
    RxSdPtr state(quorix_rx_sd_new(cell, ppt));
    if (!state) {
        std::fprintf(stderr, "Error: quorix_rx_sd_new() returns NULL.\n");
        return nullptr;
    }
    state->step_limit = step_limit;
    if (settings) {
        state->step_p = settings->step_p;
        state->f_conv = settings->f_conv;
        state->p_conv = settings->p_conv;
        for (long i = 0; i < cell->total; i++)
            for (int k = 0; k < 3; k++) state->fixed[i][k] = quorix_component_fixed(cell, settings->fixed, i, k);
    }
    if (quorix_rx_sd_run(state.get()) != 0) {
        std::fprintf(stderr, "Error: quorix_rx_sd_run() returns non-zero.\n");
        return nullptr;
    }
    QUORIX_CELL* relaxed = quorix_cell_copy(state->cell);
    if (!relaxed) std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
    return relaxed;
}
