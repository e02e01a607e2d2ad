// Molecular dynamics of the conducting ions in a fixed framework.
#include "quorix-md.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "quorix-cube.hpp"
#include "quorix-file.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-write.hpp"
#include "quorix-la.hpp"
#include "quorix-rx-pair-term.hpp"
#include "quorix-rx-neighbour.hpp"
#include "quorix-rx-pair-table.hpp"

namespace {

constexpr double kBoltzmann = 8.6173324e-5;       // eV/K
constexpr double kMassPerAmu = 0.000103642699;    // eV ps^2 / A^2
constexpr double kEvPerA3InGpa = 160.21766208;    // pressure unit
constexpr double kSkin = 0.5;                     // A, neighbour-list margin
constexpr double kLongestStep = 0.5;              // A, farthest an ion may move in one step (standard model)
constexpr double kShortestDistance = 0.1;         // A, closer pairs are skipped with a warning
constexpr std::int64_t kDefaultStepLog = 100;
constexpr double kMostSteps = 1e12;  // no run gets this far; t += dt stays exact enough below it

// A pair term with the table of its force, for pairs with a mobile ion.
struct PairTerm : QuorixPairTerm {
    QuorixPairTable force_over_d;  // dE/dr / d
};

char sign_of(int os) { return os > 0 ? '+' : '-'; }

// Box-Muller: mean + spread * cos(2 pi u2) * sqrt(-2 ln u1), u1 and u2 in (0, 1].
double normal(double mean, double spread) {
    double u1 = 0, u2 = 0;
    while (u1 == 0) u1 = quorix_random();
    while (u2 == 0) u2 = quorix_random();
    return mean + spread * std::cos(6.283185307179586 * u2) * std::sqrt(-2.0 * std::log(u1));
}

}  // namespace

struct QuorixMdWork {
    // In eV throughout, with the reaches of the lattice energy (bonding terms to the pair
    // cutoff, Coulomb terms to the larger of 10 A and the largest cutoff), and a thermostat that
    // samples the target temperature; otherwise the Coulomb term alone is converted to eV, every
    // term reaches 10 A, and the same noise enters both half steps.
    bool standard = false;
    QuorixNeighbourList neighbours{kQuorixCoulombReach, kSkin};
    std::vector<char> mobile;
    std::vector<int> species;
    std::vector<PairTerm> pairs;  // species i * total + species j
    long mobile_count = 0;
    double reciprocal[3][3] = {};  // fractional = reciprocal * Cartesian
    double virial = 0;             // sum over pairs of dE/dr * d, eV
    QuorixResultFile log_file, xyz_file, trj_file;  // renamed into place by commit_logs()
    long samples = 0;
    double sum_en = 0, sum_en_k = 0, sum_en_p = 0, sum_pressure = 0;
};

