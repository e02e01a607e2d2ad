// Operations on the atoms of a cell: symmetry images, duplicates, order, names, cell geometry, sites.
#include "quorix-import-atom.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <climits>
#include <cstring>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-images.hpp"
#include "quorix-import-grid.hpp"
#include "quorix-la.hpp"

namespace {

constexpr double kDegreeToRadian = 0.0174532925;
constexpr double kRadianToDegree = 57.29577957855229;
constexpr double kSamePosition = 0.005;  // fractional, per coordinate, also across a cell face
constexpr double kSameReach[3] = {kSamePosition, kSamePosition, kSamePosition};
constexpr double kSameOccupancy = 0.02;

bool cell_has_atoms(const QUORIX_CELL* cell) { return cell && cell->atom && cell->total > 0; }
bool symmetry_has_cards(const QUORIX_SYMMETRY* symmetry) {
    return symmetry && symmetry->card && symmetry->total > 0;
}

bool same_species(const QUORIX_ATOM& a, const QUORIX_ATOM& b) { return quorix_atom_is_species(a, b.type, b.os); }

// Key of an atom in one sorting pass: atoms with equal keys are never swapped.
using SortKey = std::pair<std::uint64_t, std::uint64_t>;

std::uint64_t bits_of(double v) {
    std::uint64_t bits;
    std::memcpy(&bits, &v, sizeof(bits));
    return bits;
}

// With few distinct keys in a range, each step of a pass jumps from one swap to the next
// through the positions of every key instead of visiting each later position.
constexpr int kJumpKeys = 32;
constexpr long kTreeExchangesPerAtom = 32;

// Distinct keys of a range: an id per position and one atom standing for each key.
struct RangeKeys {
    std::vector<int> id;  // id[p - begin]
    std::vector<long> representative;
    int count() const { return static_cast<int>(representative.size()); }
};

template <class KeyOf>
RangeKeys range_keys(const std::vector<long>& order, long begin, long end, KeyOf&& key_of) {
    RangeKeys keys;
    std::map<SortKey, int> ids;
    for (long p = begin; p < end; p++) {
        const auto [it, added] = ids.emplace(key_of(order[p]), keys.count());
        if (added) keys.representative.push_back(order[p]);
        keys.id.push_back(it->second);
    }
    return keys;
}

// One exchange-sort pass over order[begin, end): every pair i < j is swapped when
// later_first(order[i], order[j]) holds, exactly as visiting all pairs in order would.
// Atoms with equal keys are never swapped.
template <class KeyOf, class LaterFirst>
void exchange_pass(std::vector<long>& order, long begin, long end, KeyOf&& key_of, LaterFirst&& later_first) {
    if (end - begin < 2) return;
    RangeKeys keys = range_keys(order, begin, end, key_of);
    std::vector<int>& id = keys.id;  // follows the swaps
    auto swap = [&](long i, long j) {
        std::swap(order[i], order[j]);
        std::swap(id[i - begin], id[j - begin]);
    };
    const int count = keys.count();
    if (count > kJumpKeys) {
        for (long i = begin; i < end; i++)
            for (long j = i + 1; j < end; j++)
                if (id[i - begin] != id[j - begin] && later_first(order[i], order[j])) swap(i, j);
        return;
    }
    std::vector<char> swaps(static_cast<size_t>(count) * count);  // decisions between keys, made once
    for (int a = 0; a < count; a++)
        for (int b = 0; b < count; b++)
            swaps[a * count + b] = later_first(keys.representative[a], keys.representative[b]);
    std::vector<std::set<long>> ahead(count);  // positions after the current step, by key
    for (long p = begin + 1; p < end; p++) ahead[id[p - begin]].insert(p);
    for (long i = begin; i < end; i++) {
        ahead[id[i - begin]].erase(i);
        for (long p = i;;) {
            long next = end;
            for (int k = 0; k < count; k++) {
                if (!swaps[id[i - begin] * count + k]) continue;
                const auto it = ahead[k].upper_bound(p);
                if (it != ahead[k].end() && *it < next) next = *it;
            }
            if (next == end) break;
            ahead[id[next - begin]].erase(next);
            ahead[id[i - begin]].insert(next);
            swap(i, next);
            p = next;
        }
    }
}

// The first position from `from` on whose rank is below `rank`, or -1: a tree of the smallest
// rank under each node of positions, kept as positions exchange their atoms.
class RankTree {
public:
    explicit RankTree(const std::vector<int>& rank) : size_(1) {
        while (size_ < rank.size()) size_ *= 2;
        least_.assign(2 * size_, INT32_MAX);
        std::copy(rank.begin(), rank.end(), least_.begin() + static_cast<std::ptrdiff_t>(size_));
        for (size_t node = size_ - 1; node > 0; node--) least_[node] = std::min(least_[2 * node], least_[2 * node + 1]);
    }

