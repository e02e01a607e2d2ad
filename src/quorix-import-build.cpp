// Building a parameter set for a structure: the build steps in order, the derived constants,
// fractional charges, the screening-factor search on the stress and the quadratic cores.
#include "quorix-import-build.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "quorix-import-atom.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-rx.hpp"

namespace {

// Weight of the structure average in the effective softness b.
constexpr double kAveragedWeight = 2.0 / 3.0;

constexpr double kDefaultScreeningFactor = 0.75;

// A cell with atoms; otherwise reports it.
bool cell_ready(const QUORIX_CELL* cell) {
    if (cell && cell->atom && cell->total > 0) return true;
    std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
    return false;
}

// A set with its species tables; otherwise reports it.
bool property_ready(const QUORIX_PROPERTY* ppt) {
    if (ppt && ppt->total > 0 && ppt->uni && ppt->bin) return true;
    std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
    return false;
}

char sign_of(int os) { return os >= 0 ? '+' : '-'; }

bool is_hydrogen_cation(const QUORIX_PROPERTY_UNITARY& u) {
    return u.os == 1 && (std::strcmp(u.type, "H") == 0 || std::strcmp(u.type, "Hx") == 0 || std::strcmp(u.type, "D") == 0);
}

// Quantum number that scales the charge of a species: heavy ions count as period 4, and Li, B
// and Be as period 1.
int effective_quantum_number(const QUORIX_PROPERTY_UNITARY& u) {
    if (u.n >= 5) return 4;
    if (std::strcmp(u.type, "Li") == 0 || std::strcmp(u.type, "B") == 0 || std::strcmp(u.type, "Be") == 0) return 1;
    return u.n;
}

// Radius where `energy` (falling with distance) comes down to 1 e^2/A: whole steps inwards
// from 10 A, then bisection to 1e-6 A.
template <class Energy>
double core_radius(Energy energy) {
    double r = 10.0;
    double step = 1.0;
    while (energy(r) < 1.0) r -= 1.0;
    while (step > 1e-6) {
        if (energy(r) > 1.0)
            r += step;
        else
            r -= step;
        step /= 2;
    }
    return r;
}

// Quadratic a0 + a2 r^2 that meets the energy in value and slope at r_core.
void fit_core(QUORIX_PROPERTY_BINARY& pair, double r_core, double energy, double force) {
    pair.a1 = 0;
    pair.a2 = force / r_core / 2;
    pair.a0 = energy - pair.a2 * r_core * r_core;
}

enum class Sign { up, down };

}  // namespace

// ---------------------------------------------------------------- building from a cell

QUORIX_PROPERTY* quorix_property_import_from_cell(QUORIX_CELL* cell, const char* conducting_type, int conducting_os,
                                                  double sf, const char* dir_unitary, const char* dir_binary) {
    if (cell && cell->atom && !quorix_cell_atoms_apart(cell)) return nullptr;
    PropertyPtr ppt(quorix_property_new(0));
    if (!ppt) {
        std::fprintf(stderr, "Error: quorix_property_new() returns NULL.\n");
        return nullptr;
    }
    if (quorix_property_update_index_by_cell(ppt.get(), cell) != 0) {
        std::fprintf(stderr, "Error: quorix_property_update_index_by_cell() returns non-zero.\n");
        return nullptr;
    }
    if (conducting_type) {
        if (quorix_property_append_index(ppt.get(), conducting_type, conducting_os) != 0) {
            std::fprintf(stderr, "Error: quorix_property_append_index() returns non-zero.\n");
            return nullptr;
        }
        ppt->conducting = quorix_property_find_index(ppt.get(), conducting_type, conducting_os);
    }
    ppt->sf = sf;
    if (quorix_property_update(ppt.get(), cell, dir_unitary, dir_binary) != 0) {
        std::fprintf(stderr, "Error: quorix_property_update() returns non-zero.\n");
        return nullptr;
    }
    return ppt.release();
}

