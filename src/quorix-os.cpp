// Oxidation states by bond valence: the charge-neutral choice of states that fits the sums best.
#include "quorix-os.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-bv.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-property.hpp"

namespace {

// A choice is neutral when its net charge is at most this fraction of its total charge.
constexpr double kNeutral = 0.005;
// Per-element choices tried at most in one stage.
constexpr double kMostChoices = 1e6;
constexpr int kLineBuffer = 1024;
// Sites of a mixed-valence element filled in every order when there are at most this many.
constexpr size_t kEveryOrderUpTo = 6;

struct Element {
    std::string type;
    std::vector<int> common;     // common states that are tabulated, most common first
    std::vector<int> tabulated;  // every tabulated non-zero state, in file order
};

struct Pair {
    double r0 = 0;
    double b = 0;
    double cutoff = 0;
    bool usable() const { return r0 > 0 && b > 0 && cutoff > kQuorixBvMinimumDistance; }
};

// The atoms of one symmetry-distinct site near another site's representative.
struct NearSite {
    int site;
    std::vector<double> d;
    std::vector<double> occ;
    std::unordered_map<const Pair*, double> sum;  // summed bond valence per pair parameters

    double bond_valence(const Pair& pair) {
        const auto found = sum.find(&pair);
        if (found != sum.end()) return found->second;
        double total = 0;
        for (size_t i = 0; i < d.size(); i++)
            if (d[i] < pair.cutoff) total += occ[i] * quorix_bv_bond_valence(pair.r0, pair.b, d[i]);
        sum.emplace(&pair, total);
        return total;
    }
};

struct Site {
    int element = 0;
    long atom = 0;      // representative: the first atom carrying the site number
    double weight = 0;  // multiplicity times occupancy, as in the global instability index
    double charge = 0;  // summed occupancy of its atoms, each counted at most 1
    std::vector<NearSite> near;
};

// One species on a site; a mixed-valence site holds two.
struct Component {
    int os;
    double fraction;
};
using Assignment = std::vector<std::vector<Component>>;

struct Fit {
    bool usable = false;  // every cation-anion pair of the choice has parameters
    double charge = 0;    // net charge per cell
    double scale = 0;     // summed absolute charge per cell
    double gii = 0;
    std::vector<std::vector<double>> sums;  // bond valence sum per site and component
    bool neutral() const { return std::fabs(charge) <= kNeutral * scale; }
};

std::vector<int> parse_states(const char* text) {
    std::vector<int> states;
    std::stringstream list(text);
    for (std::string item; std::getline(list, item, ',');) {
        char* end = nullptr;
        const long state = std::strtol(item.c_str(), &end, 10);
        if (end != item.c_str() && *end == '\0' && state != 0 && std::labs(state) < 100)
            states.push_back(static_cast<int>(state));
    }
    return states;
}

// The states of the cell's elements from the species database.
bool read_elements(std::vector<Element>& elements, const char* path) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(path ? std::fopen(path, "rb") : nullptr, std::fclose);
    if (!file) {
        std::fprintf(stderr, "Error: unable to open %s\n", path ? path : "(null)");
        return false;
    }
    std::map<std::string, std::vector<int>> common;
    char line[kLineBuffer];
    bool in_data = false;
    while (std::fgets(line, sizeof line, file.get())) {
        if (!in_data) {
            in_data = std::strstr(line, "DATA_START") != nullptr;
            continue;
        }
        if (std::strstr(line, "DATA_END")) break;
        char symbol[kLineBuffer], usual[kLineBuffer];
        int os = 0;
        if (std::sscanf(line, "%*d %1023s %d", symbol, &os) != 2 || os == 0) continue;
        for (Element& element : elements) {
            if (element.type != symbol) continue;
            element.tabulated.push_back(os);
            if (std::sscanf(line, "%*d %*s %*d %*d %*f %*d %*d %*d %*f %*f %1023s", usual) == 1)
                common.emplace(element.type, parse_states(usual));
        }
    }
    for (Element& element : elements) {
        if (element.tabulated.empty()) {
            std::fprintf(stderr, "Error: no oxidation state of %s is tabulated in %s.\n", element.type.c_str(), path);
            return false;
        }
        for (int os : common[element.type])
            if (std::count(element.tabulated.begin(), element.tabulated.end(), os)) element.common.push_back(os);
    }
    return true;
}

