// Kinetic Monte Carlo on the site graph: neighbour tables, initial occupation, hop rates kept up
// to date locally after each hop, hop selection through the rate tree, and the transport averages.
#include "quorix-kmc.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include "quorix-gh.hpp"
#include "quorix-import-grid.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-kmc-state.hpp"
#include "quorix-images.hpp"
#include "quorix-la.hpp"
#include "quorix-threads.hpp"

namespace {

constexpr double kDefaultCutoff = 5.0;                 // A
constexpr double kBoltzmann = 8.6173324e-5;            // eV/K
constexpr double kFrequencyFactor = 15.6;              // THz from sqrt(eV/A^2/u)
constexpr double kMinimumCurvature = 0.001;            // eV/A^2
constexpr double kMinimumTotalRate = 1e-20;            // 1/ps
constexpr double kElementaryOverBoltzmann = 11604.52;  // K/V
constexpr double kChargeFactor = 1.60217662;           // e in 1e-19 C
constexpr long kMinimumEquilibration = 10000;

// Energy in quanta, bounded to +-4096 eV so that sums of a few hundred never overflow (energies
// that large, from a damaged cube or sites on top of each other, give no hop a rate anyway).
int64_t quantize(double energy) {
    constexpr double kLargest = 4096.0;
    return std::llround(std::clamp(energy, -kLargest, kLargest) / kKmcEnergyQuantum);
}

long vertex_index(const QUORIX_KMC* kmc, const QUORIX_GRAPH_VERTEX* v) { return v - kmc->graph->v; }

// A zeroed array of count elements (at least one, so that an empty list is not a failure).
template <class T>
T* allocate(long count) {
    return static_cast<T*>(std::calloc(static_cast<std::size_t>(std::max(count, 1L)), sizeof(T)));
}

// Curvature of the landscape along the hop at its initial site: the diagonal second derivatives
// along the lattice directions (from the site's eigen-decomposition) weighted by the length of
// the hop direction's projection on each.
double hop_curvature(const QUORIX_GRAPH* graph, const QUORIX_GRAPH_EDGE& edge) {
    const QUORIX_GRAPH_VERTEX& site = *edge.v_i;
    double k = 0.0;
    for (int d = 0; d < 3; d++) {
        double hessian_dd = 0.0;
        for (int j = 0; j < 3; j++) hessian_dd += site.eig[j] * site.eiv[j][d] * site.eiv[j][d];
        const double length = quorix_vector3_double_length(graph->a[d]);
        const double projection = length > 0.0 ? quorix_vector3_double_dot(edge.dir, graph->a[d]) / length : 0.0;
        k += hessian_dd * std::fabs(projection);
    }
    return std::fmax(k, kMinimumCurvature);
}

struct Coulomb {
    double qq;
    double sigma;
    double cutoff;
    double energy(double r) const { return kQuorixEvPerUnit * quorix_energy_coulombic(r, qq, sigma); }
};

// Fractional coordinates on the graph's lattice, for a quick rejection of far pairs: a vector
// shorter than r has each fractional component (wrapped to [-1/2, 1/2]) below r times the length
// of the reciprocal vector, under every lattice translation.
class FarTest {
public:
    FarTest(const double a[3][3], double cutoff) : a_(a) {
        double width[3];
        quorix_lattice_reciprocal(a, reciprocal_, width);
        reach_ = quorix_fractional_reach(a, cutoff);
        sole_image_ = 2.0 * cutoff * (1.0 + 1e-9) < std::min({width[0], width[1], width[2]});
    }

    // quorix_dot_distance(x1, x2, a) of a pair at fractional positions f1 and f2 that is within
    // the cutoff; a distance of at least the cutoff otherwise. In a cell more than twice the
    // cutoff wide every way only the image of x1 nearest in fractional terms can come that
    // close, so it alone is measured, with the translation and arithmetic of the full search.
    double distance(const double* x1, const std::array<double, 3>& f1, const double* x2,
                    const std::array<double, 3>& f2) const {
        QuorixImage image{};
        for (int k = 0; k < 3; k++) image.n[k] = static_cast<int>(std::nearbyint(f2[k] - f1[k]));
        if (!sole_image_ || std::abs(image.n[0]) > 1 || std::abs(image.n[1]) > 1 || std::abs(image.n[2]) > 1)
            return quorix_dot_distance(x1, x2, a_);
        quorix_image_shift(a_, image);
        double shifted[3];
        for (int k = 0; k < 3; k++) shifted[k] = image.shift[k] + x1[k];
        return quorix_vector3_double_distance(shifted, x2);
    }

    std::array<double, 3> fractional(const double* x) const {
        return {quorix_vector3_double_dot(x, reciprocal_[0]), quorix_vector3_double_dot(x, reciprocal_[1]),
                quorix_vector3_double_dot(x, reciprocal_[2])};
    }

    bool far(const std::array<double, 3>& f1, const std::array<double, 3>& f2) const {
        for (int k = 0; k < 3; k++) {
            const double d = f2[k] - f1[k];
            if (std::fabs(d - std::nearbyint(d)) > reach_[k]) return true;
        }
        return false;
    }

    const double* reach() const { return reach_.data(); }

private:
    const double (*a_)[3];
    double reciprocal_[3][3];
    std::array<double, 3> reach_;
    bool sole_image_ = false;
};

// The sites (or saddles) of the graph binned by fractional position, so that the candidates
// within the cutoff of a point are found in the bins around it instead of among all of them.
class NearbyPoints {
public:
    NearbyPoints(const FarTest& test, const QUORIX_GRAPH* graph, bool saddles)
        : test_(test), grid_(saddles ? graph->total_e : graph->total_v, test.reach()) {
        const long total = saddles ? graph->total_e : graph->total_v;
        for (long i = 0; i < total; i++) {
            f_.push_back(test.fractional(saddles ? graph->e[i].x : graph->v[i].x));
            grid_.insert(i, f_.back().data());
        }
    }

