// Supercells and the random full occupation of partially occupied sites.
#include "quorix-import-occ.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-la.hpp"

namespace {

constexpr double kSharedSiteDistance = 0.3;  // A: atoms closer than this compete for one site
constexpr double kNegligibleOccupancy = 0.01;
// Occupancies are often given to three decimals (a third as 0.333, also by our CIF writer), so
// their sum may fall short of the whole atoms it stands for by up to 0.0005 per site. The
// allowance never exceeds half an atom.
constexpr double kOccupancyRounding = 0.0005;
constexpr double kMaxOccupancyShortfall = 0.5;
// Beyond this a supercell is a mistyped multiple rather than a structure anyone can compute with.
constexpr double kMaxSupercellAtoms = 1e7;

bool has_atoms(const QUORIX_CELL* cell) { return cell && cell->atom && cell->total > 0; }

bool same_species(const QUORIX_ATOM& a, const QUORIX_ATOM& b) { return quorix_atom_is_species(a, b.type, b.os); }

// Tells whether two atoms of a cell lie closer than 0.3 A (shortest periodic distance over the
// 27 neighbouring shifts). A pair is rejected early when, along some lattice direction, its
// fractional separation keeps it 0.3 A apart under every shift: a vector shorter than r has
// fractional components below r times the length of the reciprocal vectors.
class SiteTest {
public:
    explicit SiteTest(QUORIX_CELL* cell) : cell_(cell) {
        double cross[3];
        quorix_vector3_double_cross(cross, cell->a[1], cell->a[2]);
        const double volume = quorix_vector3_double_dot(cell->a[0], cross);
        prefilter_ = std::isfinite(volume) && volume != 0.0;
        for (int k = 0; k < 3; k++) {
            quorix_vector3_double_cross(reciprocal_[k], cell->a[(k + 1) % 3], cell->a[(k + 2) % 3]);
            for (double& v : reciprocal_[k]) v /= volume;
            reach_[k] = kSharedSiteDistance * quorix_vector3_double_length(reciprocal_[k]) + 1e-9;
        }
    }

    bool operator()(QUORIX_ATOM& a, QUORIX_ATOM& b) const {
        if (prefilter_) {
            double d[3];
            for (int k = 0; k < 3; k++) d[k] = b.x[k] - a.x[k];
            for (int k = 0; k < 3; k++) {
                const double f = quorix_vector3_double_dot(reciprocal_[k], d);
                if (!(std::fabs(f) < reach_[k] || std::fabs(f - 1.0) < reach_[k] || std::fabs(f + 1.0) < reach_[k]))
                    return false;
            }
        }
        return quorix_cell_min_distance_btw_atoms(cell_, &a, &b) < kSharedSiteDistance;
    }

private:
    QUORIX_CELL* cell_;
    bool prefilter_;
    double reciprocal_[3][3];
    double reach_[3];
};

// An occupancy that takes part in a random choice; others are dropped with their atom.
bool usable_occupancy(double occ) { return std::isfinite(occ) && occ >= kNegligibleOccupancy; }

bool contains_species(const QUORIX_CELL* cell, const char* type, int os) {
    for (long i = 0; i < cell->total; i++)
        if (quorix_atom_is_species(cell->atom[i], type, os)) return true;
    return false;
}

// Checks a cell and a species given to an assignment; prints the reason when they do not fit.
bool species_in_cell(const QUORIX_CELL* cell, const char* type, int os) {
    if (!has_atoms(cell)) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return false;
    }
    if (!type) {
        std::fprintf(stderr, "Error: species type not given.\n");
        return false;
    }
    if (contains_species(cell, type, os)) return true;
    std::fprintf(stderr, "Error: no %s%ld%c ion in QUORIX_CELL.\n", type, std::labs(static_cast<long>(os)),
                 os < 0 ? '-' : '+');
    return false;
}

enum class Fate : char { kept, dropped, filled };

// A copy of the cell holding the atoms that are kept or filled, in their order; filled atoms
// become fully occupied.
QUORIX_CELL* copy_with_fates(const QUORIX_CELL* cell, const std::vector<Fate>& fate) {
    std::vector<QUORIX_ATOM> kept;
    for (long i = 0; i < cell->total; i++) {
        if (fate[i] == Fate::dropped) continue;
        kept.push_back(cell->atom[i]);
        kept.back().ignored = false;
        if (fate[i] == Fate::filled) kept.back().occ = 1.0;
    }
    if (kept.empty()) {
        std::fprintf(stderr, "Error: no atom left in QUORIX_CELL after the assignment.\n");
        return nullptr;
    }
    CellPtr copy(quorix_cell_copy(cell));
    if (!copy) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return nullptr;
    }
    if (quorix_cell_replace_atoms(copy.get(), kept.data(), static_cast<long>(kept.size()))) return nullptr;
    return copy.release();
}