class StateSearch {
public:
    StateSearch(QUORIX_CELL* cell, const char* dir_unitary, const char* dir_binary)
        : cell_(cell), dir_unitary_(dir_unitary), dir_binary_(dir_binary) {}

    bool prepare();
    bool choose();
    void print() const;
    bool apply();

private:
    bool read_pairs(double& largest_cutoff);
    bool find_neighbours(double cutoff);
    const Pair* pair_of(int element1, int os1, int element2, int os2) const;
    Fit evaluate(const Assignment& assignment);
    Assignment per_element(const std::vector<int>& states) const;
    template <class Visit>
    bool for_each_choice(const std::vector<std::vector<int>>& lists, Visit&& visit) const;
    bool best_per_element(bool common_only);
    bool best_mixed();
    void mix(int e, const std::vector<int>& choice, int high);
    bool closest_to_neutral();
    void consider(const Assignment& assignment, Fit&& fit);

    QUORIX_CELL* cell_;
    const char* dir_unitary_;
    const char* dir_binary_;
    std::vector<Element> elements_;
    std::vector<Site> sites_;
    std::map<std::tuple<int, int, int, int>, Pair> pairs_;  // cation element and state, anion element and state
    Assignment best_;
    Fit best_fit_;
    bool found_ = false;
    const char* stage_ = "";
};

bool StateSearch::prepare() {
    long total_sites = 0;
    for (long i = 0; i < cell_->total; i++) total_sites = std::max(total_sites, cell_->atom[i].flag);
    sites_.assign(total_sites, Site{});
    std::vector<bool> seen(total_sites, false);
    for (long i = 0; i < cell_->total; i++) {
        const QUORIX_ATOM& atom = cell_->atom[i];
        Site& site = sites_[atom.flag - 1];
        if (!seen[atom.flag - 1]) {
            site.atom = i;
            const auto known =
                std::find_if(elements_.begin(), elements_.end(), [&](const Element& e) { return e.type == atom.type; });
            site.element = static_cast<int>(known - elements_.begin());
            if (known == elements_.end()) elements_.push_back({atom.type, {}, {}});
            seen[atom.flag - 1] = true;
        }
        site.charge += std::min(atom.occ, 1.0);
    }
    for (Site& site : sites_) {
        const long multiplicity = std::count_if(cell_->atom, cell_->atom + cell_->total, [&](const QUORIX_ATOM& a) {
            return a.flag == cell_->atom[site.atom].flag;
        });
        site.weight = multiplicity * cell_->atom[site.atom].occ;
    }
    double cutoff = 0;
    return read_elements(elements_, dir_unitary_) && read_pairs(cutoff) && find_neighbours(cutoff);
}

// Parameters of every cation-anion pair the tabulated states can form.
bool StateSearch::read_pairs(double& largest_cutoff) {
    for (size_t e = 0; e < elements_.size(); e++)
        for (size_t f = 0; f < elements_.size(); f++)
            for (int os1 : elements_[e].tabulated)
                for (int os2 : elements_[f].tabulated) {
                    if (os1 <= 0 || os2 >= 0) continue;
                    QUORIX_PROPERTY_BINARY record{};
                    if (quorix_property_binary_read_from_file(&record, elements_[e].type.c_str(), os1,
                                                              elements_[f].type.c_str(), os2, dir_binary_) != 0) {
                        std::fprintf(stderr, "Error: quorix_property_binary_read_from_file() returns non-zero.\n");
                        return false;
                    }
                    const Pair pair{record.r0, record.b, record.cutoff};
                    pairs_[{static_cast<int>(e), os1, static_cast<int>(f), os2}] = pair;
                    if (pair.usable()) largest_cutoff = std::max(largest_cutoff, pair.cutoff);
                }
    return true;
}