int quorix_property_update(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell, const char* dir_unitary, const char* dir_binary) {
    struct Step {
        const char* name;
        int (*run)(QUORIX_PROPERTY*, QUORIX_CELL*, const char*, const char*);
    };
    static const Step steps[] = {
        {"quorix_property_update_read_from_file", quorix_property_update_read_from_file},
        {"quorix_property_estimate",
         [](QUORIX_PROPERTY* p, QUORIX_CELL*, const char* u, const char* b) { return quorix_property_estimate(p, u, b); }},
        {"quorix_property_calculate_effective_b",
         [](QUORIX_PROPERTY* p, QUORIX_CELL* c, const char*, const char*) {
             return quorix_property_calculate_effective_b(p, c);
         }},
        {"quorix_property_unitary_derived",
         [](QUORIX_PROPERTY* p, QUORIX_CELL*, const char*, const char*) { return quorix_property_unitary_derived(p); }},
        {"quorix_property_binary_derived",
         [](QUORIX_PROPERTY* p, QUORIX_CELL*, const char*, const char*) { return quorix_property_binary_derived(p); }},
        {"quorix_property_calculate_fractional_charge",
         [](QUORIX_PROPERTY* p, QUORIX_CELL* c, const char*, const char*) {
             return quorix_property_calculate_fractional_charge(p, c);
         }},
        {"quorix_property_calculate_screening_factor",
         [](QUORIX_PROPERTY* p, QUORIX_CELL* c, const char*, const char*) {
             const int failed = quorix_property_calculate_screening_factor(p, c);
             if (!failed) std::printf("Message: sf=%.6f\n", p->sf);
             return failed;
         }},
        {"quorix_property_binary_pseudopotential",
         [](QUORIX_PROPERTY* p, QUORIX_CELL*, const char*, const char*) {
             return quorix_property_binary_pseudopotential(p);
         }},
    };
    for (const Step& step : steps) {
        if (step.run(ppt, cell, dir_unitary, dir_binary) != 0) {
            std::fprintf(stderr, "Error: %s() returns non-zero.\n", step.name);
            return 1;
        }
    }
    return 0;
}

// ---------------------------------------------------------------- derivation steps

int quorix_property_calculate_effective_b(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell) {
    if (!cell_ready(cell) || !property_ready(ppt)) return 1;
    for (int i = 0; i < ppt->total; i++)
        for (int j = 0; j < ppt->total; j++) ppt->bin[i][j].b_old = ppt->bin[i][j].b;
    for (int i = 0; i < ppt->total; i++) {
        if (ppt->os[i] <= 0) continue;
        // Occupancy-weighted mean of this cation's b over the anions of the cell.
        double sum = 0, weight = 0;
        for (long a = 0; a < cell->total; a++) {
            const QUORIX_ATOM& atom = cell->atom[a];
            if (atom.os >= 0) continue;
            const int k = quorix_property_find_index(ppt, atom.type, atom.os);
            if (k < 0) {
                std::fprintf(stderr, "Error: quorix_property_find_index() returns negative number.\n");
                return 1;
            }
            sum += ppt->bin[i][k].b_old * atom.occ;
            weight += atom.occ;
        }
        for (int j = 0; j < ppt->total; j++) {
            if (ppt->os[j] >= 0) continue;
            if (weight <= 0) {
                std::fprintf(stderr, "Error: no anions in the cell to average b of %s(%d) over.\n", ppt->type[i],
                             ppt->os[i]);
                return 1;
            }
            QUORIX_PROPERTY_BINARY& pair = ppt->bin[i][j];
            pair.b = (1 - kAveragedWeight) * pair.b_old + kAveragedWeight * sum / weight;
        }
    }
    return 0;
}