namespace {

bool usable(const QUORIX_MD* md) {
    if (md && md->cell && md->ppt && md->x && md->work) return true;
    std::fprintf(stderr, "Error: QUORIX_MD has not been properly initialized.\n");
    return false;
}

int fail(const char* callee) {
    std::fprintf(stderr, "Error: %s returns non-zero.\n", callee);
    return 1;
}

void free_vectors(double** p, long count) { quorix_array_double_2D_free(p, static_cast<int>(count)); }

// Species of every atom and the pair terms of every pair of species; false when an atom's species
// is not in the set.
bool build_pair_tables(QUORIX_MD* md) {
    QuorixMdWork& work = *md->work;
    const QUORIX_PROPERTY* ppt = md->ppt;
    work.species = quorix_property_species_of_atoms(ppt, md->cell);
    if (!quorix_property_all_found(work.species)) {
        std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
        return false;
    }
    work.pairs.assign(ppt->total * ppt->total, PairTerm{});
    const QuorixPairModel model = work.standard ? QuorixPairModel::lattice : QuorixPairModel::md;
    double list_reach = 0;
    for (int a = 0; a < ppt->total; a++) {
        for (int b = 0; b < ppt->total; b++) {
            PairTerm& term = work.pairs[a * ppt->total + b];
            static_cast<QuorixPairTerm&>(term) = quorix_pair_term(ppt, a, b, model);
            if (term.interacts) list_reach = std::max(list_reach, term.reach);
        }
    }
    work.neighbours = QuorixNeighbourList(list_reach, kSkin);
    std::vector<char> mobile_species(ppt->total, 0);
    for (long i = 0; i < md->cell->total; i++)
        if (work.mobile[i]) mobile_species[work.species[i]] = 1;
    for (int a = 0; a < ppt->total; a++) {
        if (!mobile_species[a]) continue;
        for (int b = 0; b < ppt->total; b++) {
            PairTerm& term = work.pairs[a * ppt->total + b];
            if (!term.interacts) continue;
            // Tabulated a little past the reach, so that the table stays smooth; cut by the caller.
            term.force_over_d.build(term.reach + 0.1, [&term](double d) { return term.slope(d) / d; });
        }
    }
    return true;
}

// The atom of a mobile ion at x, wrapped into the cell. Fixed atoms are never rewritten, so their
// coordinates stay exactly as read.
void place_atom(QUORIX_MD* md, long i, const double* x) {
    QUORIX_ATOM& atom = md->cell->atom[i];
    for (int k = 0; k < 3; k++) {
        atom.x_f[k] = quorix_vector3_double_dot(md->work->reciprocal[k], x);
        atom.x_f[k] -= std::floor(atom.x_f[k]);
    }
    quorix_vector3_double_sum3(atom.x, md->cell->a[0], atom.x_f[0], md->cell->a[1], atom.x_f[1], md->cell->a[2],
                               atom.x_f[2]);
}

// One velocity Verlet step; the Langevin step adds friction and noise, the same draws md->r in
// both half steps.
int advance(QUORIX_MD* md, bool langevin) {
    if (!usable(md)) return 1;
    const std::vector<char>& mobile = md->work->mobile;
    const long total = md->cell->total;
    const double zeta = langevin ? md->zeta : 0.0;
    md->step += 1;
    md->t += md->dt;
    for (long i = 0; i < total; i++)
        for (int k = 0; k < 3; k++) md->r[i][k] = langevin && mobile[i] ? normal(0.0, 1.0) : 0.0;
    auto noise = [&](long i, int k) {
        return langevin ? std::sqrt(kBoltzmann * md->dt * md->temperature_target * zeta / md->m[i]) * md->r[i][k]
                        : 0.0;
    };
    for (long i = 0; i < total; i++) {
        if (!mobile[i]) continue;
        for (int k = 0; k < 3; k++) {
            md->v_nh[i][k] =
                md->v[i][k] + md->dt / 2 * (md->f[i][k] / md->m[i] - zeta * md->v[i][k]) + noise(i, k);
            md->x_p1[i][k] = md->x[i][k] + md->dt * md->v_nh[i][k];
        }
        // In the standard model, an ion moving more than 0.5 A in one step means a time step too
        // long for the forces: the run has blown up. The original model goes on as it always has.
        const double moved = md->dt * std::hypot(md->v_nh[i][0], md->v_nh[i][1], md->v_nh[i][2]);
        if (md->work->standard && !(moved <= kLongestStep)) {
            std::fprintf(stderr, "Error: atom %ld moved %g A in one time step of %g ps; the time step is too long.\n",
                         i, moved, md->dt);
            return 1;
        }
        for (int k = 0; k < 3; k++) md->x[i][k] = md->x_p1[i][k];
        place_atom(md, i, md->x[i]);
    }
    if (quorix_md_calculate_force(md)) return fail("quorix_md_calculate_force()");
    for (long i = 0; i < total; i++) {
        if (!mobile[i]) continue;
        for (int k = 0; k < 3; k++)
            md->v[i][k] = md->v_nh[i][k] + md->dt / 2 * (md->f[i][k] / md->m[i] - zeta * md->v_nh[i][k]) +
                          noise(i, k);
    }
    return 0;
}

// Exact Ornstein-Uhlenbeck update of the mobile velocities over half a step:
// v <- c v + sqrt((1 - c^2) kT / m) r with c = exp(-zeta dt / 2) and fresh standard normal r.
void thermalize_half_step(QUORIX_MD* md) {
    const double c = std::exp(-0.5 * md->zeta * md->dt);
    for (long i = 0; i < md->cell->total; i++) {
        if (!md->work->mobile[i]) continue;
        const double spread = std::sqrt((1.0 - c * c) * kBoltzmann * md->temperature_target / md->m[i]);
        for (int k = 0; k < 3; k++) md->v[i][k] = c * md->v[i][k] + spread * normal(0.0, 1.0);
    }
}

// A log written to a temporary file until the run is complete; null when it cannot be made.
FILE* open_log(QuorixResultFile& file, const char* name) {
    const QuorixOpen status = file.open(name);
    if (status == QuorixOpen::failed) std::fprintf(stderr, "Error: unable to write to %s.\n", name);
    return status == QuorixOpen::ok ? file.get() : nullptr;
}

void write_headers(QUORIX_MD* md) {
    std::fputs("step, t, T, T_ave, en_k, en_p, en, en_ave, P, P_ave, displacement, diffusivity, mobility, "
               "conductivity\r\n",
               md->log);
    std::fputs("t, d_ave, ", md->trj);
    long written = 0;
    for (long i = 0; i < md->cell->total; i++) {
        if (!md->work->mobile[i]) continue;
        written++;
        std::fprintf(md->trj, "d_%ld_%s%s", i, md->cell->atom[i].name,
                     written == md->work->mobile_count ? "\n" : ", ");
    }
}

int open_logs(QUORIX_MD* md) {
    QuorixMdWork& work = *md->work;
    md->log = open_log(work.log_file, md->logname);
    if (!md->log) return 1;
    md->xyz = open_log(work.xyz_file, md->xyzname);
    if (!md->xyz) return 1;
    md->trj = open_log(work.trj_file, md->trjname);
    if (!md->trj) return 1;
    write_headers(md);
    return 0;
}

// Renames the three logs into place; 1 when one of them could not be written.
int commit_logs(QUORIX_MD* md) {
    QuorixMdWork& work = *md->work;
    md->log = md->xyz = md->trj = nullptr;
    const bool log = work.log_file.commit(), xyz = work.xyz_file.commit(), trj = work.trj_file.commit();
    return log && xyz && trj ? 0 : 1;
}

int set_masses(QUORIX_MD* md) {
    const std::vector<int> species = quorix_property_species_of_atoms(md->ppt, md->cell);
    if (!quorix_property_all_found(species)) {
        std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
        return 1;
    }
    for (long i = 0; i < md->cell->total; i++) md->m[i] = kMassPerAmu * md->ppt->uni[species[i]].m;
    return 0;
}

double distance_from_start(const QUORIX_MD* md, long i) {
    double d2 = 0;
    for (int k = 0; k < 3; k++) d2 += (md->x[i][k] - md->x0[i][k]) * (md->x[i][k] - md->x0[i][k]);
    return std::sqrt(d2);
}

void reset_results(QUORIX_MD* md) {
    md->displacement = md->diffusivity = md->mobility = md->conductivity = 0;
}

// Runs Langevin steps while t < t_stop with a mark for every 5 % of it; sample() after each step.
template <class Sample>
int run_phase(QUORIX_MD* md, const char* phase, double t_stop, const char* end, Sample sample) {
    std::printf("MD: %s phase\n", phase);
    std::printf("MD: target  : --------------------\n");
    std::printf("MD: progress: ");
    std::fflush(stdout);
    int marks = 0;
    while (md->t < t_stop) {
        if (md->work->standard ? quorix_md_update_langevin_std(md) : quorix_md_update_vv_langevin(md)) {
            std::fprintf(stderr, "Error: %s() returns non-zero.\n",
                         md->work->standard ? "quorix_md_update_langevin_std" : "quorix_md_update_vv_langevin");
            return 1;
        }
        if (sample()) return 1;
        for (; marks < 20 && md->t >= (marks + 1) * 0.05 * t_stop; marks++) std::fputc('-', stdout);
        std::fflush(stdout);
    }
    std::printf("%s\n", end);
    return 0;
}

// One sample of the production run: observables, averages, results and the three logs.
int sample_production(QUORIX_MD* md) {
    struct Stage {
        int (*call)(QUORIX_MD*);
        const char* name;
    };
    static constexpr Stage kStages[] = {
        {quorix_md_calculate_energy, "quorix_md_calculate_energy()"},
        {quorix_md_calculate_temperature, "quorix_md_calculate_temperature()"},
        {quorix_md_calculate_pressure, "quorix_md_calculate_pressure()"},
        {quorix_md_calculate_average, "quorix_md_calculate_average()"},
        {quorix_md_calculate_conduction_property, "quorix_md_calculate_conduction_property()"},
        {quorix_md_log_sample, "quorix_md_log_sample()"},
        {quorix_md_log_xyz, "quorix_md_log_xyz()"},
        {quorix_md_log_trj, "quorix_md_log_trj()"},
    };
    for (const Stage& stage : kStages)
        if (stage.call(md)) return fail(stage.name);
    return 0;
}

}  // namespace

