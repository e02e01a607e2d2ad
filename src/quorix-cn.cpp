// Coordination of a centre atom: neighbours by distance, shells, and coordination by bond valence.
#include "quorix-cn.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "quorix-bv.hpp"
#include "quorix-images.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"

namespace {

constexpr double kSearchRadius = 10.0;
constexpr double kFourPi = 12.5663706;
constexpr double kDensityCap = 999.9;
constexpr double kDefaultRdsTiny = 0.01;
constexpr double kDefaultSensitivity = 0.5;
constexpr double kShellGap = 0.1;  // A between the last member of a shell and the first of the next
constexpr double kScreeningFactor = 0.75;
// Bonds weaker than this (valence units) are summed but not listed by --cal-cn-bv.
constexpr double kListedBond = 0.01;

char sign_of(int os) { return os > 0 ? '+' : '-'; }

bool cell_ready(const QUORIX_CELL* cell) { return cell && cell->atom && cell->total > 0; }

struct Neighbour {
    double r;
    double occ;
    char type[3];
    int os;
};

// Neighbours of the centre within 10 A (inclusive) that `wanted` accepts, in order of distance.
// The centre itself is skipped by identity, so another atom at its place counts.
template <class Wanted>
std::vector<Neighbour> find_neighbours(const QUORIX_CELL* cell, const QUORIX_ATOM* centre, Wanted&& wanted) {
    int m[3];
    for (int k = 0; k < 3; k++) m[k] = static_cast<int>(kSearchRadius / quorix_vector3_double_length(cell->a[k]) + 1.0);
    std::vector<Neighbour> found;
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        if (&atom == centre || !wanted(atom)) continue;
        quorix_for_each_image(cell->a, m, [&](const QuorixImage& image) {
            double x[3];
            for (int c = 0; c < 3; c++) x[c] = image.shift[c] + atom.x[c];
            const double d = quorix_vector3_double_distance(centre->x, x);
            if (d > kSearchRadius) return;
            Neighbour n{d, atom.occ, {}, atom.os};
            quorix_copy_bounded(n.type, atom.type, sizeof n.type);
            found.push_back(n);
        });
    }
    // Exchange sort: ties keep the order this pairwise exchange gives them.
    for (size_t i = 0; i < found.size(); i++)
        for (size_t j = i + 1; j < found.size(); j++)
            if (found[i].r > found[j].r) std::swap(found[i], found[j]);
    return found;
}

template <class T>
T* array_copy(const std::vector<T>& values) {
    if (values.empty()) return nullptr;
    auto* copy = static_cast<T*>(std::malloc(values.size() * sizeof(T)));
    if (copy) std::memcpy(copy, values.data(), values.size() * sizeof(T));
    return copy;
}

// Messages naming the record whose arrays are filled.
struct RecordNames {
    const char* r;
    const char* occ;
    const char* n;
    const char* g;
    const char* r_shell;
    const char* n_shell;
    const char* index_shell;
    const char* not_initialized;
};

constexpr RecordNames kCnNames = {
    "Error: unable to reallocate QUORIX_CN->r.\n",
    "Error: unable to reallocate QUORIX_CN->occ.\n",
    "Error: unable to allocate QUORIX_CN->n.\n",
    "Error: unable to allocate QUORIX_CN->g.\n",
    "Error: unable to reallocate QUORIX_CN->r_shell.\n",
    "Error: unable to reallocate QUORIX_CN->n_shell.\n",
    "Error: unable to reallocate QUORIX_CN->index_shell.\n",
    "Error: QUORIX_CN has not been properly initialized.\n",
};

constexpr RecordNames kCnMixNames = {
    "Error: unable to reallocate QUORIX_CN_MIX->r.\n",
    "Error: unable to reallocate QUORIX_CN_MIX->occ.\n",
    "Error: unable to allocate QUORIX_CN_MIX->n. \n",
    "Error: unable to allocate QUORIX_CN_MIX->g. \n",
    "Error: unable to reallocate QUORIX_CN_MIX->r_shell.\n",
    "Error: unable to reallocate QUORIX_CN_MIX->n_shell.\n",
    "Error: unable to reallocate QUORIX_CN_MIX->index_shell.\n",
    "Error: QUORIX_CN_MIX has not been properly initialized.\n",
};