    const std::array<double, 3>& fractional(long i) const { return f_[i]; }

    // The points that pass the far test from f (a superset of those within the cutoff), in
    // increasing index order, so the tables are built in the order of a plain double loop.
    std::vector<long> near(const std::array<double, 3>& f) const {
        std::vector<long> found;
        grid_.visit_near(f.data(), [&](long i) {
            if (!test_.far(f, f_[i])) found.push_back(i);
            return true;
        });
        std::sort(found.begin(), found.end());
        return found;
    }

private:
    const FarTest& test_;
    std::vector<std::array<double, 3>> f_;
    PositionGrid grid_;
};

// Calls collect(i, out) for every index i below total (a site, or a pair of sites), the indices
// shared among threads in consecutive ranges, and returns what was collected in index order, as
// one loop would.
template <class T, class Collect>
std::vector<T> collect_by_index(long total, Collect collect) {
    constexpr long kIndicesPerPart = 64;  // about 10 ms of work for sites
    const unsigned parts = quorix_part_count(total, kIndicesPerPart, total);
    std::vector<std::vector<T>> found(parts);
    quorix_run_parts(parts, [&](unsigned p) {
        for (long i = total * p / parts; i < total * (p + 1) / parts; i++) collect(i, found[p]);
    });
    std::vector<T> all = std::move(found[0]);
    for (unsigned p = 1; p < parts; p++) all.insert(all.end(), found[p].begin(), found[p].end());
    return all;
}

struct NearPair {
    long a, b;  // site and site, or site and hop
    double de;
};

// Allocates a neighbour list v_n and its energies v_de of kmc->record[index]; false after
// printing which failed.
bool allocate_neighbours(long*& v_n, double*& v_de, long count, const char* record, long index) {
    if (!(v_n = allocate<long>(count))) {
        std::fprintf(stderr, "Error: unable to reallocate kmc->%s[%ld].v_n.\n", record, index);
        return false;
    }
    if (!(v_de = allocate<double>(count))) {
        std::fprintf(stderr, "Error: unable to reallocate kmc->%s[%ld].v_de.\n", record, index);
        return false;
    }
    return true;
}

// Site pairs within the cutoff, each distance computed once (from the lower index) so both sites
// hold the same energy; each site lists its neighbours in increasing order.
int build_site_neighbours(QUORIX_KMC* kmc, const Coulomb& coulomb, const FarTest& test) {
    QUORIX_GRAPH* graph = kmc->graph;
    std::vector<NearPair> pairs;
    if (coulomb.cutoff > 0.0) {
        const NearbyPoints sites(test, graph, false);
        pairs = collect_by_index<NearPair>(graph->total_v, [&](long i, std::vector<NearPair>& out) {
            for (const long j : sites.near(sites.fractional(i))) {
                if (j <= i) continue;
                const double r = test.distance(graph->v[i].x, sites.fractional(i), graph->v[j].x, sites.fractional(j));
                if (r < coulomb.cutoff) out.push_back({i, j, coulomb.energy(r)});
            }
        });
    }
    std::vector<long> count(graph->total_v, 0);
    for (const NearPair& pair : pairs) {
        count[pair.a]++;
        count[pair.b]++;
    }
    for (long v = 0; v < graph->total_v; v++)
        if (!allocate_neighbours(kmc->kv[v].v_n, kmc->kv[v].v_de, count[v], "kv", v)) return 1;
    for (const NearPair& pair : pairs)
        for (const auto& [a, b] : {std::pair{pair.a, pair.b}, std::pair{pair.b, pair.a}}) {
            QUORIX_KMC_VERTEX& site = kmc->kv[a];
            site.v_n[site.total_v] = b;
            site.v_de[site.total_v++] = pair.de;
        }
    QuorixKmcState& state = *kmc->state;
    for (long v = 0; v < graph->total_v; v++) {
        for (long k = 0; k < kmc->kv[v].total_v; k++)
            state.near_sites.add(kmc->kv[v].v_n[k], quantize(kmc->kv[v].v_de[k]));
        state.near_sites.close();
    }
    return 0;
}

// Numbers the saddles: a hop shares the saddle of its reverse when both sit at the same point
// with the same energy, so the Coulomb sum at it (which starts from that energy) is kept once.
// Returns each hop's saddle; fills state.crossing and state.saddle_en.
std::vector<std::uint32_t> share_saddles(QuorixKmcState& state, const QUORIX_GRAPH* graph) {
    std::vector<std::uint32_t> saddle_of(graph->total_e);
    std::vector<std::uint32_t> partner;  // per saddle, the reverse hop that joins it, or none
    constexpr std::uint32_t kNone = UINT32_MAX;
    for (long m = 0; m < graph->total_e; m++) {
        const QUORIX_GRAPH_EDGE& edge = graph->e[m];
        const QUORIX_GRAPH_EDGE* reverse = edge.e_r;
        const long r = reverse ? reverse - graph->e : m;
        if (r < m && reverse->v_i == edge.v_f && reverse->v_f == edge.v_i &&
            std::memcmp(reverse->x, edge.x, sizeof edge.x) == 0 && reverse->en == edge.en &&
            partner[saddle_of[r]] == kNone) {
            saddle_of[m] = saddle_of[r];
            partner[saddle_of[m]] = static_cast<std::uint32_t>(m);
        } else {
            saddle_of[m] = static_cast<std::uint32_t>(partner.size());
            partner.push_back(kNone);
        }
    }
    std::vector<std::uint32_t> first(partner.size());
    for (long m = graph->total_e - 1; m >= 0; m--) first[saddle_of[m]] = static_cast<std::uint32_t>(m);
    for (std::size_t s = 0; s < partner.size(); s++) {
        state.saddle_en.push_back(quantize(graph->e[first[s]].en));
        state.crossing.items.push_back(first[s]);
        if (partner[s] != kNone) state.crossing.items.push_back(partner[s]);
        state.crossing.close();
    }
    return saddle_of;
}

// Allocates each site's e_n and each hop's v_n and v_de; false after printing the failure.
bool allocate_saddle_lists(QUORIX_KMC* kmc, const std::vector<long>& per_site, const std::vector<long>& per_hop) {
    for (long v = 0; v < kmc->graph->total_v; v++)
        if (!(kmc->kv[v].e_n = allocate<long>(per_site[v]))) {
            std::fprintf(stderr, "Error: unable to reallocate kmc->kv[%ld].e_n.\n", v);
            return false;
        }
    for (long m = 0; m < kmc->graph->total_e; m++)
        if (!allocate_neighbours(kmc->ke[m].v_n, kmc->ke[m].v_de, per_hop[m], "ke", m)) return false;
    return true;
}

// Saddles within the cutoff of each site, and the sites around each saddle other than its ends;
// both in increasing order.
int build_saddle_neighbours(QUORIX_KMC* kmc, const Coulomb& coulomb, const FarTest& test,
                            const std::vector<std::uint32_t>& saddle_of) {
    QUORIX_GRAPH* graph = kmc->graph;
    std::vector<NearPair> pairs;  // de is NaN where the site is an end of the hop
    if (coulomb.cutoff > 0.0) {
        const NearbyPoints sites(test, graph, false);
        const NearbyPoints saddles(test, graph, true);
        pairs = collect_by_index<NearPair>(graph->total_v, [&](long i, std::vector<NearPair>& out) {
            for (const long m : saddles.near(sites.fractional(i))) {
                const QUORIX_GRAPH_EDGE& edge = graph->e[m];
                const double r = test.distance(graph->v[i].x, sites.fractional(i), edge.x, saddles.fractional(m));
                if (!(r < coulomb.cutoff)) continue;
                const bool end = edge.v_i == &graph->v[i] || edge.v_f == &graph->v[i];
                out.push_back({i, m, end ? NAN : coulomb.energy(r)});
            }
        });
    }
    std::vector<long> per_site(graph->total_v, 0), per_hop(graph->total_e, 0);
    for (const NearPair& pair : pairs) {
        per_site[pair.a]++;
        if (!std::isnan(pair.de)) per_hop[pair.b]++;
    }
    if (!allocate_saddle_lists(kmc, per_site, per_hop)) return 1;
    QuorixKmcState& state = *kmc->state;
    QuorixKmcEnergies& near_saddles = state.near_saddles;
    long site = 0;
    for (const NearPair& pair : pairs) {
        for (; site < pair.a; site++) near_saddles.close();
        QUORIX_KMC_VERTEX& kv = kmc->kv[pair.a];
        kv.e_n[kv.total_e++] = pair.b;
        if (std::isnan(pair.de)) continue;
        QUORIX_KMC_EDGE& ke = kmc->ke[pair.b];
        ke.v_n[ke.total_v] = pair.a;
        ke.v_de[ke.total_v++] = pair.de;
        // A hop and its reverse share the saddle, and so its sum: it is listed once, by the first.
        const std::uint32_t saddle = saddle_of[pair.b];
        if (*state.crossing.first(saddle) == pair.b) near_saddles.add(saddle, quantize(pair.de));
    }
    for (; site < graph->total_v; site++) near_saddles.close();
    return 0;
}

int build_edges(QUORIX_KMC* kmc, const std::vector<std::uint32_t>& saddle_of) {
    QUORIX_GRAPH* graph = kmc->graph;
    QuorixKmcState& state = *kmc->state;
    for (long m = 0; m < graph->total_e; m++) {
        QUORIX_KMC_EDGE& ke = kmc->ke[m];
        QUORIX_GRAPH_EDGE& edge = graph->e[m];
        ke.e = &edge;
        ke.en = edge.en;
        ke.l = edge.l;
        ke.f = kFrequencyFactor * std::sqrt(hop_curvature(graph, edge) / graph->m);
        ke.r2 = static_cast<double*>(std::calloc(std::max(1, edge.v_f->total_e), sizeof(double)));
        if (!ke.r2) {
            std::fprintf(stderr, "Error: unable to allocate kmc->ke[%ld].r2.\n", m);
            return 1;
        }
        QuorixKmcHop hop{static_cast<std::uint32_t>(vertex_index(kmc, edge.v_i)),
                         static_cast<std::uint32_t>(vertex_index(kmc, edge.v_f)), saddle_of[m], 0, ke.f,
                         kQuorixKmcNoBarrier};
        for (std::size_t k = state.near_sites.begin[hop.to]; k < state.near_sites.begin[hop.to + 1]; k++)
            if (state.near_sites.index[k] == hop.from) hop.end_de = state.near_sites.de[k];
        state.hop.push_back(hop);
        state.bound.push_back({edge.bound[0], edge.bound[1], edge.bound[2]});
    }
    return 0;
}

// Calls collect(i, out) for i in [0, total), shared among threads, and returns the lists
// collected, one per i.
template <class T, class Collect>
QuorixKmcLists<T> collect_lists(long total, Collect collect) {
    std::vector<std::size_t> listed(total);
    QuorixKmcLists<T> lists;
    lists.items = collect_by_index<T>(total, [&](long i, std::vector<T>& out) {
        const std::size_t before = out.size();
        collect(i, out);
        listed[i] = out.size() - before;
    });
    for (long i = 0; i < total; i++) lists.begin.push_back(lists.begin.back() + listed[i]);
    return lists;
}

// Per site, the hops of other sites whose barrier its occupation enters (those at the sites
// around it, and those whose saddle it is near), as words of `near` bits.
QuorixKmcLists<QuorixKmcDueWord> dependent_words(const QuorixKmcState& state,
                                                 const std::vector<std::vector<std::uint32_t>>& incident) {
    const long total_v = static_cast<long>(incident.size());
    return collect_lists<QuorixKmcDueWord>(total_v, [&](long v, std::vector<QuorixKmcDueWord>& out) {
        std::vector<std::uint32_t> hops;
        for (std::size_t k = state.near_sites.begin[v]; k < state.near_sites.begin[v + 1]; k++) {
            const std::uint32_t s = state.near_sites.index[k];
            hops.insert(hops.end(), incident[s].begin(), incident[s].end());
        }
        for (std::size_t k = state.near_saddles.begin[v]; k < state.near_saddles.begin[v + 1]; k++) {
            const std::uint32_t saddle = state.near_saddles.index[k];
            hops.insert(hops.end(), state.crossing.first(saddle), state.crossing.last(saddle));
        }
        std::erase_if(hops, [&](std::uint32_t m) { return state.hop[m].from == v || state.hop[m].to == v; });
        quorix_kmc_merge_words(quorix_kmc_hop_words(hops, false), out);
    });
}

// The hops at each site (leaving or entering it), and for each pair of sites joined by hops the
// hops due for a new rate when an ion moves between them.
void build_hop_lists(QuorixKmcState& state, long total_v) {
    std::vector<std::vector<std::uint32_t>> incident(total_v);
    for (std::uint32_t m = 0; m < state.hop.size(); m++) {
        incident[state.hop[m].from].push_back(m);
        if (state.hop[m].to != state.hop[m].from) incident[state.hop[m].to].push_back(m);
    }
    for (long v = 0; v < total_v; v++) {
        for (const std::uint32_t m : incident[v])
            state.incident.items.push_back({m, state.hop[m].from, state.hop[m].to});
        state.incident.close();
    }
    // A hop and its reverse join the same pair, numbered by the first hop between them.
    std::vector<std::uint32_t> first_hop;
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> pair_of;
    state.due_of_hop.resize(state.hop.size());
    for (std::uint32_t m = 0; m < state.hop.size(); m++) {
        const auto [it, added] = pair_of.try_emplace(std::minmax(state.hop[m].from, state.hop[m].to),
                                                     static_cast<std::uint32_t>(first_hop.size()));
        if (added) first_hop.push_back(m);
        state.due_of_hop[m] = it->second;
    }
    const QuorixKmcLists<QuorixKmcDueWord> dependent = dependent_words(state, incident);
    const long pairs = static_cast<long>(first_hop.size());
    state.due = collect_lists<QuorixKmcDueWord>(pairs, [&](long p, std::vector<QuorixKmcDueWord>& out) {
        std::vector<QuorixKmcDueWord> words;
        for (const std::uint32_t v : {state.hop[first_hop[p]].from, state.hop[first_hop[p]].to}) {
            const std::vector<QuorixKmcDueWord> own = quorix_kmc_hop_words(incident[v], true);
            words.insert(words.end(), dependent.first(v), dependent.last(v));
            words.insert(words.end(), own.begin(), own.end());
        }
        quorix_kmc_merge_words(std::move(words), out);
    });
}

// ---------------------------------------------------------------- occupation and rates

// Only a hop from an occupied to an empty site (an active hop) has a rate.
void set_activity(QuorixKmcState& state, const QuorixKmcHopEnds& hop) {
    state.activity.set(hop.hop, state.occupied[hop.from] && !state.occupied[hop.to]);
}

// Puts an ion on (sign 1) or takes it off (sign -1) a site, keeping the Coulomb sums of the
// sites and saddles around it, the activity of its hops and the site's occupied time.
void change_occupation(QUORIX_KMC* kmc, long v, int sign) {
    QuorixKmcState& state = *kmc->state;
    QUORIX_KMC_VERTEX& site = kmc->kv[v];
    site.occupied = sign > 0;
    state.occupied[v] = site.occupied;
    if (sign > 0) {
        state.since[v] = state.clock;
    } else {
        site.t += state.clock - state.since[v];
    }
    state.near_sites.add_to(state.site_energy, v, sign);
    state.near_saddles.add_to(state.saddle_energy, v, sign);
    for (const QuorixKmcHopEnds* hop = state.incident.first(v); hop != state.incident.last(v); hop++)
        set_activity(state, *hop);
}

// Barrier of an active hop with the Coulomb terms of the ions around its ends and its saddle,
// from the sums of the sites and of the saddles.
std::int64_t barrier_of(const QuorixKmcHop& hop, const std::int64_t* site, const std::int64_t* saddle) {
    // The final site is empty, so it adds nothing to the initial site's sum; the initial site's
    // ion is taken out of the final site's sum.
    const std::int64_t e_i = site[hop.from];
    const std::int64_t e_f = site[hop.to] - hop.end_de;
    const std::int64_t e_s = saddle[hop.saddle];
    return ((e_s > e_i && e_s > e_f) ? e_s : e_f) - e_i;
}

// A hop keeps its rate while its barrier is unchanged, and recurring barriers reuse their
// factors, which spares most exponentials. With `record`, what changed is kept for the hop back.
// Rates go to the tree's leaves only: the larger ke[] records receive them when control returns
// to the caller (publish_last_update), as writing them hop by hop costs a tenth of the run.
void recompute_due_edges(QUORIX_KMC* kmc, bool record) {
    QuorixKmcState& state = *kmc->state;
    QuorixKmcHop* hops = state.hop.data();
    const std::int64_t* site = state.site_energy.data();
    const std::int64_t* saddle = state.saddle_energy.data();
    double* leaf = state.tree.leaves();
    std::uint32_t* new_rate = state.new_rates.data();
    std::uint32_t* new_rates_end = new_rate;
    QuorixKmcUndo::Change* changes_end = state.undo.changes.data();
    auto rate = [&](std::uint32_t m, bool active) {
        QuorixKmcHop& hop = hops[m];
        std::int64_t barrier = kQuorixKmcNoBarrier;
        double r = 0.0;
        if (active) {
            barrier = barrier_of(hop, site, saddle);
            if (barrier == hop.barrier) return;
            r = hop.frequency * state.boltzmann.factor(barrier);
        } else if (hop.barrier == kQuorixKmcNoBarrier && leaf[m] == 0.0) {
            return;
        }
        if (record) *changes_end++ = {m, hop.barrier, leaf[m]};
        hop.barrier = barrier;
        if (r == leaf[m]) return;
        leaf[m] = r > 0.0 ? r : 0.0;
        *new_rates_end++ = m;
    };
    if (record) {
        const std::uint32_t pair = state.due_of_hop[state.undo.hop];
        state.activity.visit_due(state.due.first(pair), state.due.last(pair), rate);
    } else {
        state.activity.visit_all(rate);
    }
    state.undo.count = static_cast<std::size_t>(changes_end - state.undo.changes.data());
    state.new_rate_count = static_cast<std::size_t>(new_rates_end - new_rate);
    state.tree.settle(new_rate, new_rates_end);
}

// The hop back to the occupation before the last hop: every barrier and rate, and every sum of
// the tree, returns to its value then, and the values left behind become this hop's changes.
void restore_rates(QUORIX_KMC* kmc) {
    QuorixKmcState& state = *kmc->state;
    double* leaf = state.tree.leaves();
    for (QuorixKmcUndo::Change& change : std::span(state.undo.changes.data(), state.undo.count)) {
        std::swap(state.hop[change.hop].barrier, change.barrier);
        std::swap(leaf[change.hop], change.rate);
    }
    state.tree.undo();
}

// Every rate is computed anew at the next update: no barrier, rate or record of the last hop is kept.
void forget_rates(QuorixKmcState& state) {
    for (QuorixKmcHop& hop : state.hop) hop.barrier = kQuorixKmcNoBarrier;
    state.undo.forget();
}

// Restores the rates after a hop back; otherwise recomputes those due after the last hop,
// keeping what it changes for the hop back, or all of them (also when the temperature changed
// since the last update: no kept rate holds then).
void update_due_rates(QUORIX_KMC* kmc) {
    QuorixKmcState& state = *kmc->state;
    QuorixKmcUndo& undo = state.undo;
    if (state.boltzmann.use(kBoltzmann * kmc->temperature)) forget_rates(state);
    const QuorixKmcUndo::Next next = std::exchange(undo.next, QuorixKmcUndo::Next::nothing);
    state.last_update = next;
    if (next == QuorixKmcUndo::Next::nothing) return;
    if (next == QuorixKmcUndo::Next::restore) return restore_rates(kmc);
    const bool record = next == QuorixKmcUndo::Next::record;
    state.tree.journal(record);
    recompute_due_edges(kmc, record);
}

// The rates live in the tree's leaves; the ke[] records receive them when control returns to the
// caller, every call leaving them up to date. After a single update only the rates it changed
// are copied; after many hops, all of them.
void publish_last_update(QUORIX_KMC* kmc) {
    const QuorixKmcState& state = *kmc->state;
    if (state.last_update == QuorixKmcUndo::Next::restore) {
        for (const QuorixKmcUndo::Change& change : std::span(state.undo.changes.data(), state.undo.count))
            kmc->ke[change.hop].r = state.tree.rate(change.hop);
    } else if (state.last_update != QuorixKmcUndo::Next::nothing) {
        for (const std::uint32_t m : std::span(state.new_rates.data(), state.new_rate_count))
            kmc->ke[m].r = state.tree.rate(m);
    }
}

void publish_all_rates(QUORIX_KMC* kmc) {
    for (long m = 0; m < kmc->graph->total_e; m++) kmc->ke[m].r = kmc->state->tree.rate(m);
}

void recompute_sums(QUORIX_KMC* kmc) {
    QuorixKmcState& state = *kmc->state;
    state.site_energy = state.site_en;
    state.saddle_energy = state.saddle_en;
    for (long v = 0; v < kmc->graph->total_v; v++) {
        if (!state.occupied[v]) continue;
        state.near_sites.add_to(state.site_energy, v, 1);
        state.near_saddles.add_to(state.saddle_energy, v, 1);
    }
}

void add_time_of_occupied_sites(QUORIX_KMC* kmc) {
    QuorixKmcState& state = *kmc->state;
    for (long v = 0; v < kmc->graph->total_v; v++)
        if (kmc->kv[v].occupied) {
            kmc->kv[v].t += state.clock - state.since[v];
            state.since[v] = state.clock;
        }
}

// Draws ions onto empty sites with probability proportional to their occupancy: the first site
// whose running sum of occupancies reaches u times their total, found through a tree of partial
// sums as the hops are, and taken out of the draw.
class OccupancyDraw {
public:
    explicit OccupancyDraw(const QUORIX_KMC* kmc) : tree_(kmc->graph->total_v) {
        for (long v = 0; v < kmc->graph->total_v; v++)
            if (!kmc->kv[v].occupied) tree_.set(v, kmc->graph->v[v].occ);
        tree_.flush();
    }