QUORIX_MD* quorix_md_new(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, double temperature_target,
                         double t_end, double t_equil, double dt, double zeta, std::int64_t step_log) {
    if (!cell || cell->total <= 0 || !cell->atom) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (!ppt || ppt->conducting < 0 || ppt->conducting >= ppt->total) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return nullptr;
    }
    MdPtr md(static_cast<QUORIX_MD*>(std::calloc(1, sizeof(QUORIX_MD))));
    if (!md) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_MD.\n");
        return nullptr;
    }
    md->cell = quorix_cell_copy(cell);
    if (!md->cell) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return nullptr;
    }
    md->ppt = quorix_property_copy(ppt);
    if (!md->ppt) {
        std::fprintf(stderr, "Error: quorix_property_copy() returns NULL.\n");
        return nullptr;
    }
    const int n = static_cast<int>(cell->total);
    md->m = quorix_array_double_1D_new(n);
    for (double*** vectors : {&md->x, &md->x0, &md->x_p1, &md->v, &md->v_nh, &md->f, &md->r}) {
        *vectors = quorix_array_double_2D_new(n, 3);
        if (!*vectors) return nullptr;
    }
    if (!md->m) return nullptr;
    md->work = new QuorixMdWork;
    md->temperature_target = temperature_target;
    md->t_end = t_end;
    md->t_equil = t_equil;
    md->dt = dt;
    md->zeta = zeta;
    md->step_log = step_log;
    return md.release();
}