    void set(size_t position, int rank) {
        size_t node = size_ + position;
        least_[node] = rank;
        for (node /= 2; node > 0; node /= 2) least_[node] = std::min(least_[2 * node], least_[2 * node + 1]);
    }

    long first_below(size_t from, int rank) const { return find(1, 0, size_, from, rank); }

private:
    long find(size_t node, size_t low, size_t high, size_t from, int rank) const {
        if (high <= from || least_[node] >= rank) return -1;
        if (high - low == 1) return static_cast<long>(low);
        const size_t middle = (low + high) / 2;
        const long left = find(2 * node, low, middle, from, rank);
        return left >= 0 ? left : find(2 * node + 1, middle, high, from, rank);
    }

    size_t size_;
    std::vector<int> least_;
};

// An exchange pass over order[begin, end) where atom i goes after atom j exactly when
// value_of(i) > value_of(j). Step i of the pass carries the atom at i to the first later
// position holding a smaller value, that one's atom on to the next smaller one after it, and so
// on, ending with the smallest value at i; a tree of value ranks finds each next position, so a
// pass costs the number of exchanges times log n instead of n^2 comparisons. NaN compares with
// nothing, which the tree cannot express: such ranges take the general pass.
template <class ValueOf>
void exchange_pass_by_value(std::vector<long>& order, long begin, long end, ValueOf&& value_of) {
    const auto later_first = [&](long i, long j) { return value_of(i) > value_of(j); };
    const auto key_of = [&](long i) { return SortKey(bits_of(static_cast<double>(value_of(i))), 0); };
    std::vector<double> values;
    for (long p = begin; p < end; p++) values.push_back(static_cast<double>(value_of(order[p])));
    if (end - begin < 2 || std::any_of(values.begin(), values.end(), [](double v) { return std::isnan(v); }))
        return exchange_pass(order, begin, end, key_of, later_first);
    std::vector<double> distinct = values;
    std::sort(distinct.begin(), distinct.end());
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());  // -0 and 0 are one
    std::vector<int> rank;
    for (const double v : values)
        rank.push_back(static_cast<int>(std::lower_bound(distinct.begin(), distinct.end(), v) - distinct.begin()));
    RankTree tree(rank);
    const long n = end - begin;
    long i = 0;
    // Inputs far from order make long chains at every step; once the exchanges outnumber the
    // tree's advantage, the plain pair loop finishes the pass (it picks the same exchanges).
    for (long exchanges = 0; i < n && exchanges <= kTreeExchangesPerAtom * n; i++)
        for (long p = tree.first_below(static_cast<size_t>(i) + 1, rank[i]); p >= 0;
             p = tree.first_below(static_cast<size_t>(p) + 1, rank[i]), exchanges++) {
            std::swap(order[begin + i], order[begin + p]);
            std::swap(rank[i], rank[p]);
            tree.set(static_cast<size_t>(i), rank[i]);
            tree.set(static_cast<size_t>(p), rank[p]);
        }
    for (; i < n; i++)
        for (long j = i + 1; j < n; j++)
            if (rank[j] < rank[i]) {
                std::swap(order[begin + i], order[begin + j]);
                std::swap(rank[i], rank[j]);
            }
}

// Runs pass(begin, end) on each run of order[first, last) whose atoms share the key `same`.
template <class Same, class Pass>
void in_groups(const std::vector<long>& order, long first, long last, Same&& same, Pass&& pass) {
    for (long begin = first, end = first; begin < last; begin = end) {
        end = begin + 1;
        while (end < last && same(order[begin], order[end])) end++;
        pass(begin, end);
    }
}

void apply_order(QUORIX_ATOM* atom, const std::vector<long>& order) {
    std::vector<QUORIX_ATOM> sorted;
    sorted.reserve(order.size());
    for (long index : order) sorted.push_back(atom[index]);
    std::copy(sorted.begin(), sorted.end(), atom);
}