int quorix_property_binary_derived(QUORIX_PROPERTY* ppt) {
    if (!property_ready(ppt)) return 1;
    for (int i = 0; i < ppt->total; i++) {
        const QUORIX_PROPERTY_UNITARY& ui = ppt->uni[i];
        for (int j = 0; j < ppt->total; j++) {
            const QUORIX_PROPERTY_UNITARY& uj = ppt->uni[j];
            QUORIX_PROPERTY_BINARY& p = ppt->bin[i][j];
            // ln(os / cn) needs a positive first species as well.
            if (p.cutoff <= 0.0001 || p.r0 <= 0 || p.b <= 0 || p.cn <= 0 || ui.os <= 0) continue;
            if ((ui.soft > 0 && uj.soft > 0) || is_hydrogen_cation(ui)) {
                p.rmin = p.r0 * (0.9185 + 0.2285 * std::fabs(uj.soft - ui.soft)) - p.b * std::log(ui.os / p.cn);
            } else {
                std::fprintf(stderr, "Warning: r_min for (%s%d%c)-(%s%d%c) is set to 0 due to softness = 0.\n",
                             ui.type, std::abs(ui.os), sign_of(ui.os), uj.type, std::abs(uj.os), sign_of(uj.os));
            }
            // Without a minimum (or a period) there is no depth; validation reports the pair.
            if (p.rmin <= 0 || ui.n * uj.n <= 0) continue;
            const int c = ui.c;
            p.d0 = c * std::pow(c * std::abs(ui.os * uj.os), 1.0 / c) * p.b * p.b /
                   (std::sqrt(ui.n * uj.n) * p.rmin) / 2;
        }
    }
    for (int i = 0; i < ppt->total; i++) {
        for (int j = 0; j < ppt->total; j++) {
            QUORIX_PROPERTY_BINARY& p = ppt->bin[i][j];
            if (p.d0 <= 0 || p.rmin <= 0 || p.b <= 0) continue;
            p.en_s = quorix_energy_bonding(p.cutoff, p.d0, p.rmin, p.b);
            p.f_s = quorix_force_bonding(p.cutoff, p.d0, p.rmin, p.b);
        }
    }
    return 0;
}

int quorix_property_calculate_fractional_charge(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell) {
    if (!cell_ready(cell) || !property_ready(ppt)) return 1;
    std::vector<double> root_n(ppt->total, 1.0);
    for (int k = 0; k < ppt->total; k++) {
        if (ppt->os[k] == 0) continue;  // no charge, so no quantum number needed
        const int n = effective_quantum_number(ppt->uni[k]);
        if (n <= 0) {
            std::fprintf(stderr, "Error: %s(%d) has no principal quantum number; is it in the per-species database?\n",
                         ppt->type[k], ppt->os[k]);
            return 1;
        }
        root_n[k] = std::sqrt(n);
    }
    const std::vector<int> species = quorix_property_species_of_atoms(ppt, cell);
    if (!quorix_property_all_found(species)) {
        std::fprintf(stderr, "Error: quorix_property_find_index() returns negative values.\n");
        return 1;
    }

    double cations = 0, anions = 0;
    for (long a = 0; a < cell->total; a++) {
        const QUORIX_ATOM& atom = cell->atom[a];
        const double share = atom.os / root_n[species[a]] * atom.occ;
        if (atom.os > 0) cations += share;
        if (atom.os < 0) anions += share;
    }
    if (cations <= 0 || anions >= 0) {
        std::fprintf(stderr, "Error: fractional charges need both cations and anions in the cell.\n");
        return 1;
    }
    for (int k = 0; k < ppt->total; k++) {
        const int os = ppt->os[k];
        const double scale = os > 0 ? std::sqrt(-anions / cations) : std::sqrt(-cations / anions);
        ppt->uni[k].q = os == 0 ? 0 : scale * os / root_n[k];
    }
    for (int k = 0; k < ppt->total; k++) {
        const QUORIX_PROPERTY_UNITARY& u = ppt->uni[k];
        if (std::fabs(u.q) <= std::abs(u.os)) continue;
        const double factor = u.os / u.q;
        for (int m = 0; m < ppt->total; m++) ppt->uni[m].q *= factor;
        std::printf("Message: charge of %s(%d) is capped to %4.2f.\n", u.type, u.os, u.q);
    }
    double total = 0;
    for (long a = 0; a < cell->total; a++) total += ppt->uni[species[a]].q * cell->atom[a].occ;
    if (std::fabs(total) > 1e-6) {
        std::fprintf(stderr, "Error: total charge of the cell is not neutral: %f\n", total);
        return 1;
    }
    return 0;
}

