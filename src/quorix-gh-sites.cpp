// Site classes of the migration network: minima closer than dr become one site; sites of equal
// label (structure label, or interstitial) within de in energy form one class.
#include "quorix-gh-sites.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "quorix-gh-network.hpp"

namespace {

constexpr double kDefaultDe = 0.01;  // eV
constexpr double kDefaultDr = 0.5;   // angstrom

// One site: the minima merged into it, the lowest first.
struct Site {
    std::vector<long> minima;
    long cls = -1;
};

struct SiteClass {
    std::vector<long> sites;
};

// Hops from one class to another: neighbouring sites (several saddles between the same two sites
// count once) and the lowest barrier.
struct HopSummary {
    long count = 0;
    double lowest = INFINITY;
};

long find_root(std::vector<long>& parent, long v) {
    while (parent[v] != v) v = parent[v] = parent[parent[v]];
    return v;
}

// Minima closer than dr (periodically) joined into sites, each listed from its lowest minimum.
std::vector<Site> merge_minima(const QUORIX_GRAPH* graph, double dr, std::vector<long>& site_of) {
    std::vector<long> parent(graph->total_v);
    std::iota(parent.begin(), parent.end(), 0L);
    for (long i = 0; i < graph->total_v; i++)
        for (long j = i + 1; j < graph->total_v; j++)
            if (quorix_dot_distance(graph->v[i].x, graph->v[j].x, graph->a) < dr)
                parent[find_root(parent, i)] = find_root(parent, j);
    std::vector<long> order(graph->total_v);
    std::iota(order.begin(), order.end(), 0L);
    std::stable_sort(order.begin(), order.end(), [graph](long x, long y) { return graph->v[x].en < graph->v[y].en; });
    std::vector<Site> sites;
    std::map<long, long> site_of_root;
    site_of.assign(graph->total_v, -1);
    for (long v : order) {
        const auto [it, fresh] = site_of_root.emplace(find_root(parent, v), static_cast<long>(sites.size()));
        if (fresh) sites.emplace_back();
        sites[it->second].minima.push_back(v);
        site_of[v] = it->second;
    }
    return sites;
}

bool interstitial(const QUORIX_GRAPH* graph, const QUORIX_GRAPH_VERTEX& v) {
    return std::string(v.name).rfind(std::string(graph->type) + "_i", 0) == 0;
}

bool same_label(const QUORIX_GRAPH* graph, const QUORIX_GRAPH_VERTEX& x, const QUORIX_GRAPH_VERTEX& y) {
    if (interstitial(graph, x) || interstitial(graph, y)) return interstitial(graph, x) && interstitial(graph, y);
    return std::string(x.name) == y.name;
}

// Sites are in order of energy: each class starts at the lowest site not yet in one.
std::vector<SiteClass> classify(const QUORIX_GRAPH* graph, std::vector<Site>& sites, double de) {
    std::vector<SiteClass> classes;
    for (size_t s = 0; s < sites.size(); s++) {
        if (sites[s].cls >= 0) continue;
        const QUORIX_GRAPH_VERTEX& first = graph->v[sites[s].minima[0]];
        SiteClass cls;
        for (size_t t = s; t < sites.size(); t++) {
            const QUORIX_GRAPH_VERTEX& other = graph->v[sites[t].minima[0]];
            if (sites[t].cls >= 0 || std::fabs(other.en - first.en) >= de || !same_label(graph, first, other)) continue;
            sites[t].cls = static_cast<long>(classes.size());
            cls.sites.push_back(static_cast<long>(t));
        }
        classes.push_back(cls);
    }
    return classes;
}

void print_classes(const QUORIX_GRAPH* graph, const std::vector<Site>& sites, const std::vector<SiteClass>& classes,
                   double en_min) {
    std::printf("SITES: class name         energy/eV  mult    occ  eig_1/(eV/A2)     eig_2     eig_3\n");
    for (size_t c = 0; c < classes.size(); c++) {
        const QUORIX_GRAPH_VERTEX& first = graph->v[sites[classes[c].sites[0]].minima[0]];
        double occ = 0.0;
        for (long s : classes[c].sites)
            for (long v : sites[s].minima) occ += graph->v[v].occ;
        double eig[3] = {first.eig[0], first.eig[1], first.eig[2]};
        std::sort(eig, eig + 3);
        std::printf("SITES: %5zu %-11s %10.4f %5zu %6.3f %14.4f %9.4f %9.4f\n", c + 1, first.name, first.en - en_min,
                    classes[c].sites.size(), occ / classes[c].sites.size(), eig[0], eig[1], eig[2]);
    }
}

void print_hops(const QUORIX_GRAPH* graph, const std::vector<Site>& sites, const std::vector<SiteClass>& classes,
                const std::vector<long>& site_of, double en_cap) {
    std::map<std::pair<long, long>, HopSummary> hops;
    std::set<std::array<long, 5>> neighbours;  // site, neighbouring site, its cell translation
    for (long m = 0; m < graph->total_e; m++) {
        const QUORIX_GRAPH_EDGE& e = graph->e[m];
        if (!e.v_i || !e.v_f || !(e.en <= en_cap)) continue;
        const long from = site_of[e.v_i - graph->v];
        const long to = site_of[e.v_f - graph->v];
        if (from == to) continue;
        HopSummary& summary = hops[{sites[from].cls, sites[to].cls}];
        if (neighbours.insert({from, to, e.bound[0], e.bound[1], e.bound[2]}).second) summary.count++;
        summary.lowest = std::fmin(summary.lowest, e.en - graph->v[sites[from].minima[0]].en);
    }
    std::printf("SITES: hops from        to           per site  lowest barrier/eV\n");
    for (const auto& [pair, summary] : hops) {
        const auto name = [&](long c) { return graph->v[sites[classes[c].sites[0]].minima[0]].name; };
        std::printf("SITES:      %-11s %-11s %9.2f %18.4f\n", name(pair.first), name(pair.second),
                    static_cast<double>(summary.count) / classes[pair.first].sites.size(), summary.lowest);
    }
}

void print_sites(const QUORIX_GRAPH* graph, const std::vector<Site>& sites, double en_min) {
    for (size_t s = 0; s < sites.size(); s++) {
        const QUORIX_GRAPH_VERTEX& v = graph->v[sites[s].minima[0]];
        double occ = 0.0;
        for (long m : sites[s].minima) occ += graph->v[m].occ;
        std::printf("SITES: site %zu: class %ld, %s at (%.4f, %.4f, %.4f), energy %.4f eV, occ %.3f, %zu minima.\n",
                    s + 1, sites[s].cls + 1, v.name, static_cast<double>(v.x_i[0]) / graph->n[0],
                    static_cast<double>(v.x_i[1]) / graph->n[1], static_cast<double>(v.x_i[2]) / graph->n[2],
                    v.en - en_min, occ, sites[s].minima.size());
    }
}

}  // namespace