// ---------------------------------------------------------------- sites shared or partial

// The atom with every atom linked to it by a chain of distances below 0.3 A, in cell order.
std::vector<long> site_around(QUORIX_CELL* cell, const SiteTest& share_site, long first, std::vector<bool>& grouped) {
    std::vector<long> site{first};
    grouped[first] = true;
    for (size_t k = 0; k < site.size(); k++)
        for (long j = 0; j < cell->total; j++)
            if (!grouped[j] && share_site(cell->atom[site[k]], cell->atom[j])) {
                grouped[j] = true;
                site.push_back(j);
            }
    std::sort(site.begin(), site.end());
    return site;
}

// Sites of the species that it shares with another species; sites it holds alone stay as they are.
std::vector<std::vector<long>> shared_sites(QUORIX_CELL* cell, const char* type, int os) {
    const SiteTest share_site(cell);
    std::vector<bool> grouped(cell->total, false);
    std::vector<std::vector<long>> sites;
    for (long i = 0; i < cell->total; i++) {
        if (grouped[i] || !quorix_atom_is_species(cell->atom[i], type, os)) continue;
        std::vector<long> site = site_around(cell, share_site, i, grouped);
        const auto other_species = [&](long j) { return !quorix_atom_is_species(cell->atom[j], type, os); };
        if (std::any_of(site.begin(), site.end(), other_species)) sites.push_back(std::move(site));
    }
    return sites;
}

// Occupancy of every site by every species present on them, plus a last column for the vacancy.
// Rows sum to 1: a site filled beyond 1 is scaled down and has no vacancy.
struct OccupancyTable {
    std::vector<const QUORIX_ATOM*> species;  // one atom standing for each species column
    long sites = 0;
    int labels = 0;  // species columns and the vacancy
    std::vector<double> p;

    int vacancy() const { return labels - 1; }
    int column_of(const QUORIX_ATOM& atom) const {
        for (size_t k = 0; k < species.size(); k++)
            if (same_species(*species[k], atom)) return static_cast<int>(k);
        return -1;
    }
};

OccupancyTable occupancy_table(const QUORIX_CELL* cell, const std::vector<std::vector<long>>& sites) {
    OccupancyTable table;
    for (const auto& site : sites)
        for (long i : site)
            if (usable_occupancy(cell->atom[i].occ) && table.column_of(cell->atom[i]) < 0)
                table.species.push_back(&cell->atom[i]);
    table.sites = static_cast<long>(sites.size());
    table.labels = static_cast<int>(table.species.size()) + 1;
    table.p.assign(table.sites * table.labels, 0.0);
    for (long s = 0; s < table.sites; s++) {
        double* row = &table.p[s * table.labels];
        double filled = 0.0;
        for (long i : sites[s]) {
            if (!usable_occupancy(cell->atom[i].occ)) continue;
            row[table.column_of(cell->atom[i])] += cell->atom[i].occ;
            filled += cell->atom[i].occ;
        }
        if (filled > 1.0)
            for (int l = 0; l < table.vacancy(); l++) row[l] /= filled;
        else
            row[table.vacancy()] = 1.0 - filled;
    }
    return table;
}

// Dependent rounding of a site-by-label matrix whose rows sum to 1 (bipartite pipage rounding).
// Along a cycle or a maximal path of fractional entries, alternate entries are raised and
// lowered by one random step until one of them reaches 0 or 1; the step is drawn so that every
// entry keeps its expectation. In the end each site holds one label, site s gets label l with
// probability p[s][l], and every column sum ends at the floor or the ceiling of its start.
class SiteRounding {
public:
    SiteRounding(std::vector<double> p, long sites, int labels)
        : x_(std::move(p)), sites_(sites), labels_(labels), position_(sites + labels, -1), column_(labels) {
        for (long s = 0; s < sites_; s++)
            for (int l = 0; l < labels_; l++) {
                snap(at(s, l));
                if (fractional(s, l)) column_[l].push_back(s);
            }
    }