    // The site drawn; -1 when the empty sites carry no occupancy.
    long next() {
        const double weight = tree_.total();
        if (!(weight > 1e-6)) return -1;
        const long v = tree_.select(quorix_kmc_random() * weight);
        tree_.set(v, 0.0);
        tree_.flush();
        return v;
    }

private:
    QuorixRateTree tree_;
};

// The empty site of lowest energy with the Coulomb terms of the occupied sites around it.
long lowest_empty_site(const QUORIX_KMC* kmc) {
    const std::vector<std::int64_t>& energy = kmc->state->site_energy;
    long best = -1;
    for (long v = 0; v < kmc->graph->total_v; v++)
        if (!kmc->kv[v].occupied && (best < 0 || energy[v] < energy[best])) best = v;
    return best;
}

int place_ions(QUORIX_KMC* kmc) {
    double to_place = kmc->graph->total_occ;
    OccupancyDraw draw(kmc);
    while (to_place >= 1.0) {
        const long v = draw.next();
        if (v < 0) break;
        change_occupation(kmc, v, 1);
        to_place -= 1.0;
    }
    while (to_place >= 0.999999) {
        const long v = lowest_empty_site(kmc);
        if (v < 0) {
            std::fprintf(stderr, "Error: index_min = %ld out of bound.\n", v);
            return 1;
        }
        change_occupation(kmc, v, 1);
        to_place -= 1.0;
    }
    return 0;
}

// Every occupied site starts a tracked ion; empty sites track none.
void start_tracking(QUORIX_KMC* kmc) {
    QuorixKmcState& state = *kmc->state;
    state.ions = 0;
    for (long v = 0; v < kmc->graph->total_v; v++) {
        QUORIX_KMC_VERTEX& site = kmc->kv[v];
        site.init = site.occupied;
        site.origin = site.occupied ? v : -1;
        state.where[v] = site.origin;
        std::memset(site.y_i, 0, sizeof site.y_i);
        std::memset(site.d, 0, sizeof site.d);
        if (site.occupied) state.ions++;
    }
}

// The ion on the hop's initial site moves to its final site. A hop back over the last one (whose
// rates have been updated, as every hop's are before the next) restores the rates from before it
// at the next update; another hop has the rates due after it recomputed, or all of them when the
// rates after the last hop are still to be updated.
void move_ion(QUORIX_KMC* kmc, long m) {
    QuorixKmcState& state = *kmc->state;
    const long from = state.hop[m].from, to = state.hop[m].to;
    QuorixKmcUndo& undo = state.undo;
    const bool updated = undo.next == QuorixKmcUndo::Next::nothing;
    const bool back = updated && undo.hop >= 0 && state.hop[undo.hop].from == to && state.hop[undo.hop].to == from;
    change_occupation(kmc, from, -1);
    change_occupation(kmc, to, 1);
    undo.hop = m;
    if (!updated) {
        undo.forget();
    } else {
        undo.next = back ? QuorixKmcUndo::Next::restore : QuorixKmcUndo::Next::record;
    }
}

void carry_origin(QUORIX_KMC* kmc, long m) {
    const QuorixKmcHop& hop = kmc->state->hop[m];
    QUORIX_KMC_VERTEX& from = kmc->kv[hop.from];
    QUORIX_KMC_VERTEX& to = kmc->kv[hop.to];
    const long origin = from.origin;
    to.origin = origin;
    from.origin = -1;
    if (origin < 0) return;
    kmc->state->where[origin] = hop.to;
    for (int k = 0; k < 3; k++) kmc->kv[origin].y_i[k] += kmc->state->bound[m][k];
}

// The plain scan over the current rates (the tree's leaves; ke[].r may lag during a run).
double linear_total_rate(const QUORIX_KMC* kmc) {
    double total = 0.0;
    for (long m = 0; m < kmc->graph->total_e; m++)
        if (kmc->state->tree.rate(m) > 0.0) total += kmc->state->tree.rate(m);
    return total;
}

long linear_select(const QUORIX_KMC* kmc, double target) {
    double running = 0.0;
    for (long m = 0; m < kmc->graph->total_e; m++) {
        const double r = kmc->state->tree.rate(m);
        if (!(r > 0.0)) continue;
        running += r;
        if (running >= target) return m;
    }
    return -1;
}

double total_rate(const QUORIX_KMC* kmc) {
    return kmc->state->linear_scan ? linear_total_rate(kmc) : kmc->state->tree.total();
}

long select_edge(const QUORIX_KMC* kmc, double total, double u) {
    return kmc->state->linear_scan ? linear_select(kmc, u * total) : kmc->state->tree.select(u * total);
}

// Rates need a positive temperature: checked also before a hop, so that no ion moves on rates
// that cannot be renewed after it.
bool temperature_usable(const QUORIX_KMC* kmc) {
    if (kmc->temperature > 0.0) return true;
    std::fprintf(stderr, "Error: wrong inputs for generating rates.\n");
    return false;
}

// Entry of a call that updates rates or moves ions: the record and temperature usable, and the
// rates (and their records) brought up to date, at a changed temperature all anew.
bool ready_to_update(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc) || !temperature_usable(kmc)) return false;
    update_due_rates(kmc);
    publish_last_update(kmc);
    return true;
}