// Dense ranks of element symbols in plain string order, so the first pass compares integers.
std::vector<int> type_ranks(const QUORIX_ATOM* atom, long total) {
    std::vector<std::string> types;
    for (long i = 0; i < total; i++) types.emplace_back(atom[i].type, strnlen(atom[i].type, sizeof(atom[i].type)));
    std::vector<std::string> distinct = types;
    std::sort(distinct.begin(), distinct.end());
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    std::vector<int> rank(total);
    for (long i = 0; i < total; i++)
        rank[i] = static_cast<int>(std::lower_bound(distinct.begin(), distinct.end(), types[i]) - distinct.begin());
    return rank;
}

// Ids that are equal exactly for equal labels, so equal labels skip the natural comparison.
std::vector<int> name_ids(const QUORIX_ATOM* atom, long total) {
    std::unordered_map<std::string, int> ids;
    std::vector<int> id(total);
    for (long i = 0; i < total; i++) {
        const std::string name(atom[i].name, strnlen(atom[i].name, sizeof(atom[i].name)));
        id[i] = ids.emplace(name, static_cast<int>(ids.size())).first->second;
    }
    return id;
}

// Ranks of the distinct labels in natural order. The natural comparison is a total order: it
// compares the leading letters one by one (end of label < digit < any other character), then
// the numbers starting at the first digit, then the whole labels; so sorting by it is sound.
std::vector<int> natural_ranks(const QUORIX_ATOM* atom, long total, const std::vector<int>& name) {
    std::vector<long> first_of(name.empty() ? 0 : *std::max_element(name.begin(), name.end()) + 1, -1);
    for (long i = 0; i < total; i++)
        if (first_of[name[i]] < 0) first_of[name[i]] = i;
    std::vector<int> ids(first_of.size());
    std::iota(ids.begin(), ids.end(), 0);
    std::sort(ids.begin(), ids.end(), [&](int a, int b) {
        return quorix_atom_name_compare(atom[first_of[a]].name, atom[first_of[b]].name) < 0;
    });
    std::vector<int> rank_of_id(ids.size());
    for (size_t r = 0; r < ids.size(); r++) rank_of_id[ids[r]] = static_cast<int>(r);
    std::vector<int> rank(total);
    for (long i = 0; i < total; i++) rank[i] = rank_of_id[name[i]];
    return rank;
}

// Marks every later atom of the grid that is the same atom as some image of atom i.
// mark(j) is called for each such atom j > i that unmarked(j) still accepts.
template <class Unmarked, class Mark>
void mark_images(const QUORIX_CELL* cell, const QUORIX_SYMMETRY* symmetry, const PositionGrid& grid, long i,
                 Unmarked&& unmarked, Mark&& mark) {
    for (int c = 0; c < symmetry->total; c++) {
        const QUORIX_ATOM image = quorix_atom_spawn_by_card(cell->atom[i], symmetry->card[c]);
        grid.visit_near(image.x_f, [&](long j) {
            if (j > i && unmarked(j) && quorix_atom_equal(image, cell->atom[j])) mark(j);
            return true;
        });
    }
}

PositionGrid grid_of_cell(const QUORIX_CELL* cell) {
    PositionGrid grid(cell->total, kSameReach);
    for (long i = 0; i < cell->total; i++) grid.insert(i, cell->atom[i].x_f);
    return grid;
}

}  // namespace

// ---------------------------------------------------------------- images and duplicates

QUORIX_ATOM quorix_atom_spawn_by_card(QUORIX_ATOM atom, QUORIX_CARD card) {
    QUORIX_ATOM image = atom;
    for (int i = 0; i < 3; i++) {
        double v = card.r_f[i][0] * atom.x_f[0] + card.r_f[i][1] * atom.x_f[1] + card.r_f[i][2] * atom.x_f[2] +
                   card.t_f[i];
        v -= std::floor(v);
        if (v >= 1.0) v -= 1.0;
        if (v < 0.0) v += 1.0;
        image.x_f[i] = v;
    }
    return image;
}