// Fills r, occ, the running coordination number n and the radial density g of a record.
template <class Record>
bool fill_distances(Record* cn, const std::vector<Neighbour>& found, const RecordNames& names) {
    const size_t total = found.size();
    std::vector<double> r(total), occ(total), n(total), g(total);
    for (size_t i = 0; i < total; i++) {
        r[i] = found[i].r;
        occ[i] = found[i].occ;
        n[i] = (i == 0 ? 0 : n[i - 1]) + occ[i];
        const double dr = i == 0 ? r[0] : r[i] - r[i - 1];
        // g[0] is not capped except for a neighbour on the centre itself.
        if (dr > 1e-6)
            g[i] = i == 0 ? occ[i] / dr / (kFourPi * r[i] * r[i])
                          : std::min(occ[i] / dr / (kFourPi * r[i] * r[i]), kDensityCap);
        else
            g[i] = kDensityCap;
    }
    cn->total = static_cast<int>(total);
    const struct {
        double** field;
        const std::vector<double>* values;
        const char* message;
    } arrays[] = {{&cn->r, &r, names.r}, {&cn->occ, &occ, names.occ}, {&cn->n, &n, names.n}, {&cn->g, &g, names.g}};
    for (const auto& array : arrays) {
        *array.field = array_copy(*array.values);
        if (!*array.field) {
            std::fputs(array.message, stderr);
            return false;
        }
    }
    return true;
}

template <class Record>
void clear_shells(Record* cn) {
    std::free(cn->r_shell);
    std::free(cn->n_shell);
    std::free(cn->index_shell);
    cn->r_shell = nullptr;
    cn->n_shell = nullptr;
    cn->index_shell = nullptr;
    cn->total_shell = 0;
}

struct Shells {
    std::vector<double> r;
    std::vector<double> n;
    std::vector<int> index;

    void start(int i) {
        index.push_back(i);
        r.push_back(0);
        n.push_back(0);
    }
    void add(double r_i, double occ_i) {
        r.back() = r_i;
        n.back() += occ_i;
    }
    // The last shell holds at least as many neighbours as the one before it.
    bool last_not_smaller() const { return n.size() < 2 || n[n.size() - 1] >= n[n.size() - 2]; }
};

template <class Record>
int store_shells(Record* cn, const Shells& shells, const RecordNames& names) {
    if (shells.index.empty()) return 0;
    cn->r_shell = array_copy(shells.r);
    cn->n_shell = array_copy(shells.n);
    cn->index_shell = array_copy(shells.index);
    const char* failed = !cn->r_shell       ? names.r_shell
                         : !cn->n_shell     ? names.n_shell
                         : !cn->index_shell ? names.index_shell
                                            : nullptr;
    if (failed) {
        std::fputs(failed, stderr);
        clear_shells(cn);
        return 1;
    }
    cn->total_shell = static_cast<int>(shells.index.size());
    return 0;
}

// Shells split at strict local minima of the radial density below rds_min + rds_tiny.
template <class Record>
int shells_by_density(Record* cn, double rds_tiny, const RecordNames& names) {
    if (!cn || cn->total <= 0 || !cn->r || !cn->g) {
        std::fputs(names.not_initialized, stderr);
        return 1;
    }
    clear_shells(cn);
    if (rds_tiny <= 0) rds_tiny = kDefaultRdsTiny;
    const double* g = cn->g;
    const double rds_min = cn->total == 1 ? g[0] : *std::min_element(g + 1, g + cn->total);
    const double threshold = rds_min + rds_tiny;
    std::printf("Message: rds_min = %f   rds_tiny = %f  rds_threshold = %f\n", rds_min, rds_tiny, threshold);
    Shells shells;
    for (int i = 0; i + 1 < cn->total; i++) {
        const bool minimum = i > 0 && cn->r[i] - cn->r[i - 1] > kShellGap && shells.last_not_smaller() &&
                             g[i] < threshold && g[i - 1] > g[i] && g[i + 1] > g[i];
        if (i == 0 || minimum) shells.start(i);
        shells.add(cn->r[i], cn->occ[i]);
    }
    return store_shells(cn, shells, names);
}