// Draws the hop; -1 after printing the failure.
long draw_hop(const QUORIX_KMC* kmc, double total) {
    const long m = select_edge(kmc, total, quorix_kmc_random());
    if (m < 0) std::fprintf(stderr, "Error: transition failed.\n");
    return m;
}

// Equilibration hops, then tracking starts afresh; the caller has checked the record and temperature.
int equilibrate(QUORIX_KMC* kmc) {
    long hops = static_cast<long>(kmc->step_limit * 0.01);
    if (hops <= kMinimumEquilibration) hops = kMinimumEquilibration;
    for (long step = 0; step < hops; step++) {
        const double total = total_rate(kmc);
        if (total < kMinimumTotalRate) {
            std::fprintf(stderr, "Error: overall rate is too small: %.3e (step %ld)\n", total, step);
            return 1;
        }
        const long m = draw_hop(kmc, total);
        if (m < 0) return 1;
        move_ion(kmc, m);
        update_due_rates(kmc);
    }
    start_tracking(kmc);
    return 0;
}

// One production hop and its time step; the caller has checked the record and temperature.
int evolve(QUORIX_KMC* kmc) {
    const double total = total_rate(kmc);
    if (total < kMinimumTotalRate) {
        std::fprintf(stderr, "Error: overall rate is too small.\n");
        return 1;
    }
    const long m = draw_hop(kmc, total);
    if (m < 0) return 1;
    carry_origin(kmc, m);
    move_ion(kmc, m);
    double u = 0.0;
    do {
        u = quorix_kmc_random();
    } while (u < 1e-5 || u > 0.99999);
    const double dt = -std::log(u) / total;
    kmc->t += dt;
    kmc->t_total += dt;
    kmc->state->clock += dt;
    kmc->step++;
    update_due_rates(kmc);
    return quorix_kmc_log(kmc);
}