    std::vector<int> labels() {
        // Only fractional entries ever change, so a site once decided stays decided.
        for (long s = 0; s < sites_; s++)
            while (undecided(s)) shift(alternating_edges(s));
        std::vector<int> label(sites_);
        for (long s = 0; s < sites_; s++) {
            const double* row = &x_[s * labels_];
            label[s] = static_cast<int>(std::max_element(row, row + labels_) - row);
        }
        return label;
    }

private:
    struct Edge {
        long site;
        int label;
    };
    static constexpr double kEps = 1e-9;

    double& at(long s, int l) { return x_[s * labels_ + l]; }
    double& at(const Edge& e) { return at(e.site, e.label); }
    bool fractional(long s, int l) const {
        const double x = x_[s * labels_ + l];
        return x > 0.0 && x < 1.0;
    }
    static void snap(double& x) {
        if (x < kEps) x = 0.0;
        if (x > 1.0 - kEps) x = 1.0;
    }
    bool undecided(long s) const {
        for (int l = 0; l < labels_; l++)
            if (fractional(s, l)) return true;
        return false;
    }
    // Vertices: sites are 0 .. sites-1, labels follow.
    bool is_site(long v) const { return v < sites_; }
    Edge edge(long v, long w) const { return is_site(v) ? Edge{v, int(w - sites_)} : Edge{w, int(v - sites_)}; }

    // A vertex joined to v by a fractional entry, other than `except`; -1 when there is none.
    long fractional_neighbour(long v, long except) {
        if (is_site(v)) {
            for (int l = 0; l < labels_; l++)
                if (fractional(v, l) && sites_ + l != except) return sites_ + l;
            return -1;
        }
        std::vector<long>& column = column_[v - sites_];
        for (size_t k = 0; k < column.size();) {
            if (!fractional(column[k], int(v - sites_))) {  // decided since it was listed
                column[k] = column.back();
                column.pop_back();
            } else if (column[k] != except) {
                return column[k];
            } else {
                k++;
            }
        }
        return -1;
    }

    // Walks fractional entries from a site until the walk closes a cycle or, walked from both
    // ends, cannot go on; returns the edges of that cycle or path in order.
    std::vector<Edge> alternating_edges(long start) {
        std::vector<long> walk{start};
        position_[start] = 0;
        bool turned = false;
        std::vector<Edge> edges;
        for (;;) {
            const long before = walk.size() > 1 ? walk[walk.size() - 2] : -1;
            const long next = fractional_neighbour(walk.back(), before);
            if (next >= 0 && position_[next] >= 0) {
                for (size_t k = position_[next]; k + 1 < walk.size(); k++) edges.push_back(edge(walk[k], walk[k + 1]));
                edges.push_back(edge(walk.back(), next));
                break;
            }
            if (next >= 0) {
                position_[next] = static_cast<long>(walk.size());
                walk.push_back(next);
                continue;
            }
            if (turned) {
                for (size_t k = 0; k + 1 < walk.size(); k++) edges.push_back(edge(walk[k], walk[k + 1]));
                break;
            }
            turned = true;
            std::reverse(walk.begin(), walk.end());
            for (size_t k = 0; k < walk.size(); k++) position_[walk[k]] = static_cast<long>(k);
        }
        for (long v : walk) position_[v] = -1;
        return edges;
    }

    void shift(const std::vector<Edge>& edges) {
        // Largest steps that keep every entry within [0, 1] when the even edges go up (and the
        // odd ones down), or the even edges go down.
        double up = HUGE_VAL, down = HUGE_VAL;
        for (size_t k = 0; k < edges.size(); k++) {
            const double x = at(edges[k]);
            up = std::min(up, k % 2 == 0 ? 1.0 - x : x);
            down = std::min(down, k % 2 == 0 ? x : 1.0 - x);
        }
        const double step = quorix_random() * (up + down) < down ? up : -down;
        for (size_t k = 0; k < edges.size(); k++) {
            double& x = at(edges[k]);
            x += k % 2 == 0 ? step : -step;
            snap(x);
        }
    }

    std::vector<double> x_;
    long sites_;
    int labels_;
    std::vector<long> position_;             // index of a vertex in the current walk, or -1
    std::vector<std::vector<long>> column_;  // per label, the sites listed as fractional
};

// One atom of the species on the site, chosen with probability proportional to its occupancy;
// -1 when the species has no usable atom there.
long pick_occupant(const QUORIX_CELL* cell, const std::vector<long>& site, const QUORIX_ATOM& species) {
    auto candidate = [&](long i) {
        return usable_occupancy(cell->atom[i].occ) && same_species(cell->atom[i], species);
    };
    double total = 0.0;
    long last = -1;
    for (long i : site)
        if (candidate(i)) {
            total += cell->atom[i].occ;
            last = i;
        }
    const double r = quorix_random() * total;
    double running = 0.0;
    for (long i : site)
        if (candidate(i) && (running += cell->atom[i].occ) >= r) return i;
    return last;
}