void quorix_md_free(QUORIX_MD* md) {
    if (!md) return;
    const long n = md->cell ? md->cell->total : 0;
    for (double** vectors : {md->x, md->x0, md->x_p1, md->v, md->v_nh, md->f, md->r}) free_vectors(vectors, n);
    quorix_array_double_1D_free(md->m);
    quorix_cell_free(md->cell);
    quorix_property_free(md->ppt);
    delete md->work;
    std::free(md);
}

void quorix_md_print(const QUORIX_MD* md) {
    if (!md || !md->cell) {
        std::printf("MD: (not allocated)\n");
        return;
    }
    const long mobile = md->work ? md->work->mobile_count : 0;
    std::printf("MD: total atoms = %ld, free atoms = %ld\n", md->cell->total, mobile);
    std::printf("MD: t_end = %lf, t_equil = %lf, dt = %lf, t_log = %lf\n", md->t_end, md->t_equil, md->dt, md->t_log);
    std::printf("MD: en = %lf, en_k = %lf, en_p = %lf\n", md->en, md->en_k, md->en_p);
    std::printf("MD: T = %.3lf, T_int = %.3lf, T_target = %.3lf\n", md->temperature, md->temperature_init,
                md->temperature_target);
    std::printf("MD: P = %lf\n", md->pressure);
    std::printf("MD: V = %.2lf\n", md->volume);
    std::printf("MD: zeta = %.3lf\n", md->zeta);
    std::printf("MD: center of mass at (%.3lf, %.3lf, %.3lf).\n", md->x_com[0], md->x_com[1], md->x_com[2]);
}

int quorix_md_init_vv(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    auto default_if_not_positive = [](double& value, double fallback) {
        if (!(value > 0)) value = fallback;
    };
    default_if_not_positive(md->temperature_init, 10.0);
    default_if_not_positive(md->temperature_target, 300.0);
    default_if_not_positive(md->dt, 0.001);
    default_if_not_positive(md->zeta, 2.0);
    default_if_not_positive(md->t_end, 10.0);
    default_if_not_positive(md->t_equil, 2.0);
    if (md->step_log <= 0) md->step_log = kDefaultStepLog;
    md->t_log = static_cast<double>(md->step_log) * md->dt;
    const double t_longer = std::max(md->t_end, md->t_equil);
    if (!(t_longer / md->dt <= kMostSteps)) {
        std::fprintf(stderr, "Error: a run of %g ps in steps of %g ps takes more than %.0e steps.\n", t_longer,
                     md->dt, kMostSteps);
        return 1;
    }

    QuorixMdWork& work = *md->work;
    work.mobile.assign(md->cell->total, 0);
    work.mobile_count = 0;
    for (long i = 0; i < md->cell->total; i++) {
        work.mobile[i] = !md->cell->atom[i].ignored;
        work.mobile_count += work.mobile[i];
    }
    if (work.mobile_count == 0) {
        std::fprintf(stderr, "Error: no mobile ion in QUORIX_MD.\n");
        return 1;
    }
    if (open_logs(md) || set_masses(md) || !build_pair_tables(md)) return 1;
    md->volume = quorix_cell_calculate_volume(md->cell);
    double width[3];
    quorix_lattice_reciprocal(md->cell->a, md->work->reciprocal, width);
    for (long i = 0; i < md->cell->total; i++)
        for (int k = 0; k < 3; k++) md->x[i][k] = md->x0[i][k] = md->cell->atom[i].x[k];
    if (work.neighbours.build(md->cell, work.mobile, work.species, md->x)) return fail("QuorixNeighbourList::build()");
    if (quorix_md_calculate_force(md)) return fail("quorix_md_calculate_force()");
    if (quorix_md_calculate_vi_vv(md)) return fail("quorix_md_calculate_vi_vv()");
    if (quorix_md_calculate_energy(md)) return fail("quorix_md_calculate_energy()");
    if (quorix_md_calculate_temperature(md)) return fail("quorix_md_calculate_temperature()");
    if (quorix_md_calculate_pressure(md)) return fail("quorix_md_calculate_pressure()");
    return 0;
}

