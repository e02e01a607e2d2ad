// KMC output: the trajectory and displacement logs, the printed record and its results.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "quorix-kmc-state.hpp"
#include "quorix-kmc.hpp"

namespace {

char sign_of(int os) { return os < 0 ? '-' : '+'; }

// The tracked ions: the sites where ions started the production run, in site order.
std::vector<long> tracked_ions(const QUORIX_KMC* kmc) {
    std::vector<long> ions;
    for (long o = 0; o < kmc->graph->total_v; o++)
        if (kmc->kv[o].init && kmc->state->where[o] >= 0) ions.push_back(o);
    return ions;
}

bool written(FILE* file) { return !std::ferror(file); }

// A plain xyz frame with element symbols and the supercell, readable by common viewers.
void write_element_frame(const QUORIX_KMC* kmc, const std::vector<long>& ions) {
    FILE* file = kmc->state->xyz_elements;
    if (!file) return;
    const QUORIX_GRAPH* graph = kmc->graph;
    std::fprintf(file, "%zu\n", ions.size());
    std::fprintf(file, "Lattice=\"");
    for (int i = 0; i < 3; i++)
        for (int k = 0; k < 3; k++) std::fprintf(file, i + k ? " %.6lf" : "%.6lf", graph->a[i][k]);
    std::fprintf(file, "\" Properties=species:S:1:pos:R:3 step=%ld t=%.6lf pbc=\"T T T\"\n", kmc->step, kmc->t);
    for (const long o : ions) {
        const double* x = graph->v[kmc->state->where[o]].x;
        std::fprintf(file, "%s %lf %lf %lf\n", graph->type, x[0], x[1], x[2]);
    }
}

// Sites that share a name, in order of first appearance.
struct SiteRow {
    std::string name;
    double occupancy = 0.0;  // summed first, then the mean
    double reference = 0.0;
    long multiplicity = 0;
};

std::vector<SiteRow> site_rows(const QUORIX_KMC* kmc) {
    std::vector<SiteRow> rows;
    for (long v = 0; v < kmc->graph->total_v; v++) {
        const std::string name = kmc->graph->v[v].name;
        SiteRow* row = nullptr;
        for (SiteRow& r : rows)
            if (r.name == name) row = &r;
        if (!row) row = &rows.emplace_back(SiteRow{name});
        row->occupancy += kmc->t_total > 0.0 ? kmc->kv[v].t / kmc->t_total : 0.0;
        row->reference += kmc->graph->v[v].occ;
        row->multiplicity++;
    }
    for (SiteRow& row : rows) {
        row.occupancy /= row.multiplicity;
        row.reference /= row.multiplicity;
    }
    return rows;
}

}  // namespace

bool quorix_kmc_usable(const QUORIX_KMC* kmc) {
    if (kmc && kmc->graph && kmc->kv && kmc->ke && kmc->state) return true;
    std::fprintf(stderr, "Error: QUORIX_KMC has not been properly initialized.\n");
    return false;
}

void quorix_kmc_displacement(const QUORIX_KMC* kmc, long origin, double d[3]) {
    const QUORIX_GRAPH* graph = kmc->graph;
    const long v = kmc->state->where[origin];
    for (int k = 0; k < 3; k++) {
        d[k] = graph->v[v].x[k] - graph->v[origin].x[k];
        for (int j = 0; j < 3; j++) d[k] += kmc->kv[origin].y_i[j] * graph->a[j][k];
    }
}

int quorix_kmc_log(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc)) return 1;
    if (kmc->step_log < 1 || kmc->step % kmc->step_log != 0) return 0;
    if (quorix_kmc_log_trj(kmc)) {
        std::fprintf(stderr, "Error: quorix_kmc_log_trj() returns non-zero.\n");
        return 1;
    }
    if (quorix_kmc_log_xyz(kmc)) {
        std::fprintf(stderr, "Error: quorix_kmc_log_xyz() returns non-zero.\n");
        return 1;
    }
    return 0;
}

int quorix_kmc_log_trj(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc) || !kmc->log) return 1;
    const std::vector<long> ions = tracked_ions(kmc);
    if (kmc->step == 0) {
        std::fprintf(kmc->log, "step,t");
        for (const long o : ions) std::fprintf(kmc->log, ",site%ld_dx,site%ld_dy,site%ld_dz", o, o, o);
        std::fprintf(kmc->log, "\r\n");
    }
    std::fprintf(kmc->log, "%ld,%lf", kmc->step, kmc->t);
    for (const long o : ions) {
        double d[3];
        quorix_kmc_displacement(kmc, o, d);
        std::fprintf(kmc->log, ",%lf,%lf,%lf", d[0], d[1], d[2]);
    }
    std::fprintf(kmc->log, "\r\n");
    return written(kmc->log) ? 0 : 1;
}