int quorix_atom_spawn_by_symmetry(QUORIX_ATOM** atom, long* total, QUORIX_SYMMETRY* symmetry) {
    if (!atom || !*atom || !total || *total <= 0) {
        std::fprintf(stderr, "Error: QUORIX_ATOM has not been properly initialized.\n");
        return 1;
    }
    if (!symmetry_has_cards(symmetry)) {
        std::fprintf(stderr, "Error: QUORIX_SYMMETRY has not been properly initialized.\n");
        return 1;
    }
    long count = *total * symmetry->total;
    QUORIX_ATOM* images = quorix_atom_new(count);
    if (!images) {
        std::fprintf(stderr, "Error: quorix_atom_new() returns NULL.\n");
        return 1;
    }
    for (long i = 0; i < *total; i++)
        for (int j = 0; j < symmetry->total; j++)
            images[j + i * symmetry->total] = quorix_atom_spawn_by_card((*atom)[i], symmetry->card[j]);
    if (quorix_atom_remove_duplicate(&images, &count)) {
        std::fprintf(stderr, "Error: quorix_atom_remove_duplicate() returns non-zero.\n");
        quorix_atom_free(images);
        return 1;
    }
    quorix_atom_sort(images, count);
    quorix_atom_free(*atom);
    *atom = images;
    *total = count;
    return 0;
}

// Keeps the first atom of each group of same atoms, in order. An atom survives when no earlier
// survivor is the same atom; atoms that arrive marked (ignored) are dropped. Survivors are found
// through a position grid instead of comparing every pair.
int quorix_atom_remove_duplicate(QUORIX_ATOM** atom, long* total) {
    if (!atom || !*atom || !total || *total <= 0) {
        std::fprintf(stderr, "Error: QUORIX_ATOM has not been properly initialized.\n");
        return 1;
    }
    const QUORIX_ATOM* in = *atom;
    PositionGrid grid(*total, kSameReach);
    std::vector<long> survivors;
    for (long j = 0; j < *total; j++) {
        if (in[j].ignored) continue;
        if (grid.any_near(in[j].x_f, [&](long i) { return quorix_atom_equal(in[i], in[j]); })) continue;
        survivors.push_back(j);
        grid.insert(j, in[j].x_f);
    }
    QUORIX_ATOM* kept = quorix_atom_new(static_cast<long>(survivors.size()));
    if (!kept) {
        std::fprintf(stderr, "Error: quorix_atom_new() returns NULL.\n");
        return 1;
    }
    for (size_t k = 0; k < survivors.size(); k++) kept[k] = in[survivors[k]];
    quorix_atom_free(*atom);
    *atom = kept;
    *total = static_cast<long>(survivors.size());
    return 0;
}

bool quorix_atom_is_species(const QUORIX_ATOM& atom, const char* type, int os) {
    return atom.os == os && std::strncmp(atom.type, type, sizeof atom.type) == 0;
}

bool quorix_atom_equal(QUORIX_ATOM atom1, QUORIX_ATOM atom2) {
    if (!same_species(atom1, atom2)) return false;
    for (int i = 0; i < 3; i++) {
        const double d = std::fabs(atom1.x_f[i] - atom2.x_f[i]);
        if (!(d < kSamePosition || std::fabs(d - 1.0) < kSamePosition)) return false;
    }
    return std::fabs(atom1.occ - atom2.occ) < kSameOccupancy;
}

bool quorix_atom_belong(QUORIX_ATOM target, QUORIX_ATOM* atom, long total) {
    if (!atom) return false;
    for (long i = 0; i < total; i++)
        if (quorix_atom_equal(target, atom[i])) return true;
    return false;
}

// ---------------------------------------------------------------- order

int quorix_atom_name_compare(const char* name1, const char* name2) {
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    for (int k = 0; k < 12; k++) {
        const auto c1 = static_cast<unsigned char>(name1[k]);
        const auto c2 = static_cast<unsigned char>(name2[k]);
        if (!c1 && !c2) return 0;
        if (!c2) return 1;
        if (!c1) return -1;
        const bool digit1 = std::isdigit(c1), digit2 = std::isdigit(c2);
        if (digit1 != digit2) return digit1 ? -1 : 1;
        if (digit1) {
            const long n1 = std::strtol(name1 + k, nullptr, 10);
            const long n2 = std::strtol(name2 + k, nullptr, 10);
            if (n1 != n2) return n1 > n2 ? 1 : -1;
            return sign(std::strcmp(name1, name2));
        }
        if (c1 != c2) return c1 > c2 ? 1 : -1;
    }
    return sign(std::strcmp(name1, name2));
}