// The spread kT/m is used as it stands, not its square root, except in the standard run, whose
// velocities follow the Maxwell-Boltzmann distribution.
int quorix_md_calculate_vi_vv(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    const std::vector<char>& mobile = md->work->mobile;
    double momentum[3] = {0, 0, 0};
    for (long i = 0; i < md->cell->total; i++) {
        if (!mobile[i]) continue;
        const double spread = kBoltzmann * md->temperature_init / md->m[i];
        for (int k = 0; k < 3; k++) {
            md->v[i][k] = normal(0.0, md->work->standard ? std::sqrt(spread) : spread);
            momentum[k] += md->m[i] * md->v[i][k];
        }
    }
    for (long i = 0; i < md->cell->total; i++)
        if (mobile[i])
            for (int k = 0; k < 3; k++) md->v[i][k] -= momentum[k] / md->work->mobile_count / md->m[i];
    return 0;
}

namespace {

// dE/dr / d of one pair, possibly closer than the table starts.
double force_over_distance(const PairTerm& term, double d, std::int64_t step) {
    if (d > term.reach) return 0.0;
    if (d >= QuorixPairTable::kStart) return term.force_over_d(d);
    if (d < kShortestDistance) {
        std::printf("Warning: unphysically low distance %lf detected at step %ld.\n", d, static_cast<long>(step));
        return 0.0;
    }
    return term.interacts ? term.slope(d) / d : 0.0;
}

// dE/dr / d of one pair term, from its table beyond 1 A; kQuorixLanes pairs at a time. Holds
// copies of what the force loop reads, so that nothing is reloaded pair after pair.
class ForceOverDistance {
public:
    static constexpr double far_from = QuorixPairTable::kStart;

    ForceOverDistance(const PairTerm& term, std::int64_t step)
        : term_(term), table_(term.force_over_d.view()), reach_(quorix_lanes_broadcast(term.reach)), step_(step) {}

    QuorixLanes operator()(QuorixLanes d_squared) const {
        const QuorixLanes d = quorix_lanes_sqrt(d_squared);
        const auto untabulated = d < QuorixPairTable::kStart;
        if (!(untabulated[0] | untabulated[1])) return tabulated(d);
        QuorixLanes factor;
        for (int k = 0; k < kQuorixLanes; k++) factor[k] = force_over_distance(term_, d[k], step_);
        return factor;
    }

    // The same where every distance is at least far_from.
    QuorixLanes far(QuorixLanes d_squared) const { return tabulated(quorix_lanes_sqrt(d_squared)); }

private:
    QuorixLanes tabulated(QuorixLanes d) const { return d <= reach_ ? table_(d) : QuorixLanes{}; }

    const PairTerm& term_;
    QuorixPairTable::View table_;
    QuorixLanes reach_;
    std::int64_t step_;
};

}  // namespace

// Each pair of a mobile ion with another atom (image) comes once from the neighbour list; beyond
// 1 A its force comes from the table of the pair term. Occupancies do not weight the forces.
int quorix_md_calculate_force(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    QuorixMdWork& work = *md->work;
    if (work.neighbours.refresh(md->x)) return fail("QuorixNeighbourList::refresh()");
    for (long i = 0; i < md->cell->total; i++) md->f[i][0] = md->f[i][1] = md->f[i][2] = 0;
    const int species_total = md->ppt->total;
    work.neighbours.add_pair_forces(md->f, [&](long i, int species_j) {
        return ForceOverDistance{work.pairs[work.species[i] * species_total + species_j], md->step};
    });
    return 0;
}

