// Bond valence sums of the distinct sites of a cell, bond valences between sites, and the GII.
#include "quorix-bv.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

#include "quorix-import-atom.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"

namespace {

// Screening factor of the parameter sets built here; bond valences do not depend on it.
constexpr double kScreeningFactor = 0.75;

char sign_below_one(int os) { return os < 1 ? '-' : '+'; }
char sign_of_negative(int os) { return os < 0 ? '-' : '+'; }

// Adds the bonds of site k's representative with atom `other` and all its images.
void add_bonds(QUORIX_BV* bv, long k, const QUORIX_CELL* cell, const QUORIX_ATOM& other,
               const QUORIX_PROPERTY_BINARY& pair, const int x_max[3]) {
    const QUORIX_ATOM& centre = bv->atom[k];
    const double sign = centre.os < 0 ? -1.0 : 1.0;
    quorix_bv_for_each_bond(cell, centre.x, other, pair, x_max, [&](double d) {
        const double v = sign * other.occ * quorix_bv_bond_valence(pair.r0, pair.b, d);
        bv->sum[k] += v;
        bv->value[k][other.flag - 1] += v;
    });
}

// True when the cell holds an atom of the species; otherwise says which species is missing.
bool holds_species(const QUORIX_CELL* cell, const char* type, int os) {
    const bool found = std::any_of(cell->atom, cell->atom + cell->total, [&](const QUORIX_ATOM& atom) {
        return std::strcmp(atom.type, type) == 0 && atom.os == os;
    });
    if (!found)
        std::fprintf(stderr, "Error: unable to find any atom of %s%d%c.\n", type, std::abs(os), sign_of_negative(os));
    return found;
}

// Copies into a new cell only the atoms of the two species; both must be present, since the
// sums of one species alone would fail later with a message that does not name it.
QUORIX_CELL* cell_of_two_species(const QUORIX_CELL* cell_in, const char* type1, int os1, const char* type2, int os2) {
    if (!holds_species(cell_in, type1, os1) || !holds_species(cell_in, type2, os2)) return nullptr;
    auto wanted = [&](const QUORIX_ATOM& atom) {
        return (std::strcmp(atom.type, type1) == 0 && atom.os == os1) ||
               (std::strcmp(atom.type, type2) == 0 && atom.os == os2);
    };
    std::vector<QUORIX_ATOM> kept;
    std::copy_if(cell_in->atom, cell_in->atom + cell_in->total, std::back_inserter(kept), wanted);
    CellPtr cell(quorix_cell_copy(cell_in));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return nullptr;
    }
    if (quorix_cell_replace_atoms(cell.get(), kept.data(), static_cast<long>(kept.size()))) return nullptr;
    return cell.release();
}

const char* verdict(double gii) {
    if (gii > 0 && gii < 0.15) return "GII: suggested stability: stable.\n";
    if (gii < 0.3) return "GII: suggested stability: average.\n";
    if (gii < 1.0) return "GII: suggested stability: unstable.\n";
    return "GII: unreasonable value.\nGII: there might be an error in input structure or calculation.\n";
}

bool has_sites(const QUORIX_BV* bv) { return bv && bv->total > 0 && bv->atom; }

}  // namespace

double quorix_bv_largest_cutoff(const QUORIX_PROPERTY* ppt) {
    double cutoff = 0;
    for (int i = 0; i < ppt->total; i++)
        for (int j = 0; j < ppt->total; j++) cutoff = std::max(cutoff, ppt->bin[i][j].cutoff);
    return cutoff;
}

int quorix_bv_image_range(int x_max[3], const QUORIX_CELL* cell, double cutoff) {
    if (!quorix_cell_lattice_usable(cell)) return 1;
    for (int i = 0; i < 3; i++) x_max[i] = static_cast<int>(cutoff / quorix_vector3_double_length(cell->a[i]) + 2.0);
    return 0;
}