template <class Record>
void free_distances(Record* cn) {
    std::free(cn->r);
    std::free(cn->occ);
    std::free(cn->n);
    std::free(cn->g);
    clear_shells(cn);
}

QUORIX_ATOM* find_by_name(QUORIX_CELL* cell, const char* name) {
    for (long i = 0; i < cell->total; i++)
        if (std::strcmp(cell->atom[i].name, name) == 0) return &cell->atom[i];
    std::fprintf(stderr, "Error: atom named %s not found.\n", name);
    return nullptr;
}

bool same_species(const QUORIX_ATOM& atom, const char* type, int os) {
    return std::strcmp(atom.type, type) == 0 && atom.os == os;
}

// Prints one site line of --cal-cn-type; false when the site has no first shell.
bool site_first_shell(QUORIX_CELL* cell, QUORIX_ATOM* atom, const char* type_c, int os_c, double rds_tiny, double* cn,
                      double* r) {
    CnPtr record(quorix_cn_new_from_cell(cell, atom, type_c, os_c, rds_tiny));
    if (!record) {
        std::fprintf(stderr, "Error: quorix_cn_new_from_cell() returns NULL.\n");
        return false;
    }
    if (record->total_shell < 1) {
        std::fprintf(stderr, "Error: no coordination shell found around %s.\n", atom->name);
        return false;
    }
    *cn = record->n_shell[0];
    *r = record->r_shell[0];
    return true;
}

// Bonds of the centre, strongest first; ties keep the order of the image search. `strength` is
// the valence of each bond, `valence` its share of the sum (weighted by the neighbour's occupancy).
std::vector<Neighbour> bonds_of(const QUORIX_CELL* cell, const QUORIX_ATOM* centre, const QUORIX_PROPERTY* ppt,
                                const int x_max[3], std::vector<double>& strength, std::vector<double>& valence,
                                bool& failed) {
    struct Bond {
        Neighbour n;
        double v;
    };
    std::vector<Bond> bonds;
    const int centre_species = quorix_property_find_index(ppt, centre->type, centre->os);
    for (long j = 0; j < cell->total && !failed; j++) {
        const QUORIX_ATOM& other = cell->atom[j];
        if (!quorix_bv_is_bond(centre->os, other.os)) continue;
        const int other_species = quorix_property_find_index(ppt, other.type, other.os);
        if (centre_species < 0 || other_species < 0) {
            std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
            failed = true;
            break;
        }
        const QUORIX_PROPERTY_BINARY& pair =
            centre->os > 0 ? ppt->bin[centre_species][other_species] : ppt->bin[other_species][centre_species];
        quorix_bv_for_each_bond(cell, centre->x, other, pair, x_max, [&](double d) {
            Neighbour n{d, other.occ, {}, other.os};
            quorix_copy_bounded(n.type, other.type, sizeof n.type);
            bonds.push_back({n, quorix_bv_bond_valence(pair.r0, pair.b, d)});
        });
    }
    std::stable_sort(bonds.begin(), bonds.end(), [](const Bond& a, const Bond& b) { return a.v > b.v; });
    std::vector<Neighbour> ordered;
    for (const Bond& bond : bonds) {
        ordered.push_back(bond.n);
        strength.push_back(bond.v);
        valence.push_back(bond.n.occ * bond.v);
    }
    return ordered;
}

// Index of the last bond of the first coordination shell: the bond after which the valence,
// strongest first, falls by the largest fraction. Only drops from bonds of at least 0.01 v.u.
// count (besides the strongest), so that gaps in the far tail cannot end the shell.
int first_shell_end(const std::vector<double>& strength) {
    int end = 0;
    double largest = -1.0;
    for (size_t i = 0; i + 1 < strength.size(); i++) {
        if (i > 0 && strength[i] < kListedBond) break;
        const double drop = 1.0 - strength[i + 1] / strength[i];
        if (drop > largest) {
            largest = drop;
            end = static_cast<int>(i);
        }
    }
    return end;
}

}  // namespace

// ---------------------------------------------------------------- records