bool StateSearch::find_neighbours(double cutoff) {
    if (cutoff <= 0) return true;  // no pair has parameters; reported when choosing
    int x_max[3];
    if (quorix_bv_image_range(x_max, cell_, cutoff) != 0) return false;
    QUORIX_PROPERTY_BINARY reach{};
    reach.cutoff = cutoff;
    for (Site& site : sites_) {
        std::vector<int> slot(sites_.size(), -1);
        for (long j = 0; j < cell_->total; j++) {
            const QUORIX_ATOM& other = cell_->atom[j];
            const int m = static_cast<int>(other.flag - 1);
            quorix_bv_for_each_bond(cell_, cell_->atom[site.atom].x, other, reach, x_max, [&](double d) {
                if (slot[m] < 0) {
                    slot[m] = static_cast<int>(site.near.size());
                    site.near.push_back({m, {}, {}, {}});
                }
                site.near[slot[m]].d.push_back(d);
                site.near[slot[m]].occ.push_back(other.occ);
            });
        }
    }
    return true;
}

// Parameters of two species of opposite sign, cation first; null when the file has none.
const Pair* StateSearch::pair_of(int element1, int os1, int element2, int os2) const {
    const auto key =
        os1 > 0 ? std::make_tuple(element1, os1, element2, os2) : std::make_tuple(element2, os2, element1, os1);
    const auto found = pairs_.find(key);
    return found != pairs_.end() && found->second.usable() ? &found->second : nullptr;
}

Fit StateSearch::evaluate(const Assignment& assignment) {
    Fit fit;
    fit.sums.resize(sites_.size());
    fit.usable = true;
    // Every cation-anion pair of the choice needs parameters, as the bond valence sums do.
    std::vector<std::pair<int, int>> species;
    for (size_t k = 0; k < sites_.size(); k++)
        for (const Component& c : assignment[k]) {
            species.emplace_back(sites_[k].element, c.os);
            fit.charge += sites_[k].charge * c.fraction * c.os;
            fit.scale += sites_[k].charge * c.fraction * std::abs(c.os);
        }
    std::sort(species.begin(), species.end());
    species.erase(std::unique(species.begin(), species.end()), species.end());
    for (const auto& [e1, os1] : species)
        for (const auto& [e2, os2] : species)
            if (os1 > 0 && os2 < 0 && !pair_of(e1, os1, e2, os2)) fit.usable = false;
    if (!fit.usable) return fit;

    double deviation = 0, weight = 0;
    for (size_t k = 0; k < sites_.size(); k++) {
        Site& site = sites_[k];
        for (const Component& c : assignment[k]) {
            double sum = 0;
            for (NearSite& near : site.near)
                for (const Component& other : assignment[near.site]) {
                    if (c.os * other.os >= 0) continue;
                    const Pair* pair = pair_of(site.element, c.os, sites_[near.site].element, other.os);
                    sum += other.fraction * near.bond_valence(*pair);
                }
            fit.sums[k].push_back(sum);
            const double d = sum - std::abs(c.os);
            deviation += site.weight * c.fraction * d * d;
            weight += site.weight * c.fraction;
        }
    }
    fit.gii = weight > 0 ? std::sqrt(deviation / weight) : 0;
    return fit;
}

Assignment StateSearch::per_element(const std::vector<int>& states) const {
    Assignment assignment(sites_.size());
    for (size_t k = 0; k < sites_.size(); k++) assignment[k] = {{states[sites_[k].element], 1.0}};
    return assignment;
}