// ---------------------------------------------------------------- one species

// The first marked atom at which the running sum of occ / occ_total reaches a random number,
// or -1 when rounding ends the walk first.
long draw_marked(const QUORIX_CELL* cell, const std::vector<Fate>& fate, double occ_total) {
    const double r = quorix_random();
    double running = 0.0;
    for (long i = 0; i < cell->total; i++) {
        const double occ = cell->atom[i].occ;
        if (fate[i] != Fate::dropped || !(occ > 0.0)) continue;
        running += occ / occ_total;
        if (running >= r) return i;
    }
    return -1;
}

struct Species {
    char type[3];
    int os;
};

// The species of a cell in canonical order; sorts the cell's atoms.
std::vector<Species> species_of(QUORIX_CELL* cell) {
    quorix_atom_sort(cell->atom, cell->total);
    std::vector<Species> species;
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        if (i > 0 && same_species(atom, cell->atom[i - 1])) continue;
        species.push_back({});
        quorix_copy_bounded(species.back().type, atom.type, sizeof species.back().type);
        species.back().os = atom.os;
    }
    return species;
}

// Replaces the cell by step(cell, species) for every species that needs it; false on failure.
bool assign_each(CellPtr& cell, const std::vector<Species>& all, bool (*needs)(QUORIX_CELL*, const char*, int),
                 QUORIX_CELL* (*step)(QUORIX_CELL*, const char*, int), const char* step_name) {
    for (const Species& species : all) {
        if (!needs(cell.get(), species.type, species.os)) continue;
        CellPtr next(step(cell.get(), species.type, species.os));
        if (!next) {
            std::fprintf(stderr, "Error: %s() returns NULL.\n", step_name);
            return false;
        }
        cell = std::move(next);
    }
    return true;
}

// Multiples for 125 to 249 atoms: each test overrides the one before, so c stays single unless
// it is strictly the shortest axis, in which case b does.
void double_two_axes(const QUORIX_CELL* cell, int* n) {
    double length[3];
    for (int k = 0; k < 3; k++) length[k] = quorix_vector3_double_length(cell->a[k]);
    for (int k = 0; k < 3; k++) {
        const bool strictly_shortest = length[k] < length[(k + 1) % 3] && length[k] < length[(k + 2) % 3];
        if (strictly_shortest) continue;
        n[0] = n[1] = n[2] = 2;
        n[k] = 1;
    }
}

void default_multiples(const QUORIX_CELL* cell, int* n) {
    struct Rule {
        long fewest_atoms;
        int multiple;
    };
    constexpr Rule kRules[] = {{250, 1}, {125, 0}, {37, 2}, {15, 3}, {8, 4}, {4, 5}, {2, 6}, {1, 7}};
    for (const Rule& rule : kRules) {
        if (cell->total < rule.fewest_atoms) continue;
        if (rule.multiple == 0) {
            double_two_axes(cell, n);
        } else {
            n[0] = n[1] = n[2] = rule.multiple;
        }
        return;
    }
}

}  // namespace

// ---------------------------------------------------------------- supercells

QUORIX_CELL* quorix_cell_supercell(QUORIX_CELL* cell, int* n) {
    if (!has_atoms(cell) || !n) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (n[0] < 1 || n[1] < 1 || n[2] < 1) {
        std::fprintf(stderr, "Error: supercell parameters must be positive.\n");
        return nullptr;
    }
    if (static_cast<double>(cell->total) * n[0] * n[1] * n[2] > kMaxSupercellAtoms) {
        std::fprintf(stderr, "Error: a %d x %d x %d supercell of %ld atoms is too large.\n", n[0], n[1], n[2],
                     cell->total);
        return nullptr;
    }
    const long images = static_cast<long>(n[0]) * n[1] * n[2];
    CellPtr super(quorix_cell_new(cell->total * images));
    if (!super) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return nullptr;
    }
    quorix_copy_bounded(super->name, cell->name, sizeof super->name);
    for (int i = 0; i < 3; i++)
        for (int k = 0; k < 3; k++) super->a[i][k] = n[i] * cell->a[i][k];
    QUORIX_ATOM* image = super->atom;
    for (long i = 0; i < cell->total; i++)
        for (int p = 0; p < n[0]; p++)
            for (int q = 0; q < n[1]; q++)
                for (int s = 0; s < n[2]; s++, image++) {
                    *image = cell->atom[i];
                    for (int k = 0; k < 3; k++)
                        image->x[k] += p * cell->a[0][k] + q * cell->a[1][k] + s * cell->a[2][k];
                }
    quorix_cell_update_fractional(super.get());
    return super.release();
}