// Four exchange passes: type, then oxidation state, occupancy and natural name order, each
// among atoms whose earlier keys are equal. After the first two passes atoms of one type and
// state form contiguous runs, so the later passes work run by run; the resulting order is that
// of passes over all pairs. (Equal occupancies need not be contiguous: NaN never swaps.)
void quorix_atom_sort(QUORIX_ATOM* atom, long total) {
    if (!atom || total < 2) return;
    const std::vector<int> type = type_ranks(atom, total);
    const std::vector<int> name = name_ids(atom, total);
    auto occ = [&](long i) { return bits_of(atom[i].occ); };
    std::vector<long> order(total);
    std::iota(order.begin(), order.end(), 0L);

    exchange_pass_by_value(order, 0, total, [&](long i) { return type[i]; });
    auto same_type = [&](long i, long j) { return type[i] == type[j]; };
    in_groups(order, 0, total, same_type, [&](long begin, long end) {
        exchange_pass_by_value(order, begin, end, [&](long i) { return atom[i].os; });
    });
    auto same_state = [&](long i, long j) { return same_type(i, j) && atom[i].os == atom[j].os; };
    in_groups(order, 0, total, same_state, [&](long begin, long end) {
        exchange_pass_by_value(order, begin, end, [&](long i) { return atom[i].occ; });
    });
    // Labels are compared only between equal occupancies. Without NaN those lie side by side
    // after the occupancy pass and each run is sorted by label rank; NaN occupancies leave
    // equal ones apart, and the group takes the general pass.
    const std::vector<int> label = natural_ranks(atom, total, name);
    in_groups(order, 0, total, same_state, [&](long begin, long end) {
        const auto nan = [&](long p) { return std::isnan(atom[order[p]].occ); };
        bool any_nan = false;
        for (long p = begin; p < end && !any_nan; p++) any_nan = nan(p);
        if (!any_nan)
            return in_groups(order, begin, end, [&](long i, long j) { return atom[i].occ == atom[j].occ; },
                             [&](long b, long e) { exchange_pass_by_value(order, b, e, [&](long i) { return label[i]; }); });
        exchange_pass(
            order, begin, end, [&](long i) { return SortKey(occ(i), name[i]); },
            [&](long i, long j) { return atom[i].occ == atom[j].occ && label[i] > label[j]; });
    });
    apply_order(atom, order);
}

void quorix_atom_sort_by_value(QUORIX_ATOM* atom, long total) {
    if (!atom || total < 2) return;
    std::vector<long> order(total);
    std::iota(order.begin(), order.end(), 0L);
    exchange_pass_by_value(order, 0, total, [&](long i) { return atom[i].value; });
    apply_order(atom, order);
}

// ---------------------------------------------------------------- cell summary

void quorix_cell_refresh(QUORIX_CELL* cell) {
    if (!cell_has_atoms(cell)) return;
    for (long i = 0; i < cell->total; i++) {
        cell->atom[i].flag = 0;
        cell->atom[i].value = 0.0;
        cell->atom[i].ignored = false;
    }
}

void quorix_cell_update_name(QUORIX_CELL* cell) {
    if (cell) cell->name[0] = '\0';
    if (!cell_has_atoms(cell)) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been initialized.\n");
        return;
    }
    double occupancy = 0.0;
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        occupancy += atom.occ;
        if (i + 1 < cell->total && same_species(atom, cell->atom[i + 1])) continue;
        char part[1024];
        std::snprintf(part, sizeof(part), "%s%ld%c:%.3f ", atom.type, std::labs(static_cast<long>(atom.os)),
                      atom.os < 0 ? '-' : '+', occupancy);
        const size_t used = std::strlen(cell->name);
        quorix_copy_bounded(cell->name + used, part, sizeof(cell->name) - used);
        occupancy = 0.0;
    }
}

int quorix_cell_count_type_os(QUORIX_CELL* cell) {
    if (!cell_has_atoms(cell)) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return -1;
    }
    quorix_atom_sort(cell->atom, cell->total);
    int species = 1;
    for (long i = 1; i < cell->total; i++)
        if (!same_species(cell->atom[i - 1], cell->atom[i])) species++;
    return species;
}

// ---------------------------------------------------------------- geometry