// Calls visit(states) for every choice of one state per list; false when there are too many.
template <class Visit>
bool StateSearch::for_each_choice(const std::vector<std::vector<int>>& lists, Visit&& visit) const {
    double count = 1;
    for (const auto& list : lists) count *= static_cast<double>(list.size());
    if (count > kMostChoices) {
        std::fprintf(stderr, "Error: too many combinations of oxidation states to try (%.0f).\n", count);
        return false;
    }
    if (count == 0) return true;
    std::vector<size_t> index(lists.size(), 0);
    std::vector<int> states(lists.size());
    while (true) {
        for (size_t e = 0; e < lists.size(); e++) states[e] = lists[e][index[e]];
        visit(states);
        size_t e = 0;
        while (e < lists.size() && ++index[e] == lists[e].size()) index[e++] = 0;
        if (e == lists.size()) return true;
    }
}

void StateSearch::consider(const Assignment& assignment, Fit&& fit) {
    if (!fit.usable || !fit.neutral()) return;
    if (found_ && fit.gii >= best_fit_.gii) return;
    best_ = assignment;
    best_fit_ = std::move(fit);
    found_ = true;
}

bool StateSearch::best_per_element(bool common_only) {
    std::vector<std::vector<int>> lists;
    for (const Element& element : elements_) lists.push_back(common_only ? element.common : element.tabulated);
    return for_each_choice(lists, [&](const std::vector<int>& states) {
        const Assignment assignment = per_element(states);
        consider(assignment, evaluate(assignment));
    });
}

// One element shares two neighbouring tabulated states of one sign over its sites; the
// others keep one state each.
bool StateSearch::best_mixed() {
    for (size_t e = 0; e < elements_.size(); e++) {
        std::vector<int> states = elements_[e].tabulated;
        std::sort(states.begin(), states.end());
        for (size_t i = 0; i + 1 < states.size(); i++) {
            if (states[i] * states[i + 1] < 0) continue;
            std::vector<std::vector<int>> lists;
            for (const Element& element : elements_) lists.push_back(element.tabulated);
            lists[e] = {states[i]};
            const bool bounded = for_each_choice(
                lists, [&](const std::vector<int>& choice) { mix(static_cast<int>(e), choice, states[i + 1]); });
            if (!bounded) return false;
        }
    }
    return true;
}

// Element e at its lower state in `choice` passes to `high` site by site until the cell is
// neutral, the site on the border split between both. Every order of filling the sites is
// tried when there are few; otherwise the sites gaining most in fit go first.
void StateSearch::mix(int e, const std::vector<int>& choice, int high) {
    const int low = choice[e];
    const Assignment all_low = per_element(choice);
    const Fit at_low = evaluate(all_low);
    std::vector<int> raised = choice;
    raised[e] = high;
    const Fit at_high = evaluate(per_element(raised));
    if (!at_low.usable || !at_high.usable) return;
    const double amount = -at_low.charge / (high - low);  // occupancy that must take the higher state
    std::vector<size_t> order;
    double capacity = 0;
    for (size_t k = 0; k < sites_.size(); k++)
        if (sites_[k].element == e) {
            order.push_back(k);
            capacity += sites_[k].charge;
        }
    if (amount <= 1e-6 || amount >= capacity - 1e-6) return;
    auto fill = [&] {
        Assignment assignment = all_low;
        double left = amount;
        for (size_t k : order) {
            if (left <= 1e-9) break;
            const double share = std::min(1.0, left / sites_[k].charge);
            assignment[k] = share >= 1.0 - 1e-9 ? std::vector<Component>{{high, 1.0}}
                                                : std::vector<Component>{{low, 1.0 - share}, {high, share}};
            left -= share * sites_[k].charge;
        }
        consider(assignment, evaluate(assignment));
    };
    if (order.size() <= kEveryOrderUpTo) {
        do fill();
        while (std::next_permutation(order.begin(), order.end()));
        return;
    }
    auto gain = [&](size_t k) {
        const double off_low = at_low.sums[k][0] - std::abs(low), off_high = at_high.sums[k][0] - std::abs(high);
        return off_low * off_low - off_high * off_high;
    };
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return gain(a) > gain(b); });
    fill();
}