QUORIX_CN* quorix_cn_new() {
    auto* cn = static_cast<QUORIX_CN*>(std::calloc(1, sizeof(QUORIX_CN)));
    if (!cn) std::fprintf(stderr, "Error: unable to allocate QUORIX_CN.\n");
    return cn;
}

void quorix_cn_free(QUORIX_CN* cn) {
    if (!cn) return;
    free_distances(cn);
    std::free(cn);
}

QUORIX_CN_MIX* quorix_cn_mix_new() {
    auto* cn = static_cast<QUORIX_CN_MIX*>(std::calloc(1, sizeof(QUORIX_CN_MIX)));
    if (!cn) std::fprintf(stderr, "Error: unable to allocate QUORIX_CN_MIX.\n");
    return cn;
}

void quorix_cn_mix_free(QUORIX_CN_MIX* cn) {
    if (!cn) return;
    free_distances(cn);
    std::free(cn->type_c);
    std::free(cn->os_c);
    std::free(cn);
}

QUORIX_CN_BV* quorix_cn_bv_new() {
    auto* cn = static_cast<QUORIX_CN_BV*>(std::calloc(1, sizeof(QUORIX_CN_BV)));
    if (!cn) std::fprintf(stderr, "Error: unable to allocate QUORIX_CN_BV.\n");
    return cn;
}

void quorix_cn_bv_free(QUORIX_CN_BV* cn) {
    if (!cn) return;
    for (void* p : {static_cast<void*>(cn->type_c), static_cast<void*>(cn->os_c), static_cast<void*>(cn->r),
                    static_cast<void*>(cn->occ), static_cast<void*>(cn->n), static_cast<void*>(cn->s),
                    static_cast<void*>(cn->s_sum), static_cast<void*>(cn->s_ave), static_cast<void*>(cn->s_det)})
        std::free(p);
    std::free(cn);
}

// ---------------------------------------------------------------- neighbour search

QUORIX_CN* quorix_cn_new_from_cell(QUORIX_CELL* cell, QUORIX_ATOM* atom, const char* type_c, int os_c,
                                   double rds_tiny) {
    if (!cell_ready(cell) || !atom || !type_c) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (!quorix_cell_lattice_usable(cell)) return nullptr;
    CnPtr cn(quorix_cn_new());
    if (!cn) return nullptr;
    quorix_copy_bounded(cn->name, atom->name, sizeof cn->name);
    quorix_copy_bounded(cn->type, atom->type, sizeof cn->type);
    cn->os = atom->os;
    quorix_copy_bounded(cn->type_c, type_c, sizeof cn->type_c);
    cn->os_c = os_c;
    const auto found =
        find_neighbours(cell, atom, [&](const QUORIX_ATOM& a) { return same_species(a, cn->type_c, os_c); });
    if (found.empty()) {
        std::fprintf(stderr, "Error: atom of type %s%d%c not found.\n", cn->type_c, std::abs(os_c), sign_of(os_c));
        return nullptr;
    }
    if (!fill_distances(cn.get(), found, kCnNames)) return nullptr;
    if (quorix_cn_calculate_shell(cn.get(), rds_tiny) != 0) {
        std::fprintf(stderr, "Error: quorix_cn_calculate_shell() returns non-zero.\n");
        return nullptr;
    }
    return cn.release();
}