// The neighbour tables of the sites and hops.
void free_tables(QUORIX_KMC* kmc) {
    const long total_v = kmc->graph ? kmc->graph->total_v : 0;
    const long total_e = kmc->graph ? kmc->graph->total_e : 0;
    for (long v = 0; kmc->kv && v < total_v; v++) {
        std::free(kmc->kv[v].v_n);
        std::free(kmc->kv[v].e_n);
        std::free(kmc->kv[v].v_de);
    }
    for (long m = 0; kmc->ke && m < total_e; m++) {
        std::free(kmc->ke[m].v_n);
        std::free(kmc->ke[m].v_de);
        std::free(kmc->ke[m].r2);
    }
}

// The site and hop records, the neighbour tables and the fast-path state of a new simulation on
// kmc->graph; false after printing why (the tables may then be partly built).
bool fill_records(QUORIX_KMC* kmc, const QUORIX_PROPERTY* property, double cutoff) {
    const QUORIX_GRAPH* graph = kmc->graph;
    try {
        QuorixKmcState& state = *kmc->state;
        state.site_energy.assign(graph->total_v, 0);
        state.where.assign(graph->total_v, -1);
        state.since.assign(graph->total_v, 0.0);
        state.tree.resize(graph->total_e);
        state.occupied.assign(graph->total_v, 0);
        state.activity.resize(graph->total_e);
        state.new_rates.resize(graph->total_e);
        state.undo.changes.resize(graph->total_e);
        for (long v = 0; v < graph->total_v; v++) {
            kmc->kv[v].v = &graph->v[v];
            kmc->kv[v].en = graph->v[v].en;
            state.site_en.push_back(quantize(graph->v[v].en));
            kmc->kv[v].origin = -1;
        }
        const QUORIX_PROPERTY_UNITARY& ion = property->uni[property->conducting];
        const Coulomb coulomb{ion.q * ion.q, 2.0 * property->sf * ion.rc, cutoff};
        const FarTest test(graph->a, coulomb.cutoff);
        const std::vector<std::uint32_t> saddle_of = share_saddles(state, graph);
        state.saddle_energy = state.saddle_en;
        if (build_site_neighbours(kmc, coulomb, test) || build_saddle_neighbours(kmc, coulomb, test, saddle_of) ||
            build_edges(kmc, saddle_of))
            return false;
        build_hop_lists(state, graph->total_v);
        return true;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "Error: unable to allocate the tables of %ld sites and %ld hops.\n", graph->total_v,
                     graph->total_e);
        return false;
    }
}

}  // namespace