int quorix_property_calculate_screening_factor(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell) {
    if (!cell || !ppt) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been initialized properly.\n");
        return 1;
    }
    if (ppt->sf > 0) return 0;
    ppt->sf = kDefaultScreeningFactor;
    if (quorix_property_validate_generic(ppt) != 0) {
        std::printf("Warning: quorix_property_validate_generic() returns non-zero.\n");
        std::printf("Message: default screening factor used %f.\n", ppt->sf);
        return 0;
    }
    QuorixStressBySf stress;
    if (stress.build(cell, ppt) != 0) {
        std::fprintf(stderr, "Error: QuorixStressBySf::build() returns non-zero.\n");
        return 1;
    }
    return quorix_property_search_screening_factor(ppt, [&](double sf, double* p) {
        double sigma[3];
        if (stress.diagonal(sigma, sf) != 0) return 1;
        *p = (sigma[0] + sigma[1] + sigma[2]) / 3.0;
        return 0;
    });
}

int quorix_property_search_screening_factor(QUORIX_PROPERTY* ppt, const QuorixPressureAt& pressure) {
    const double tolerance = 0.5 * 0.001;
    auto pressure_now = [&](double* p) {
        if (pressure(ppt->sf, p) == 0) return true;
        std::fprintf(stderr, "Error: quorix_cell_calculate_stress_diagonal() returns non-zero.\n");
        return false;
    };
    double p = 0;
    if (!pressure_now(&p)) return 1;
    Sign previous_sign = p > 0 ? Sign::up : Sign::down;
    double step = 0.1, previous_p = 0, dp = 0;
    int iteration = 0;
    do {
        if (!pressure_now(&p)) return 1;
        Sign sign;
        if (p > 0) {
            ppt->sf += step;
            sign = Sign::up;
        } else {
            ppt->sf -= step;
            sign = Sign::down;
        }
        if (sign != previous_sign) step *= 0.5;
        previous_sign = sign;
        dp = p - previous_p;
        previous_p = p;
        iteration += 1;
        if (iteration > 100) {
            std::printf("Warning: failed to converge the screening factor. Default value used.\n");
            ppt->sf = kDefaultScreeningFactor;
            break;
        }
        if (ppt->sf < 0.55 || ppt->sf > 1.0) {
            std::printf("Warning: screening factor out of bound (0.55~1.0). Default value used.\n");
            ppt->sf = kDefaultScreeningFactor;
            break;
        }
        std::printf("Message: calculating sf=%8.5f; p=%8.5f (conv: sf=%8.5f; p=%8.5f)\n", ppt->sf, p, step, dp);
    } while (step >= tolerance || dp >= tolerance);
    std::printf("Message: final screening factor = %f\n", ppt->sf);
    return 0;
}

int quorix_property_binary_pseudopotential(QUORIX_PROPERTY* ppt) {
    if (!property_ready(ppt)) return 1;
    for (int i = 0; i < ppt->total; i++) {
        for (int j = 0; j < ppt->total; j++) {
            QUORIX_PROPERTY_BINARY& p = ppt->bin[i][j];
            if (p.d0 > 0 && p.rmin > 0 && p.b > 0) {
                auto energy = [&](double r) { return quorix_energy_bonding_with_energy_shift(r, p.d0, p.rmin, p.b, p.en_s); };
                p.r_bc = core_radius(energy);
                fit_core(p, p.r_bc, energy(p.r_bc), quorix_force_bonding(p.r_bc, p.d0, p.rmin, p.b));
            }
            if (p.os1 * p.os2 > 0) {
                const double qq = ppt->uni[i].q * ppt->uni[j].q;
                const double sigma = ppt->sf * (ppt->uni[i].rc + ppt->uni[j].rc);
                auto energy = [&](double r) { return quorix_energy_coulombic(r, qq, sigma); };
                p.r_cc = core_radius(energy);
                fit_core(p, p.r_cc, energy(p.r_cc), quorix_force_coulombic(p.r_cc, qq, sigma));
            }
        }
    }
    return 0;
}