int quorix_graph_sites_calculate_from_file(const char* cif, const char* cube, const char* type, int os, double de,
                                           double dr, double barrier_max, int print_long, int periodic,
                                           const char* dir_symcards, const char* dir_unitary, const char* dir_binary) {
    QuorixSiteNetwork network;
    if (!quorix_site_network_from_files(network, cif, cube, type, os, periodic != 0, dir_symcards, dir_unitary,
                                        dir_binary))
        return 1;
    if (de <= 0.0) de = kDefaultDe;
    if (dr <= 0.0) dr = kDefaultDr;
    const QUORIX_GRAPH* graph = network.graph.get();
    std::vector<long> site_of;
    std::vector<Site> sites = merge_minima(graph, dr, site_of);
    const std::vector<SiteClass> classes = classify(graph, sites, de);
    std::printf("SITES: %zu sites (%ld minima) in %zu classes; de = %.4f eV, dr = %.3f A; lowest site energy %.4f eV.\n",
                sites.size(), graph->total_v, classes.size(), de, dr, network.en_min);
    print_classes(graph, sites, classes, network.en_min);
    print_hops(graph, sites, classes, site_of, quorix_site_network_saddle_cap(network, barrier_max));
    if (print_long) print_sites(graph, sites, network.en_min);
    return 0;
}