namespace {

// The potential energy of the pairs with a mobile ion and their virial (sum of dE/dr * d), from
// the pair terms themselves, at the positions of the last refresh of the neighbour list.
void potential_energy_and_virial(QUORIX_MD* md) {
    QuorixMdWork& work = *md->work;
    const int species_total = md->ppt->total;
    double energy = 0, virial = 0;
    work.neighbours.for_each_pair([&](long i, long j, const double*, double s, bool) {
        const PairTerm& term = work.pairs[work.species[i] * species_total + work.species[j]];
        const double d = std::sqrt(s);
        if (d < kShortestDistance || !term.interacts || d > term.reach) return;
        energy += term.energy(d);
        virial += term.slope(d) * d;
    });
    md->en_p = energy;
    work.virial = virial;
}

}  // namespace

int quorix_md_calculate_energy(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    // A no-op where the forces were just computed, as they are in a run.
    if (md->work->neighbours.refresh(md->x)) return fail("QuorixNeighbourList::refresh()");
    double kinetic = 0, mass = 0, com[3] = {0, 0, 0};
    for (long i = 0; i < md->cell->total; i++) {
        if (!md->work->mobile[i]) continue;
        kinetic += 0.5 * md->m[i] * quorix_vector3_double_dot(md->v[i], md->v[i]) * md->cell->atom[i].occ;
        mass += md->m[i];
        for (int k = 0; k < 3; k++) com[k] += md->m[i] * md->x[i][k];
    }
    for (int k = 0; k < 3; k++) md->x_com[k] = com[k] / mass;
    md->en_k = kinetic;
    potential_energy_and_virial(md);
    md->en = md->en_k + md->en_p;
    return 0;
}

int quorix_md_calculate_temperature(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    md->temperature = 2.0 * md->en_k / (3.0 * md->work->mobile_count * kBoltzmann);
    return 0;
}

// Virial pressure of the mobile ions: (2 en_k - sum of dE/dr * r) / 3V, in GPa.
int quorix_md_calculate_pressure(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    if (!(md->volume > 0)) {
        std::fprintf(stderr, "Error: the volume of the cell is not positive.\n");
        return 1;
    }
    md->pressure = (2.0 * md->en_k - md->work->virial) / (3.0 * md->volume) * kEvPerA3InGpa;
    return 0;
}

int quorix_md_calculate_average(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    QuorixMdWork& work = *md->work;
    work.samples += 1;
    work.sum_en += md->en;
    work.sum_en_k += md->en_k;
    work.sum_en_p += md->en_p;
    work.sum_pressure += md->pressure;
    const double n = static_cast<double>(work.samples);
    md->en_ave = work.sum_en / n;
    md->en_k_ave = work.sum_en_k / n;
    md->en_p_ave = work.sum_en_p / n;
    md->temperature_ave = 2.0 * md->en_k_ave / (3.0 * work.mobile_count * kBoltzmann);
    md->pressure_ave = work.sum_pressure / n;
    return 0;
}

int quorix_md_calculate_conduction_property(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    reset_results(md);
    if (!(md->t > 0)) return 0;
    const int c = md->ppt->conducting;
    const int os = md->ppt->os[c];
    long n = 0;
    double sum = 0, sum_squares = 0;
    for (long i = 0; i < md->cell->total; i++) {
        const QUORIX_ATOM& atom = md->cell->atom[i];
        if (!md->work->mobile[i] || atom.os != os || std::string(atom.type) != md->ppt->type[c]) continue;
        const double d = distance_from_start(md, i);
        n++;
        sum += d;
        sum_squares += d * d;
    }
    if (n == 0) return 0;
    md->displacement = sum / n;
    md->diffusivity = sum_squares / n / (6.0 * md->t);
    if (md->temperature_ave > 0) md->mobility = os / md->temperature_ave * 11604.52 * md->diffusivity;
    md->conductivity = (n / md->volume) * os * 1.60217662 * md->mobility * 10.0;
    return 0;
}

int quorix_md_update_vv_langevin(QUORIX_MD* md) { return advance(md, true); }

int quorix_md_update_vv(QUORIX_MD* md) { return advance(md, false); }

void quorix_md_use_standard_model(QUORIX_MD* md) {
    if (md && md->work) md->work->standard = true;
}

int quorix_md_update_langevin_std(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    thermalize_half_step(md);
    if (quorix_md_update_vv(md)) return fail("quorix_md_update_vv()");
    thermalize_half_step(md);
    return 0;
}

int quorix_md_equilibrate(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    if (run_phase(md, "equilibration", md->t_equil, "+", [] { return 0; })) return 1;
    md->step = 0;
    md->t = 0;
    reset_results(md);
    for (long i = 0; i < md->cell->total; i++)
        for (int k = 0; k < 3; k++) md->x0[i][k] = md->x[i][k];
    return 0;
}