// ---------------------------------------------------------------- records

QUORIX_KMC* quorix_kmc_new(QUORIX_GRAPH* graph, const QUORIX_PROPERTY* property, double cutoff) {
    if (!graph || graph->total_v < 1 || graph->total_e < 1 || !property || property->conducting < 0 ||
        property->conducting >= property->total || !property->uni || !(graph->m > 0.0)) {
        std::fprintf(stderr, "Error: QUORIX_KMC needs a site network with at least one hop and its parameter set.\n");
        return nullptr;
    }
    if (graph->total_v > UINT32_MAX || graph->total_e > UINT32_MAX) {  // the tables index them in 32 bits
        std::fprintf(stderr, "Error: a network of %ld sites and %ld hops is too large.\n", graph->total_v,
                     graph->total_e);
        return nullptr;
    }
    if (cutoff < 0.0) cutoff = kDefaultCutoff;
    KmcPtr kmc(static_cast<QUORIX_KMC*>(std::calloc(1, sizeof(QUORIX_KMC))));
    if (!kmc) return nullptr;
    kmc->kv = static_cast<QUORIX_KMC_VERTEX*>(std::calloc(graph->total_v, sizeof(QUORIX_KMC_VERTEX)));
    kmc->ke = static_cast<QUORIX_KMC_EDGE*>(std::calloc(graph->total_e, sizeof(QUORIX_KMC_EDGE)));
    kmc->state = new (std::nothrow) QuorixKmcState;
    if (!kmc->kv || !kmc->ke || !kmc->state) return nullptr;
    kmc->graph = graph;
    if (!fill_records(kmc.get(), property, cutoff)) {
        free_tables(kmc.get());
        kmc->graph = nullptr;  // the caller keeps the graph on failure
        return nullptr;
    }
    return kmc.release();
}