int quorix_kmc_log_xyz(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc) || !kmc->xyz) return 1;
    const std::vector<long> ions = tracked_ions(kmc);
    std::fprintf(kmc->xyz, "%ld\n", static_cast<long>(ions.size()));
    std::fprintf(kmc->xyz, "%ld %12.6lf\n", kmc->step, kmc->t);
    for (const long o : ions) {
        const QUORIX_GRAPH_VERTEX& v = kmc->graph->v[kmc->state->where[o]];
        std::fprintf(kmc->xyz, "%s %lf %lf %lf\n", v.name, v.x[0], v.x[1], v.x[2]);
    }
    write_element_frame(kmc, ions);
    return written(kmc->xyz) && (!kmc->state->xyz_elements || written(kmc->state->xyz_elements)) ? 0 : 1;
}

// ---------------------------------------------------------------- printing

void quorix_kmc_print(const QUORIX_KMC* kmc) {
    if (!kmc || !kmc->graph) {
        std::printf("KMC: (not allocated)\n");
        return;
    }
    quorix_kmc_print_short(kmc);
    for (long v = 0; v < kmc->graph->total_v; v++)
        std::printf("KMC: site %ld [%s] en = %.4lf eV; occupied = %d; neighbours = %ld; saddles near = %ld\n", v,
                    kmc->graph->v[v].name, kmc->kv[v].en, kmc->kv[v].occupied ? 1 : 0, kmc->kv[v].total_v,
                    kmc->kv[v].total_e);
    for (long m = 0; m < kmc->graph->total_e; m++)
        std::printf("KMC: hop %ld: %ld -> %ld; en = %.4lf eV; l = %.3lf A; f = %.3lf THz; r = %.3e /ps\n", m,
                    kmc->graph->e[m].v_i->index, kmc->graph->e[m].v_f->index, kmc->ke[m].en, kmc->ke[m].l, kmc->ke[m].f,
                    kmc->ke[m].r);
}

void quorix_kmc_print_short(const QUORIX_KMC* kmc) {
    if (!kmc || !kmc->graph) {
        std::printf("KMC: (not allocated)\n");
        return;
    }
    std::printf("KMC: %ld sites, %ld hops; step = %ld; t = %.3e ps; temperature = %.2lf K\n", kmc->graph->total_v,
                kmc->graph->total_e, kmc->step, kmc->t, kmc->temperature);
}

void quorix_kmc_print_result(const QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc)) return;
    const QUORIX_GRAPH* graph = kmc->graph;
    std::printf("KMC: temperature = %.3lf\n", kmc->temperature);
    std::printf("KMC: conducting species: %s%d%c\n", graph->type, std::abs(graph->os), sign_of(graph->os));
    std::printf("KMC: time = %.1e / %.1e (time_total = %.1e) fs\n", kmc->t, kmc->t_limit, kmc->t_total);
    std::printf("KMC: step = %ld / %ld; step_log = %ld\n", kmc->step, kmc->step_limit, kmc->step_log);
    const double* s = kmc->displacement;
    std::printf("KMC: displacement = %lf, (%lf, %lf, %lf) A\n", s[3], s[0], s[1], s[2]);
    s = kmc->diffusivity;
    std::printf("KMC: diffusivity = %.2e, (%.2e, %.2e, %.2e) E-8 m^2/s\n", s[3], s[0], s[1], s[2]);
    s = kmc->mobility;
    std::printf("KMC: mobility = %.2e, (%.2e, %.2e, %.2e) E-8 m^2/(V*s)\n", s[3], s[0], s[1], s[2]);
    s = kmc->conductivity;
    std::printf("KMC: conductivity = %.2e, (%.2e, %.2e, %.2e) S/cm\n", s[3], s[0], s[1], s[2]);
    std::printf("KMC: total site = %ld\n", graph->total_v);
    std::printf("KMC: summary of site-averaged occupancy:\n");
    double occupancy = 0.0, reference = 0.0;
    for (const SiteRow& row : site_rows(kmc)) {
        std::printf("KMC: [%8s] %.3lf (multiplicity = %4ld)\n", row.name.c_str(), row.occupancy, row.multiplicity);
        occupancy += row.occupancy;
        reference += row.reference;
    }
    std::printf("KMC: [%8s] %.3lf / %.3lf\n", "total", occupancy, reference);
    std::printf("KMC: displacement information saved to %s\n", kmc->logname);
    std::printf("KMC: trajectory information saved to %s\n", kmc->xyzname);
}