namespace {

constexpr double kSamePlace = 0.1;       // angstrom

// Distances below kSamePlace are shorter than half of any usable cell width, so rounding the
// fractional difference finds the nearest image.
bool crowded(const QUORIX_CELL* cell, const QUORIX_ATOM& one, const QUORIX_ATOM& other) {
    double d[3] = {0, 0, 0};
    for (int k = 0; k < 3; k++) {
        const double f = other.x_f[k] - one.x_f[k];
        for (int c = 0; c < 3; c++) d[c] += (f - std::round(f)) * cell->a[k][c];
    }
    return d[0] * d[0] + d[1] * d[1] + d[2] * d[2] < kSamePlace * kSamePlace && one.occ + other.occ > kQuorixMostOccupancy;
}

}  // namespace

// Each atom is compared with the earlier atoms binned near it.
bool quorix_cell_atoms_apart(const QUORIX_CELL* cell) {
    PositionGrid grid(cell->total, cell->a, kSamePlace);
    for (long j = 0; j < cell->total; j++) {
        const QUORIX_ATOM& other = cell->atom[j];
        const long found = grid.lowest_near(other.x_f, [&](long i) { return crowded(cell, cell->atom[i], other); });
        if (found >= 0) {
            std::fprintf(stderr,
                         "Error: atoms %s and %s lie within %.1f A of each other with occupancies adding up to %g.\n",
                         cell->atom[found].name, other.name, kSamePlace, cell->atom[found].occ + other.occ);
            return false;
        }
        grid.insert(j, other.x_f);
    }
    return true;
}

bool quorix_cell_lattice_usable(const QUORIX_CELL* cell) {
    constexpr double kShortestLatticeVector = 0.5;  // A
    for (int k = 0; k < 3; k++) {
        const double length = quorix_vector3_double_length(cell->a[k]);
        if (!(length >= kShortestLatticeVector) || !std::isfinite(length)) {
            std::fprintf(stderr, "Error: lattice vector %d of length %f A is too short for the pair sums.\n", k,
                         length);
            return false;
        }
    }
    return true;
}

double quorix_cell_calculate_volume(QUORIX_CELL* cell) {
    if (!cell) return 0.0;
    const double ca = std::cos(cell->angle[0] * kDegreeToRadian);
    const double cb = std::cos(cell->angle[1] * kDegreeToRadian);
    const double cg = std::cos(cell->angle[2] * kDegreeToRadian);
    return cell->parameter[0] * cell->parameter[1] * cell->parameter[2] *
           std::sqrt(1.0 - ca * ca - cb * cb - cg * cg + 2.0 * ca * cb * cg);
}

void quorix_cell_update_cartesion(QUORIX_CELL* cell) {
    quorix_cell_update_lattice_cartesion(cell);
    quorix_cell_update_coordinate_cartesion(cell);
}

void quorix_cell_update_fractional(QUORIX_CELL* cell) {
    quorix_cell_update_lattice_fractional(cell);
    quorix_cell_update_coordinate_fractional(cell);
}

// a along x, b in the xy-plane, c completing the parameters.
void quorix_cell_update_lattice_cartesion(QUORIX_CELL* cell) {
    if (!cell) return;
    const double a = cell->parameter[0], b = cell->parameter[1], c = cell->parameter[2];
    const double alpha = cell->angle[0] * kDegreeToRadian;
    const double beta = cell->angle[1] * kDegreeToRadian;
    const double gamma = cell->angle[2] * kDegreeToRadian;
    double (*v)[3] = cell->a;
    v[0][0] = a;
    v[0][1] = 0.0;
    v[0][2] = 0.0;
    v[1][0] = b * std::cos(gamma);
    v[1][1] = b * std::sin(gamma);
    v[1][2] = 0.0;
    v[2][0] = c * std::cos(beta);
    v[2][1] = (b * c * std::cos(alpha) - v[1][0] * v[2][0]) / v[1][1];
    v[2][2] = std::sqrt(c * c - v[2][0] * v[2][0] - v[2][1] * v[2][1]);
}

void quorix_cell_update_lattice_fractional(QUORIX_CELL* cell) {
    if (!cell) return;
    for (int i = 0; i < 3; i++) {
        const double* u = cell->a[(i + 1) % 3];
        const double* w = cell->a[(i + 2) % 3];
        cell->parameter[i] = quorix_vector3_double_length(cell->a[i]);
        const double cosine = quorix_vector3_double_dot(u, w) /
                              (quorix_vector3_double_length(u) * quorix_vector3_double_length(w));
        // Rounding can carry a parallel pair just past 1; acos would then give NaN.
        cell->angle[i] = std::acos(std::clamp(cosine, -1.0, 1.0)) * kRadianToDegree;
    }
}