void quorix_kmc_free(QUORIX_KMC* kmc) {
    if (!kmc) return;
    free_tables(kmc);
    std::free(kmc->kv);
    std::free(kmc->ke);
    delete kmc->state;
    quorix_graph_free(kmc->graph);
    std::free(kmc);
}

double quorix_kmc_random() { return quorix_random(); }

// ---------------------------------------------------------------- simulation

int quorix_kmc_reset(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc)) return 1;
    add_time_of_occupied_sites(kmc);
    kmc->step = 0;
    kmc->t = 0.0;
    for (long v = 0; v < kmc->graph->total_v; v++) {
        QUORIX_KMC_VERTEX& site = kmc->kv[v];
        site.occupied = site.init = false;
        kmc->state->occupied[v] = 0;
        site.origin = -1;
        std::memset(site.y_i, 0, sizeof site.y_i);
        std::memset(site.d, 0, sizeof site.d);
    }
    for (std::uint32_t m = 0; m < kmc->state->hop.size(); m++)
        set_activity(*kmc->state, {m, kmc->state->hop[m].from, kmc->state->hop[m].to});
    recompute_sums(kmc);
    if (place_ions(kmc)) {
        std::fprintf(stderr, "Error: unable to assign occ.\n");
        return 1;
    }
    start_tracking(kmc);
    return quorix_kmc_update_rate_all(kmc);
}