QUORIX_BV* quorix_bv_new(long total) {
    BvPtr bv(static_cast<QUORIX_BV*>(std::calloc(1, sizeof(QUORIX_BV))));
    if (!bv) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_BV.\n");
        return nullptr;
    }
    if (total < 1) return bv.release();
    bv->total = total;
    bv->atom = quorix_atom_new(total);
    bv->multi = quorix_array_int_1D_new(static_cast<int>(total));
    bv->sum = quorix_array_double_1D_new(static_cast<int>(total));
    bv->value = quorix_array_double_2D_new(static_cast<int>(total), static_cast<int>(total));
    if (!bv->atom || !bv->multi || !bv->sum || !bv->value) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_BV arrays.\n");
        return nullptr;
    }
    return bv.release();
}

void quorix_bv_free(QUORIX_BV* bv) {
    if (!bv) return;
    quorix_atom_free(bv->atom);
    quorix_array_int_1D_free(bv->multi);
    quorix_array_double_1D_free(bv->sum);
    quorix_array_double_2D_free(bv->value, static_cast<int>(bv->total));
    std::free(bv);
}

bool quorix_bv_states_usable(const QUORIX_CELL* cell) {
    bool zero_reported = false;
    for (long i = 0; cell && i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        if (atom.os == 0 && !zero_reported) {
            std::fprintf(stderr,
                         "Warning: oxidation state is zero where atom[%ld]: %s0+; atoms of state 0 take no part in "
                         "the bond valence sums.\n",
                         i, atom.type);
            zero_reported = true;
        }
        if (atom.os == kQuorixUnknownState) {
            std::fprintf(stderr, "Error: oxidation state is unknown where atom[%ld]: %s (%s).\n", i, atom.type,
                         atom.name);
            return false;
        }
    }
    return true;
}

QUORIX_BV* quorix_bv_calculate_from_cell(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* dir_unitary,
                                         const char* dir_binary) {
    if (!quorix_bv_states_usable(cell)) return nullptr;
    if (quorix_cell_flag_site_by_symmetry(cell, symmetry) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_flag_site_by_symmetry() returns non-zero.\n");
        return nullptr;
    }
    PropertyPtr ppt(quorix_property_import_from_cell(cell, nullptr, 0, kScreeningFactor, dir_unitary, dir_binary));
    if (!ppt) {
        std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
        quorix_cell_refresh(cell);
        return nullptr;
    }
    QUORIX_BV* bv = quorix_bv_calculate_from_flagged_cell(cell, ppt.get());
    if (!bv) std::fprintf(stderr, "Error: quorix_bv_calculate_from_flagged_cell() returns NULL.\n");
    quorix_cell_refresh(cell);
    return bv;
}

QUORIX_BV* quorix_bv_calculate_from_cell_with_type(QUORIX_CELL* cell_in, QUORIX_SYMMETRY* symmetry, const char* type1,
                                                   int os1, const char* type2, int os2, const char* dir_unitary,
                                                   const char* dir_binary) {
    if (!cell_in || !cell_in->atom || cell_in->total <= 0 || !type1 || !type2) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    CellPtr cell(cell_of_two_species(cell_in, type1, os1, type2, os2));
    if (!cell) return nullptr;
    return quorix_bv_calculate_from_cell(cell.get(), symmetry, dir_unitary, dir_binary);
}