QUORIX_CN_MIX* quorix_cn_mix_new_from_cell(QUORIX_CELL* cell, QUORIX_ATOM* atom, double rds_tiny) {
    if (!cell_ready(cell) || !atom) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (!quorix_cell_lattice_usable(cell)) return nullptr;
    CnMixPtr cn(quorix_cn_mix_new());
    if (!cn) return nullptr;
    quorix_copy_bounded(cn->name, atom->name, sizeof cn->name);
    quorix_copy_bounded(cn->type, atom->type, sizeof cn->type);
    cn->os = atom->os;
    const auto found =
        find_neighbours(cell, atom, [&](const QUORIX_ATOM& a) { return atom->os * a.os < 1 || a.os == 0; });
    if (found.empty()) {
        std::fprintf(stderr, "Error: coordinated atom of charge %c not found.\n", atom->os < 0 ? '+' : '-');
        return nullptr;
    }
    std::vector<int> os(found.size());
    cn->type_c = static_cast<char(*)[3]>(std::calloc(found.size(), sizeof(char[3])));
    if (!cn->type_c) {
        std::fprintf(stderr, "Error: unable to reallocate QUORIX_CN_MIX->type_c[].\n");
        return nullptr;
    }
    for (size_t i = 0; i < found.size(); i++) {
        std::memcpy(cn->type_c[i], found[i].type, sizeof(char[3]));
        os[i] = found[i].os;
    }
    cn->os_c = array_copy(os);
    if (!cn->os_c) {
        std::fprintf(stderr, "Error: unable to reallocate QUORIX_CN_MIX->os_c.\n");
        return nullptr;
    }
    if (!fill_distances(cn.get(), found, kCnMixNames)) return nullptr;
    if (quorix_cn_mix_calculate_shell(cn.get(), rds_tiny) != 0) {
        std::fprintf(stderr, "Error: quorix_cn_mix_calculation_shell() returns non-zero.\n");
        return nullptr;
    }
    return cn.release();
}

QUORIX_CN_BV* quorix_cn_bv_new_from_cell(QUORIX_CELL* cell, QUORIX_ATOM* atom, QUORIX_PROPERTY* ppt, double bvs) {
    if (!cell_ready(cell) || !atom) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (quorix_bv_validate_property(ppt) != 0) {
        std::fprintf(stderr, "Error: quorix_bv_validate_property() returns non-zero.\n");
        return nullptr;
    }
    int x_max[3];
    if (quorix_bv_image_range(x_max, cell, quorix_bv_largest_cutoff(ppt)) != 0) return nullptr;
    std::vector<double> strength, s;
    bool failed = false;
    const auto bonds = bonds_of(cell, atom, ppt, x_max, strength, s, failed);
    if (failed) return nullptr;
    if (bonds.empty() || bvs == 0) {
        std::fprintf(stderr, "Error: no bond found around %s.\n", atom->name);
        return nullptr;
    }
    CnBvPtr cn(quorix_cn_bv_new());
    if (!cn) return nullptr;
    quorix_copy_bounded(cn->name, atom->name, sizeof cn->name);
    quorix_copy_bounded(cn->type, atom->type, sizeof cn->type);
    cn->os = atom->os;
    cn->BVS = bvs;
    const size_t total = bonds.size();
    std::vector<double> r(total), occ(total), n(total), s_sum(total), s_ave(total), s_det(total);
    std::vector<int> os(total);
    cn->cn_index = first_shell_end(strength);
    for (size_t i = 0; i < total; i++) {
        r[i] = bonds[i].r;
        occ[i] = bonds[i].occ;
        os[i] = bonds[i].os;
        n[i] = (i == 0 ? 0 : n[i - 1]) + occ[i];
        s_sum[i] = (i == 0 ? 0 : s_sum[i - 1]) + s[i];
        s_ave[i] = n[i] > 0 ? s_sum[i] / n[i] : 0;
        s_det[i] = s_sum[i] / std::fabs(bvs);
    }
    // Listed: every bond of at least 0.01 v.u., and at least those up to the coordination number.
    const auto strong = std::count_if(s.begin(), s.end(), [](double v) { return v >= kListedBond; });
    cn->cn_print = std::max(static_cast<int>(strong), cn->cn_index + 1);
    cn->total = static_cast<int>(total);
    cn->type_c = static_cast<char(*)[3]>(std::calloc(total, sizeof(char[3])));
    if (cn->type_c)
        for (size_t i = 0; i < total; i++) std::memcpy(cn->type_c[i], bonds[i].type, sizeof(char[3]));
    cn->os_c = array_copy(os);
    cn->r = array_copy(r);
    cn->occ = array_copy(occ);
    cn->n = array_copy(n);
    cn->s = array_copy(s);
    cn->s_sum = array_copy(s_sum);
    cn->s_ave = array_copy(s_ave);
    cn->s_det = array_copy(s_det);
    if (!cn->type_c || !cn->os_c || !cn->r || !cn->occ || !cn->n || !cn->s || !cn->s_sum || !cn->s_ave || !cn->s_det) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_CN_BV arrays.\n");
        return nullptr;
    }
    return cn.release();
}