bool StateSearch::closest_to_neutral() {
    std::vector<std::vector<int>> lists;
    for (const Element& element : elements_) lists.push_back(element.tabulated);
    return for_each_choice(lists, [&](const std::vector<int>& states) {
        const Assignment assignment = per_element(states);
        Fit fit = evaluate(assignment);
        if (!fit.usable) return;
        const double imbalance = std::fabs(fit.charge), best = std::fabs(best_fit_.charge);
        if (found_ && (imbalance > best + 1e-9 || (imbalance > best - 1e-9 && fit.gii >= best_fit_.gii))) return;
        best_ = assignment;
        best_fit_ = std::move(fit);
        found_ = true;
    });
}

bool StateSearch::choose() {
    const struct {
        const char* name;
        bool common_only;
    } single[] = {{"one common state per element", true}, {"one tabulated state per element", false}};
    for (const auto& stage : single) {
        if (!best_per_element(stage.common_only)) return false;
        stage_ = stage.name;
        if (found_) return true;
    }
    if (!best_mixed()) return false;
    stage_ = "mixed valence of one element";
    if (found_) return true;
    if (!closest_to_neutral()) return false;
    if (!found_) {
        std::fprintf(stderr,
                     "Error: no choice of oxidation states has bond-valence parameters for all its cation-anion "
                     "pairs in %s.\n",
                     dir_binary_);
        return false;
    }
    stage_ = "closest to neutral";
    std::printf("Warning: no charge-neutral choice of oxidation states; the closest leaves a charge of %f per cell.\n",
                best_fit_.charge);
    return true;
}

void StateSearch::print() const {
    std::printf("OS: oxidation states by bond valence, %s\n", stage_);
    std::printf("OS: %6s %4s %6s %9s\n", "name", "type", "occ", "bv_sum");
    for (size_t k = 0; k < sites_.size(); k++) {
        const QUORIX_ATOM& atom = cell_->atom[sites_[k].atom];
        for (size_t c = 0; c < best_[k].size(); c++) {
            const int os = best_[k][c].os;
            std::printf("OS: %6s %2s%d%c %6.3f %9.6f\n", atom.name, atom.type, std::abs(os), os > 0 ? '+' : '-',
                        atom.occ * best_[k][c].fraction, os > 0 ? best_fit_.sums[k][c] : -best_fit_.sums[k][c]);
        }
    }
    std::printf("OS: global instability index = %f\n", best_fit_.gii);
}

// Writes the chosen states into the atoms; the second species of a mixed site becomes a
// new atom on the same place, named after the site with a "b".
bool StateSearch::apply() {
    std::vector<QUORIX_ATOM> atoms;
    for (long i = 0; i < cell_->total; i++) {
        const std::vector<Component>& components = best_[cell_->atom[i].flag - 1];
        for (size_t c = 0; c < components.size(); c++) {
            QUORIX_ATOM atom = cell_->atom[i];
            atom.os = components[c].os;
            atom.occ *= components[c].fraction;
            if (c > 0) {
                const size_t length = std::min(std::strlen(atom.name), sizeof atom.name - 2);
                atom.name[length] = 'b';
                atom.name[length + 1] = '\0';
            }
            atoms.push_back(atom);
        }
    }
    if (quorix_cell_replace_atoms(cell_, atoms.data(), static_cast<long>(atoms.size()))) return false;
    quorix_cell_refresh(cell_);
    quorix_atom_sort(cell_->atom, cell_->total);
    quorix_cell_update_name(cell_);
    return true;
}

}  // namespace

int quorix_os_assign_by_bv(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* dir_unitary,
                           const char* dir_binary) {
    if (quorix_cell_flag_site_by_symmetry(cell, symmetry) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_flag_site_by_symmetry() returns non-zero.\n");
        return 1;
    }
    StateSearch search(cell, dir_unitary, dir_binary);
    const bool done = search.prepare() && search.choose();
    if (done) search.print();
    if (!done || !search.apply()) {
        quorix_cell_refresh(cell);
        return 1;
    }
    return 0;
}