QUORIX_BV* quorix_bv_calculate_from_flagged_cell(QUORIX_CELL* cell, QUORIX_PROPERTY* ppt) {
    if (!cell || !cell->atom || cell->total <= 0) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (quorix_bv_validate_property(ppt) != 0) {
        std::fprintf(stderr, "Error: quorix_bv_validate_property() returns non-zero.\n");
        return nullptr;
    }
    long total = 0;
    for (long j = 0; j < cell->total; j++) total = std::max(total, cell->atom[j].flag);
    if (total < 1) {
        std::fprintf(stderr, "Error: atoms of QUORIX_CELL carry no site numbers.\n");
        return nullptr;
    }
    std::printf("Message: total inequivalent sites: %ld\n", total);
    BvPtr bv(quorix_bv_new(total));
    if (!bv) {
        std::fprintf(stderr, "Error: quorix_bv_new() returns NULL.\n");
        return nullptr;
    }
    std::vector<bool> seen(total, false);
    for (long j = 0; j < cell->total; j++) {
        const long flag = cell->atom[j].flag;
        if (flag < 1) continue;
        if (!seen[flag - 1]) bv->atom[flag - 1] = cell->atom[j];
        seen[flag - 1] = true;
        bv->multi[flag - 1]++;
    }
    int x_max[3];
    if (quorix_bv_image_range(x_max, cell, quorix_bv_largest_cutoff(ppt)) != 0) return nullptr;

    const std::vector<int> species = quorix_property_species_of_atoms(ppt, cell);
    for (long k = 0; k < total; k++) {
        if (!seen[k]) continue;
        const QUORIX_ATOM& centre = bv->atom[k];
        const int centre_species = quorix_property_find_index(ppt, centre.type, centre.os);
        for (long j = 0; j < cell->total; j++) {
            const QUORIX_ATOM& other = cell->atom[j];
            if (!quorix_bv_is_bond(centre.os, other.os) || other.flag < 1) continue;
            if (centre_species < 0 || species[j] < 0) {
                std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
                return nullptr;
            }
            const bool cation_centre = centre.os > 0;
            const QUORIX_PROPERTY_BINARY& pair =
                cation_centre ? ppt->bin[centre_species][species[j]] : ppt->bin[species[j]][centre_species];
            add_bonds(bv.get(), k, cell, other, pair, x_max);
        }
    }
    return bv.release();
}

double quorix_gii_calculate_from_cell(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* dir_unitary,
                                      const char* dir_binary) {
    BvPtr bv(quorix_bv_calculate_from_cell(cell, symmetry, dir_unitary, dir_binary));
    if (!bv) {
        std::fprintf(stderr, "Error: quorix_bv_calculate_from_cell() returns NULL.\n");
        return -1.0;
    }
    return quorix_gii_calculate_from_bv(bv.get());
}

double quorix_gii_calculate_from_bv(QUORIX_BV* bv) {
    if (!has_sites(bv)) {
        std::fprintf(stderr, "Error: QUORIX_BV has not been properly initialized.\n");
        return -1.0;
    }
    double deviation = 0, weight = 0;
    for (long k = 0; k < bv->total; k++) {
        const double w = bv->multi[k] * bv->atom[k].occ;
        const double d = bv->sum[k] - bv->atom[k].os;
        deviation += w * d * d;
        weight += w;
    }
    if (weight <= 0) {
        std::fprintf(stderr, "Error: sites of QUORIX_BV carry no occupancy.\n");
        return -1.0;
    }
    const double gii = std::sqrt(deviation / weight);
    std::printf("GII: Global instability index = %f\n", gii);
    std::fputs(verdict(gii), stdout);
    return gii;
}

int quorix_bv_validate_property(QUORIX_PROPERTY* ppt) {
    if (!ppt || !ppt->bin || !ppt->os || !ppt->type) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    for (int i = 0; i < ppt->total; i++) {
        if (ppt->os[i] <= 0) continue;
        for (int j = 0; j < ppt->total; j++) {
            if (ppt->os[j] >= 0) continue;
            const QUORIX_PROPERTY_BINARY& p = ppt->bin[i][j];
            const struct {
                const char* name;
                double value;
            } checks[] = {{"cutoff", p.cutoff}, {"b", p.b}, {"r0", p.r0}};
            for (const auto& check : checks) {
                if (check.value > 0) continue;
                std::fprintf(stderr, "Error: incorrect %s at [%d](%s%d%c)-(%s%d%c) %s=%f\n", check.name, i,
                             ppt->type[i], std::abs(ppt->os[i]), '+', ppt->type[j], std::abs(ppt->os[j]), '-',
                             check.name, check.value);
                return 1;
            }
        }
    }
    return 0;
}