// ---------------------------------------------------------------- shells

int quorix_cn_calculate_shell(QUORIX_CN* cn, double rds_tiny) { return shells_by_density(cn, rds_tiny, kCnNames); }

int quorix_cn_mix_calculate_shell(QUORIX_CN_MIX* cn_mix, double rds_tiny) {
    return shells_by_density(cn_mix, rds_tiny, kCnMixNames);
}

int quorix_cn_calculate_shell_with_sensitivity(QUORIX_CN* cn, double sensitivity) {
    if (!cn || cn->total <= 0 || !cn->r) {
        std::fputs(kCnNames.not_initialized, stderr);
        return 1;
    }
    clear_shells(cn);
    if (sensitivity < 0) sensitivity = kDefaultSensitivity;
    Shells shells;
    for (int i = 0; i < cn->total; i++) {
        if (i == 0 || cn->r[i] - cn->r[i - 1] > sensitivity) shells.start(i);
        shells.add(cn->r[i], cn->occ[i]);
    }
    return store_shells(cn, shells, kCnNames);
}

// ---------------------------------------------------------------- commands

int quorix_cn_calculate(QUORIX_CELL* cell, const char* name, double rds_tiny) {
    if (!cell_ready(cell) || !name) {
        std::fprintf(stderr, "Errot: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    QUORIX_ATOM* centre = find_by_name(cell, name);
    if (!centre) return 1;
    CnMixPtr cn(quorix_cn_mix_new_from_cell(cell, centre, rds_tiny));
    if (!cn) {
        std::fprintf(stderr, "Error: quorix_cn_mix_new_from_cell() returns NULL.\n");
        return 1;
    }
    quorix_cn_mix_print(cn.get());
    return 0;
}

int quorix_cn_calculate_by_name(QUORIX_CELL* cell, const char* name, const char* type_c, int os_c, double rds_tiny) {
    if (!cell_ready(cell) || !name) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    QUORIX_ATOM* centre = find_by_name(cell, name);
    if (!centre) return 1;
    CnPtr cn(quorix_cn_new_from_cell(cell, centre, type_c, os_c, rds_tiny));
    if (!cn) {
        std::fprintf(stderr, "Error: quorix_cn_new_from_cell() returns NULL.\n");
        return 1;
    }
    quorix_cn_print_shell(cn.get());
    return 0;
}

int quorix_cn_calculate_by_type(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* type, int os,
                                const char* type_c, int os_c, double rds_tiny) {
    if (!type || !type_c) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    if (quorix_cell_flag_site_by_symmetry(cell, symmetry) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_flag_site_by_symmetry() returns non-zero.\n");
        return 1;
    }
    if (std::none_of(cell->atom, cell->atom + cell->total,
                     [&](const QUORIX_ATOM& a) { return same_species(a, type, os); })) {
        std::fprintf(stderr, "Error: unable to find any atom of %s%d%c.\n", type, std::abs(os), sign_of(os));
        return 1;
    }
    std::printf("CN: %s%d%c coordinated by %s%d%c\n", type, std::abs(os), sign_of(os), type_c, std::abs(os_c),
                sign_of(os_c));
    std::printf("CN: %4s %12s %10s %9s\n", "site", "multiplicity", "cn", "r");
    long handled = 0, site = 0, weight = 0;
    double cn_sum = 0, r_sum = 0;
    for (long i = 0; i < cell->total; i++) {
        QUORIX_ATOM* atom = &cell->atom[i];
        if (!same_species(*atom, type, os) || atom->flag <= handled) continue;
        handled = atom->flag;
        const long multiplicity = std::count_if(cell->atom, cell->atom + cell->total,
                                                [&](const QUORIX_ATOM& a) { return a.flag == handled; });
        double cn = 0, r = 0;
        if (!site_first_shell(cell, atom, type_c, os_c, rds_tiny, &cn, &r)) return 1;
        std::printf("CN: %4ld %12ld %10.6f %9.6f\n", site++, multiplicity, cn, r);
        cn_sum += multiplicity * cn;
        r_sum += multiplicity * r;
        weight += multiplicity;
    }
    std::printf("CN: %4s %12d %10.6f %9.6f\n", "ave", 0, cn_sum / weight, r_sum / weight);
    return 0;
}

int quorix_cn_calculate_by_bv(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* name, const char* dir_unitary,
                              const char* dir_binary) {
    if (!cell_ready(cell) || !name) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    if (!quorix_bv_states_usable(cell)) return 1;
    if (quorix_cell_flag_site_by_symmetry(cell, symmetry) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_flag_site_by_symmetry() returns non-zero.\n");
        return 1;
    }
    // Building the set sorts the atoms, so the centre is looked up afterwards.
    PropertyPtr ppt(quorix_property_import_from_cell(cell, nullptr, 0, kScreeningFactor, dir_unitary, dir_binary));
    if (!ppt) {
        std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
        return 1;
    }
    BvPtr bv(quorix_bv_calculate_from_flagged_cell(cell, ppt.get()));
    if (!bv) {
        std::fprintf(stderr, "Error: quorix_bv_calculate_from_flagged_cell() returns NULL.\n");
        return 1;
    }
    QUORIX_ATOM* centre = find_by_name(cell, name);
    if (!centre) return 1;
    CnBvPtr cn(quorix_cn_bv_new_from_cell(cell, centre, ppt.get(), bv->sum[centre->flag - 1]));
    quorix_cell_refresh(cell);
    if (!cn) {
        std::fprintf(stderr, "Error: quorix_cn_bv_new_from_cell() returns NULL.\n");
        return 1;
    }
    quorix_cn_bv_print(cn.get());
    return 0;
}

namespace {

// Hoppe's weights exp(1 - (r / r_av)^6) about the mean length r_av they weight themselves,
// found by iteration from the shortest bond; their sum is the ECoN.
double hoppe_econ(const std::vector<double>& r, const std::vector<double>& occ) {
    auto weight = [](double length, double mean) { return std::exp(1.0 - std::pow(length / mean, 6)); };
    double mean = *std::min_element(r.begin(), r.end());
    for (int iteration = 0; iteration < 1000; iteration++) {
        double weighted = 0.0, total = 0.0;
        for (size_t i = 0; i < r.size(); i++) {
            const double w = occ[i] * weight(r[i], mean);
            weighted += w * r[i];
            total += w;
        }
        const double next = total > 0 ? weighted / total : mean;
        const bool converged = std::fabs(next - mean) <= 1e-12 * mean;
        mean = next;
        if (converged) break;
    }
    double econ = 0.0;
    for (size_t i = 0; i < r.size(); i++) econ += occ[i] * weight(r[i], mean);
    return econ;
}

}  // namespace

// Bond lengths to different species are not comparable (P-O is far shorter than Li-O), so the
// ECoN is taken per coordinating species and summed.
double quorix_cn_bv_effective_cn(const QUORIX_CN_BV* cn) {
    if (!cn || cn->total <= 0 || !cn->r || !cn->occ || !cn->type_c || !cn->os_c) return 0.0;
    std::vector<bool> counted(cn->total, false);
    double econ = 0.0;
    for (int first = 0; first < cn->total; first++) {
        if (counted[first]) continue;
        std::vector<double> r, occ;
        for (int i = first; i < cn->total; i++) {
            if (cn->os_c[i] != cn->os_c[first] || std::strncmp(cn->type_c[i], cn->type_c[first], 3) != 0) continue;
            counted[i] = true;
            r.push_back(cn->r[i]);
            occ.push_back(cn->occ[i]);
        }
        econ += hoppe_econ(r, occ);
    }
    return econ;
}

// ---------------------------------------------------------------- printing

void quorix_cn_print_shell(QUORIX_CN* cn) {
    if (!cn || cn->total_shell < 1 || !cn->r_shell || !cn->n_shell) {
        std::printf("CN: (not allocated)\n");
        return;
    }
    std::printf("CN: center atom: %6s (%s%d%c)\n", cn->name, cn->type, std::abs(cn->os), sign_of(cn->os));
    std::printf("CN: coordinated type: %s%d%c\n", cn->type_c, std::abs(cn->os_c), sign_of(cn->os_c));
    std::printf("CN: %5s %9s %6s\n", "shell", "r", "cn");
    for (int i = 0; i < cn->total_shell; i++) std::printf("CN: %5d %9.6f %6.3f\n", i, cn->r_shell[i], cn->n_shell[i]);
}

// Lists the neighbours up to twice the start of the second shell, or all with a single shell.
void quorix_cn_mix_print(QUORIX_CN_MIX* cn) {
    if (!cn || cn->total_shell < 1 || !cn->n_shell || !cn->index_shell || !cn->type_c) {
        std::printf("CN: (not allocated)\n");
        return;
    }
    std::printf("CN: Center atom: %13s (%s%d%c)\n", cn->name, cn->type, std::abs(cn->os), sign_of(cn->os));
    std::printf("CN: Coordination Number: %12.3f\n", cn->n_shell[0]);
    std::printf("CN: %5s %6s %16s %9s %6s %8s %9s\n", "Index", "Shell", "Coordinated type", "r", "occ", "n", "rds");
    const int listed = cn->total_shell > 1 ? std::min(cn->total, 2 * cn->index_shell[1]) : cn->total;
    int shell = 0;
    for (int i = 0; i < listed; i++) {
        while (shell + 1 < cn->total_shell && i >= cn->index_shell[shell + 1]) shell++;
        std::printf("CN: %5d %6d %14s%d%c %9.6f %6.3f %8.3f %9.6f\n", i + 1, shell + 1, cn->type_c[i],
                    std::abs(cn->os_c[i]), sign_of(cn->os_c[i]), cn->r[i], cn->occ[i], cn->n[i], cn->g[i]);
    }
}

void quorix_cn_print_datapoint(QUORIX_CN* cn) {
    if (!cn || cn->total <= 0 || !cn->r) {
        std::printf("CN: (not allocated)\n");
        return;
    }
    std::printf("CN: center atom: %6s (%s%d%c)\n", cn->name, cn->type, std::abs(cn->os), sign_of(cn->os));
    std::printf("CN: coordinated type: %s%d%c\n", cn->type_c, std::abs(cn->os_c), sign_of(cn->os_c));
    std::printf("CN: %5s %9s %6s %8s %9s\n", "index", "r", "occ", "n", "rds");
    for (int i = 0; i < cn->total; i++)
        std::printf("CN: %5d %9.6f %6.3f %8.3f %9.6f\n", i + 1, cn->r[i], cn->occ[i], cn->n[i], cn->g[i]);
}

void quorix_cn_bv_print(QUORIX_CN_BV* cn) {
    if (!cn || cn->total <= 0 || !cn->s || !cn->type_c) {
        std::printf("CN: (not allocated)\n");
        return;
    }
    std::printf("CN: Center atom: %13s (%s%d%c)\n", cn->name, cn->type, std::abs(cn->os), sign_of(cn->os));
    std::printf("CN: Bond valence sum: %12.6f\n", cn->BVS);
    std::printf("CN: Coordination Number: %12.3f (bonds before the largest relative drop in bond valence)\n",
                cn->n[cn->cn_index]);
    std::printf("CN: Effective Coordination Number: %12.3f (ECoN from the bond lengths)\n",
                quorix_cn_bv_effective_cn(cn));
    std::printf("CN: %5s %16s %9s %6s %8s %9s %9s %9s %7s\n", "Index", "Coordinated type", "r", "occ", "n", "bv",
                "bv_sum", "bv_ave", "of_sum");
    for (int i = 0; i < cn->cn_print; i++)
        std::printf("CN: %5d %14s%d%c %9.6f %6.3f %8.3f %9.6f %9.6f %9.6f %6.1f%%%s\n", i + 1, cn->type_c[i],
                    std::abs(cn->os_c[i]), sign_of(cn->os_c[i]), cn->r[i], cn->occ[i], cn->n[i], cn->s[i], cn->s_sum[i],
                    cn->s_ave[i], 100.0 * cn->s_det[i], i == cn->cn_index ? " <- cn" : "");
    if (cn->cn_print < cn->total)
        std::printf("CN: %d weaker bonds below %.2f v.u. not listed, together %.6f v.u.\n", cn->total - cn->cn_print,
                    kListedBond, cn->s_sum[cn->total - 1] - cn->s_sum[cn->cn_print - 1]);
}