int quorix_md_run(QUORIX_MD* md) {
    if (!usable(md)) return 1;
    return run_phase(md, "production", md->t_end, "*",
                     [md] { return md->step % md->step_log == 0 ? sample_production(md) : 0; });
}

int quorix_md_log_sample(QUORIX_MD* md) {
    if (!usable(md) || !md->log) return 1;
    std::fprintf(md->log, "%ld, %lf, %lf, %lf, %lf, %lf, %lf, %lf, %lf, %lf, %lf, %e, %e, %e\r\n",
                 static_cast<long>(md->step), md->t, md->temperature, md->temperature_ave, md->en_k, md->en_p, md->en,
                 md->en_ave, md->pressure, md->pressure_ave, md->displacement, md->diffusivity, md->mobility,
                 md->conductivity);
    return std::ferror(md->log) ? 1 : 0;
}

int quorix_md_log_xyz(QUORIX_MD* md) {
    if (!usable(md) || !md->xyz) return 1;
    std::fprintf(md->xyz, "%ld\n", md->cell->total);
    std::fprintf(md->xyz, "%ld %12.6lf\n", static_cast<long>(md->step), md->t);
    for (long i = 0; i < md->cell->total; i++) {
        const QUORIX_ATOM& atom = md->cell->atom[i];
        std::fprintf(md->xyz, "%s %lf %lf %lf\n", atom.type, atom.x[0], atom.x[1], atom.x[2]);
    }
    return std::ferror(md->xyz) ? 1 : 0;
}

int quorix_md_log_trj(QUORIX_MD* md) {
    if (!usable(md) || !md->trj) return 1;
    std::vector<double> distances;
    double sum = 0;
    for (long i = 0; i < md->cell->total; i++) {
        if (!md->work->mobile[i]) continue;
        distances.push_back(distance_from_start(md, i));
        sum += distances.back();
    }
    std::fprintf(md->trj, "%lf, %lf, ", md->t, sum / distances.size());
    for (size_t n = 0; n < distances.size(); n++)
        std::fprintf(md->trj, "%lf%s", distances[n], n + 1 == distances.size() ? "\n" : ", ");
    return std::ferror(md->trj) ? 1 : 0;
}

int quorix_property_set_conducting(QUORIX_PROPERTY* ppt, const char* type, int os) {
    if (!ppt || !type) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    const int index = quorix_property_find_index(ppt, type, os);
    if (index < 0) {
        std::fprintf(stderr, "Error: the structure holds no %s%d%c ions.\n", type, std::abs(os), sign_of(os));
        return 1;
    }
    ppt->conducting = index;
    return 0;
}

namespace {

// True when a conducting ion is partially occupied or shares its site with another species.
bool conducting_sites_partial(QUORIX_CELL* cell, const char* type, int os) {
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        if (atom.os == os && std::string(atom.type) == type && atom.occ < 1.0 - 1e-6) return true;
    }
    return quorix_cell_partial_occ_at_conducting_site(cell, type, os);
}

// Checks that every output can be written before any is truncated; files that did not exist
// before are removed again.
bool outputs_writable(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        std::error_code error;
        const bool existed = std::filesystem::exists(name, error);
        FILE* file = std::fopen(name.c_str(), "ab");
        if (!file) {
            std::fprintf(stderr, "Error: unable to write to %s.\n", name.c_str());
            return false;
        }
        std::fclose(file);
        if (!existed) std::filesystem::remove(name, error);
    }
    return true;
}

// The cell of the CIF with only the conducting ions free, and its parameter set.
int prepare(const char* cif, const char* type, int os, double sf, const char* dir_symcards, const char* dir_unitary,
            const char* dir_binary, CellPtr& cell, PropertyPtr& ppt) {
    cell.reset(quorix_cell_import_cif_structure(cif, dir_symcards, dir_unitary));
    if (!cell) return 1;
    if (conducting_sites_partial(cell.get(), type, os)) {
        std::fprintf(stderr, "Error: the %s%d%c sites are partially occupied; molecular dynamics needs them full.\n",
                     type, std::abs(os), sign_of(os));
        return 1;
    }
    ppt.reset(quorix_property_import_from_cell(cell.get(), nullptr, 0, sf, dir_unitary, dir_binary));
    if (!ppt) {
        std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
        return 1;
    }
    if (quorix_property_set_conducting(ppt.get(), type, os)) return fail("quorix_property_set_conducting()");
    if (quorix_cube_validate_property(ppt.get())) return fail("quorix_cube_validate_property()");
    for (long i = 0; i < cell->total; i++)
        cell->atom[i].ignored = !(cell->atom[i].os == os && std::string(cell->atom[i].type) == type);
    return 0;
}