void quorix_cell_update_coordinate_cartesion(QUORIX_CELL* cell) {
    if (!cell_has_atoms(cell)) return;
    for (long i = 0; i < cell->total; i++) {
        QUORIX_ATOM& atom = cell->atom[i];
        quorix_vector3_double_sum3(atom.x, cell->a[0], atom.x_f[0], cell->a[1], atom.x_f[1], cell->a[2],
                                   atom.x_f[2]);
    }
}

void quorix_cell_update_coordinate_fractional(QUORIX_CELL* cell) {
    if (!cell_has_atoms(cell)) return;
    double columns[3][3];  // lattice vectors as columns: x = columns * x_f
    quorix_matrix33_double_copy(columns, cell->a);
    quorix_matrix33_double_transpose(columns);
    for (long i = 0; i < cell->total; i++) {
        QUORIX_ATOM& atom = cell->atom[i];
        if (quorix_matrix33_double_linearsolver(atom.x_f, columns, atom.x)) {
            std::fprintf(stderr, "Error: lattice vectors of QUORIX_CELL are linearly dependent.\n");
            return;
        }
    }
}

void quorix_cell_bound_fractional(QUORIX_CELL* cell) {
    if (!cell_has_atoms(cell)) return;
    for (long i = 0; i < cell->total; i++)
        for (double& v : cell->atom[i].x_f) v -= std::floor(v);
}

double quorix_cell_min_distance_btw_atoms(QUORIX_CELL* cell, QUORIX_ATOM* atom1, QUORIX_ATOM* atom2) {
    double shortest = HUGE_VAL;
    if (!cell || !atom1 || !atom2) return shortest;
    quorix_for_each_image(cell->a, kQuorixNearestImages, [&](const QuorixImage& image) {
        // Summed from the atom outwards, the order this distance has always been computed in.
        double shifted[3];
        for (int k = 0; k < 3; k++)
            shifted[k] = atom1->x[k] + image.n[0] * cell->a[0][k] + image.n[1] * cell->a[1][k] +
                         image.n[2] * cell->a[2][k];
        shortest = std::min(shortest, quorix_vector3_double_distance(atom2->x, shifted));
    });
    return shortest;
}

// ---------------------------------------------------------------- symmetry-distinct sites

QUORIX_CELL* quorix_cell_reduce_by_symmetry(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry) {
    if (!cell_has_atoms(cell)) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (!symmetry_has_cards(symmetry)) {
        std::fprintf(stderr, "Error: QUORIX_SYMMETRY has not been properly initialized.\n");
        return nullptr;
    }
    CellPtr reduced(quorix_cell_copy(cell));
    if (!reduced) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return nullptr;
    }
    for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = false;
    const PositionGrid grid = grid_of_cell(cell);
    std::vector<QUORIX_ATOM> representatives;
    for (long i = 0; i < cell->total; i++) {
        if (cell->atom[i].ignored) continue;
        representatives.push_back(cell->atom[i]);
        mark_images(
            cell, symmetry, grid, i, [&](long j) { return !cell->atom[j].ignored; },
            [&](long j) { cell->atom[j].ignored = true; });
    }
    for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = false;
    if (quorix_cell_replace_atoms(reduced.get(), representatives.data(), static_cast<long>(representatives.size())))
        return nullptr;
    return reduced.release();
}

int quorix_cell_flag_site_by_symmetry(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry) {
    if (!cell_has_atoms(cell)) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    if (!symmetry_has_cards(symmetry)) {
        std::fprintf(stderr, "Error: QUORIX_SYMMETRY has not been properly initialized.\n");
        return 1;
    }
    for (long i = 0; i < cell->total; i++) cell->atom[i].flag = 0;
    const PositionGrid grid = grid_of_cell(cell);
    long site = 1;
    for (long i = 0; i < cell->total; i++) {
        if (cell->atom[i].flag != 0) continue;
        cell->atom[i].flag = site;
        mark_images(
            cell, symmetry, grid, i, [&](long j) { return cell->atom[j].flag == 0; },
            [&](long j) { cell->atom[j].flag = site; });
        site++;
    }
    return 0;
}