int quorix_kmc_update_rate_all(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc)) return 1;
    recompute_sums(kmc);
    forget_rates(*kmc->state);
    return quorix_kmc_update_rate(kmc);
}

int quorix_kmc_update_rate(QUORIX_KMC* kmc) { return ready_to_update(kmc) ? 0 : 1; }

int quorix_kmc_equilibrate(QUORIX_KMC* kmc) {
    if (!ready_to_update(kmc)) return 1;
    const int result = equilibrate(kmc);
    publish_all_rates(kmc);
    return result;
}

int quorix_kmc_evolve(QUORIX_KMC* kmc) {
    if (!ready_to_update(kmc)) return 1;
    const int result = evolve(kmc);
    publish_last_update(kmc);
    return result;
}

int quorix_kmc_run(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc)) return 1;
    if (kmc->t_limit <= 0.0 && kmc->step_limit < 1) {
        std::fprintf(stderr, "Error: t_limit and step_limit cannot both be zero.\n");
        return 1;
    }
    if (!ready_to_update(kmc)) return 1;
    auto running = [kmc] {
        if (kmc->t_limit <= 0.0) return kmc->step < kmc->step_limit;
        if (kmc->step_limit <= 0) return kmc->t < kmc->t_limit;
        return kmc->step < kmc->step_limit && kmc->t < kmc->t_limit;
    };
    int result = equilibrate(kmc) != 0 || quorix_kmc_log(kmc) != 0 ? 1 : 0;
    while (result == 0 && running()) result = evolve(kmc);
    publish_all_rates(kmc);
    return result;
}

int quorix_kmc_calculate_conductivity(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc)) return 1;
    const QUORIX_GRAPH* graph = kmc->graph;
    std::printf("KMC: temperature = %.2lf K.\n", kmc->temperature);
    std::printf("KMC: t_limit = %.1e ps; step_limit = %ld.\n", kmc->t_limit, kmc->step_limit);
    std::printf("KMC: c = %.1e A^-3; os = %d.\n", graph->c, graph->os);
    std::printf("KMC: start calculating conductivity...\n");
    if (quorix_kmc_reset(kmc) || quorix_kmc_run(kmc)) return 1;
    add_time_of_occupied_sites(kmc);

    double s[4] = {0.0, 0.0, 0.0, 0.0};
    for (long o = 0; o < graph->total_v; o++) {
        if (!kmc->kv[o].init || kmc->state->where[o] < 0) continue;
        quorix_kmc_displacement(kmc, o, kmc->kv[o].d);
        for (int k = 0; k < 3; k++) {
            s[k] += kmc->kv[o].d[k] * kmc->kv[o].d[k];
            s[3] += kmc->kv[o].d[k] * kmc->kv[o].d[k];
        }
    }
    const double ions = static_cast<double>(kmc->state->ions);
    for (int k = 0; k < 4; k++) {
        const double msd = ions > 0.0 ? s[k] / ions : 0.0;
        const double diffusivity = kmc->t > 0.0 ? msd / (6.0 * kmc->t) : 0.0;
        const double mobility = graph->os / kmc->temperature * kElementaryOverBoltzmann * diffusivity;
        kmc->displacement[k] += std::sqrt(msd);
        kmc->diffusivity[k] += diffusivity;
        kmc->mobility[k] += mobility;
        kmc->conductivity[k] += graph->os * graph->c * kChargeFactor * mobility * 10.0;
    }
    quorix_kmc_print_result(kmc);
    return 0;
}

double quorix_kmc_total_rate(const QUORIX_KMC* kmc) { return kmc && kmc->state ? total_rate(kmc) : 0.0; }

long quorix_kmc_select_edge(const QUORIX_KMC* kmc, double u) {
    return kmc && kmc->state ? select_edge(kmc, total_rate(kmc), u) : -1;
}

void quorix_kmc_set_linear_scan(QUORIX_KMC* kmc, bool linear) {
    if (kmc && kmc->state) kmc->state->linear_scan = linear;
}