void print_results(const QUORIX_MD* md) {
    std::printf("MD: displacement = %lf\n", md->displacement);
    std::printf("MD: diffusivity = %e\n", md->diffusivity);
    std::printf("MD: mobility = %e\n", md->mobility);
    std::printf("MD: conductivity = %e\n", md->conductivity);
    // Mobility and conductivity divide by the mean temperature of the samples.
    if (!(md->temperature_ave > 0)) {
        std::fflush(stdout);
        std::fprintf(stderr,
                     "Warning: the production run (%g ps) took no sample (one every %g ps), so mobility and "
                     "conductivity, which need the mean temperature, are 0; run longer or sample more often.\n",
                     md->t_end, md->t_log);
    }
    std::printf("Message: observables saved to %s\n", md->logname);
    std::printf("Message: displacements saved to %s\n", md->trjname);
    std::printf("Message: structures saved to %s\n", md->xyzname);
}

// Samples between the logged steps: t_log / dt steps, or the default when t_log is not positive.
std::int64_t steps_between_samples(double t_log, double dt) {
    if (!(t_log > 0)) return kDefaultStepLog;
    const double steps = std::round(t_log / (dt > 0 ? dt : 0.001));
    return static_cast<std::int64_t>(std::clamp(steps, 1.0, 1e15));
}

// The run of both pipelines; `standard` selects the standard model, whose velocities start at the
// target temperature, and `suffix` the result names (input name + suffix + ".txt" etc.).
int conduction_run(const QuorixMdSettings& settings, bool standard, const char* suffix) {
    const char* cif = settings.cif;
    if (!cif || !settings.type) return -1;
    CellPtr cell;
    PropertyPtr ppt;
    if (prepare(cif, settings.type, settings.os, settings.sf, settings.dir_symcards, settings.dir_unitary,
                settings.dir_binary, cell, ppt))
        return -1;
    const std::string base = std::string(cif) + suffix;
    const std::string names[] = {base + ".txt", base + ".xyz", base + ".trj", base + ".cif"};
    if (!outputs_writable({std::begin(names), std::end(names)})) return -1;
    MdPtr md(quorix_md_new(cell.get(), ppt.get(), settings.temperature, settings.t_end, settings.t_equil, settings.dt,
                           -0.1, steps_between_samples(settings.t_log, settings.dt)));
    if (!md) {
        std::fprintf(stderr, "Error: quorix_md_new() returns NULL.\n");
        return -1;
    }
    if (standard) {
        quorix_md_use_standard_model(md.get());
        md->temperature_init = settings.temperature;
    }
    quorix_copy_bounded(md->logname, names[0].c_str(), sizeof(md->logname));
    quorix_copy_bounded(md->xyzname, names[1].c_str(), sizeof(md->xyzname));
    quorix_copy_bounded(md->trjname, names[2].c_str(), sizeof(md->trjname));
    if (quorix_md_init_vv(md.get())) return -fail("quorix_md_init_vv()");
    quorix_md_print(md.get());
    if (quorix_md_equilibrate(md.get())) return -fail("quorix_md_equilibrate()");
    if (quorix_md_run(md.get())) return -fail("quorix_md_run()");
    if (quorix_md_calculate_energy(md.get()) || quorix_md_calculate_temperature(md.get()) ||
        quorix_md_calculate_conduction_property(md.get()))
        return -1;
    quorix_md_print(md.get());
    if (commit_logs(md.get())) return -1;
    print_results(md.get());
    if (quorix_cell_export_cif_to_file(names[3].c_str(), md->cell, nullptr))
        return -fail("quorix_cell_export_cif_to_file()");
    return 0;
}

}  // namespace

int quorix_md_conduction_from_file(const char* cif, const char* type, int os, double sf, double temperature,
                                   double t_end, double t_equil, double dt, double t_log, const char* dir_symcards,
                                   const char* dir_unitary, const char* dir_binary) {
    return conduction_run({cif, type, os, sf, temperature, t_end, t_equil, dt, t_log, dir_symcards, dir_unitary,
                           dir_binary},
                          false, ".md");
}

int quorix_md_std_conduction_from_file(const QuorixMdSettings& settings) {
    return conduction_run(settings, true, ".mdstd");
}