QUORIX_CELL* quorix_cell_supercell_default(QUORIX_CELL* cell) {
    if (!cell) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (cell->total <= 0) {
        std::fprintf(stderr, "Error: wrong total atom number %ld\n in QUORIX_CELL.\n", cell->total);
        return nullptr;
    }
    int n[3] = {1, 1, 1};
    default_multiples(cell, n);
    QUORIX_CELL* super = quorix_cell_supercell(cell, n);
    if (!super) std::fprintf(stderr, "Error: quorix_cell_supercell() returns NULL.\n");
    return super;
}

// ---------------------------------------------------------------- partial occupancies

bool quorix_cell_partial_occ_at_conducting_site(QUORIX_CELL* cell, const char* type, int os) {
    if (!has_atoms(cell) || !type) return false;
    const SiteTest share_site(cell);
    for (long i = 0; i < cell->total; i++) {
        if (!quorix_atom_is_species(cell->atom[i], type, os)) continue;
        for (long j = 0; j < cell->total; j++)
            if (!quorix_atom_is_species(cell->atom[j], type, os) && share_site(cell->atom[i], cell->atom[j])) return true;
    }
    return false;
}

// All shared sites of the species are decided together, so that every species on them ends
// with the floor or the ceiling of its summed occupancy there.
QUORIX_CELL* quorix_cell_assign_partial_occ_at_conducting_site(QUORIX_CELL* cell, const char* type, int os) {
    if (!species_in_cell(cell, type, os)) return nullptr;
    const std::vector<std::vector<long>> sites = shared_sites(cell, type, os);
    std::vector<Fate> fate(cell->total, Fate::kept);
    if (!sites.empty()) {
        const OccupancyTable table = occupancy_table(cell, sites);
        const std::vector<int> label = SiteRounding(table.p, table.sites, table.labels).labels();
        for (size_t s = 0; s < sites.size(); s++) {
            for (long i : sites[s]) fate[i] = Fate::dropped;
            if (label[s] == table.vacancy()) continue;
            const long occupant = pick_occupant(cell, sites[s], *table.species[label[s]]);
            if (occupant >= 0) fate[occupant] = Fate::filled;
        }
    }
    return copy_with_fates(cell, fate);
}

QUORIX_CELL* quorix_cell_assign_partial_occ(QUORIX_CELL* cell, const char* type, int os) {
    if (!species_in_cell(cell, type, os)) return nullptr;
    // Partially occupied atoms of the species start as dropped; each draw fills one of them.
    std::vector<Fate> fate(cell->total, Fate::kept);
    double occ_total = 0.0;
    long marked = 0, candidates = 0;
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        if (!quorix_atom_is_species(atom, type, os) || atom.occ >= 1.0) continue;
        fate[i] = Fate::dropped;
        marked++;
        if (atom.occ > 0.0) {
            occ_total += atom.occ;
            candidates++;
        }
    }
    const double shortfall = std::min(kOccupancyRounding * marked, kMaxOccupancyShortfall);
    while (candidates > 0 && occ_total >= 1.0 - shortfall) {
        const long chosen = draw_marked(cell, fate, occ_total);
        if (chosen < 0) continue;
        fate[chosen] = Fate::filled;
        occ_total -= 1.0;
        candidates--;
    }
    return copy_with_fates(cell, fate);
}

QUORIX_CELL* quorix_cell_assign_partial_occ_all(QUORIX_CELL* cell) {
    if (!has_atoms(cell)) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    CellPtr assigned(quorix_cell_copy(cell));
    if (!assigned) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return nullptr;
    }
    const std::vector<Species> all = species_of(assigned.get());
    // A species may have lost every atom on the shared sites before its own turn comes.
    auto present = [](QUORIX_CELL* c, const char* type, int os) { return contains_species(c, type, os); };
    if (!assign_each(assigned, all, quorix_cell_partial_occ_at_conducting_site,
                     quorix_cell_assign_partial_occ_at_conducting_site,
                     "quorix_cell_assign_partial_occ_at_conducting_site") ||
        !assign_each(assigned, all, present, quorix_cell_assign_partial_occ, "quorix_cell_assign_partial_occ"))
        return nullptr;
    return assigned.release();
}