QUORIX_TEXT* quorix_bv_export_to_text(QUORIX_BV* bv) {
    if (!has_sites(bv)) {
        std::fprintf(stderr, "Error: QUORIX_BV has not been properly initialized.\n");
        return nullptr;
    }
    TextPtr text(quorix_text_new(nullptr));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_text_new() returns NULL.\n");
        return nullptr;
    }
    const char* rule = "=================================================================\r\n";
    char line[1024];
    bool failed = false;
    auto append = [&](const char* s) { failed = failed || quorix_text_append(text.get(), s) != 0; };
    append("Bond valence sum:\r\n");
    std::snprintf(line, sizeof line, "Total inequivalent sites: %ld\r\n", bv->total);
    append(line);
    append(rule);
    for (long k = 0; k < bv->total; k++) {
        const QUORIX_ATOM& a = bv->atom[k];
        std::snprintf(line, sizeof line, "%4s(%s%d%c)(occ=%5.3f) bv_sum = %9.6f\r\n", a.name, a.type, std::abs(a.os),
                      sign_of_negative(a.os), a.occ, bv->sum[k]);
        append(line);
    }
    append(rule);
    for (long k = 0; k < bv->total; k++) {
        for (long m = 0; m < bv->total; m++) {
            const QUORIX_ATOM& a = bv->atom[k];
            const QUORIX_ATOM& b = bv->atom[m];
            std::snprintf(line, sizeof line, "%4s(%s%d%c)(occ=%5.3f) %4s(%s%d%c)(occ=%5.3f) bv = %9.6f\r\n", a.name,
                          a.type, std::abs(a.os), sign_of_negative(a.os), a.occ, b.name, b.type, std::abs(b.os),
                          sign_of_negative(b.os), b.occ, bv->value[k][m]);
            append(line);
        }
    }
    append(rule);
    if (failed) {
        // A failed append has already released the text.
        (void)text.release();
        std::fprintf(stderr, "Error: quorix_text_append() returns non-zero.\n");
        return nullptr;
    }
    return text.release();
}

void quorix_bv_print(QUORIX_BV* bv) {
    if (!has_sites(bv)) {
        std::fprintf(stderr, "BV: (not allocated)\n");
        return;
    }
    std::printf("BV: %6s %4s %6s %9s\n", "name", "type", "occ", "bv_sum");
    for (long k = 0; k < bv->total; k++) {
        const QUORIX_ATOM& a = bv->atom[k];
        std::printf("BV: %6s %2s%d%c %6.3f %9.6f\n", a.name, a.type, std::abs(a.os), sign_below_one(a.os), a.occ,
                    bv->sum[k]);
    }
    std::printf("BV:=============================================\n");
    std::printf("BV: %4s %4s %6s %4s %4s %6s %9s\n", "nam1", "typ1", "occ1", "nam2", "typ2", "occ1", "bv");
    for (long k = 0; k < bv->total; k++) {
        for (long m = 0; m < bv->total; m++) {
            const QUORIX_ATOM& a = bv->atom[k];
            const QUORIX_ATOM& b = bv->atom[m];
            std::printf("BV: %4s %2s%d%c %6.3f %4s %2s%d%c %6.3f %9.6f\n", a.name, a.type, std::abs(a.os),
                        sign_below_one(a.os), a.occ, b.name, b.type, std::abs(b.os), sign_below_one(b.os), b.occ,
                        bv->value[k][m]);
        }
    }
}

void quorix_bv_print_gui(QUORIX_BV* bv) {
    if (!has_sites(bv)) {
        std::fprintf(stderr, "BV: (not allocated)\n");
        return;
    }
    std::printf("Printing bond valence sum of each site for quorix-GUI\n");
    std::printf("> Label [  X     Y     Z  ] : BV_sum\n");
    for (long k = 0; k < bv->total; k++) {
        const QUORIX_ATOM& a = bv->atom[k];
        std::printf("> %5s [%.3f %.3f %.3f] : %.6f\n", a.name, a.x_f[0], a.x_f[1], a.x_f[2], bv->sum[k]);
    }
    std::printf("End of BV sum calculation for quorix-GUI\n");
}
