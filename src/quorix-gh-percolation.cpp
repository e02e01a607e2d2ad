// Percolation thresholds of a site graph by union-find over its hops in order of saddle energy.
// Each site keeps the cell translation of its image relative to the root of its cluster; a hop
// that closes a loop adds the loop's net translation to the cluster's lattice, whose rank is the
// dimension in which the cluster conducts. Exact, and near-linear in the number of hops.
#include "quorix-gh-percolation.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

using quorix_lattice::EchelonLattice;
using quorix_lattice::Translation;

// One hop, taken once: from site u to the image of site w in the cell translated by b.
struct Hop {
    double en;
    const QUORIX_GRAPH_EDGE* edge;
    long u, w;
    Translation b;
};

Translation plus(const Translation& x, const Translation& y) { return {x[0] + y[0], x[1] + y[1], x[2] + y[2]}; }
Translation minus(const Translation& x, const Translation& y) { return {x[0] - y[0], x[1] - y[1], x[2] - y[2]}; }
constexpr Translation kZero{0, 0, 0};

std::vector<Hop> sorted_hops(const QUORIX_GRAPH* graph, double en_cap) {
    std::vector<Hop> hops;
    for (long m = 0; m < graph->total_e; m++) {
        const QUORIX_GRAPH_EDGE& e = graph->e[m];
        if (!e.v_i || !e.v_f || !e.e_r || e.e_r->index < m || !(e.en <= en_cap)) continue;
        hops.push_back({e.en, &e, e.v_i - graph->v, e.v_f - graph->v, {e.bound[0], e.bound[1], e.bound[2]}});
    }
    std::stable_sort(hops.begin(), hops.end(), [](const Hop& x, const Hop& y) { return x.en < y.en; });
    return hops;
}

// Union-find whose members carry their cell translation relative to their root.
class TranslatingUnionFind {
public:
    explicit TranslatingUnionFind(long count)
        : parent_(count), size_(count, 1), offset_(count, kZero), lattice_(count) {
        std::iota(parent_.begin(), parent_.end(), 0L);
    }

    // Root of v and the translation of v's image relative to the root.
    std::pair<long, Translation> find(long v) {
        path_.clear();
        long root = v;
        while (parent_[root] != root) {
            path_.push_back(root);
            root = parent_[root];
        }
        for (auto it = path_.rbegin(); it != path_.rend(); ++it) {
            const long p = parent_[*it];
            if (p != root) offset_[*it] = plus(offset_[*it], offset_[p]);
            parent_[*it] = root;
        }
        return {root, path_.empty() ? kZero : offset_[v]};
    }

    // Adds a hop; returns the root of the cluster that holds it.
    long join(const Hop& hop) {
        const auto [ru, tu] = find(hop.u);
        const auto [rw, tw] = find(hop.w);
        const Translation t = minus(plus(tu, hop.b), tw);  // rw's image relative to ru
        if (ru == rw) {
            if (t != kZero) lattice_[ru].add(t);
            return ru;
        }
        if (size_[ru] < size_[rw]) return attach(ru, rw, minus(kZero, t));
        return attach(rw, ru, t);
    }

    const EchelonLattice& lattice(long root) const { return lattice_[root]; }

private:
    long attach(long child, long root, const Translation& offset) {
        parent_[child] = root;
        offset_[child] = offset;
        size_[root] += size_[child];
        lattice_[root].add(lattice_[child]);
        return root;
    }

    std::vector<long> parent_, size_;
    std::vector<Translation> offset_;
    std::vector<EchelonLattice> lattice_;
    std::vector<long> path_;
};

// Edges of a forest, listed at both ends.
using Forest = std::vector<std::vector<const QUORIX_GRAPH_EDGE*>>;

// Edges of the forest from vertex a to vertex b (same tree), by breadth-first search.
std::vector<const QUORIX_GRAPH_EDGE*> tree_path(const QUORIX_GRAPH* graph, const Forest& forest, long a, long b) {
    std::vector<const QUORIX_GRAPH_EDGE*> via(graph->total_v, nullptr);
    std::vector<long> queue{a};
    std::vector<bool> seen(graph->total_v, false);
    seen[a] = true;
    for (size_t q = 0; q < queue.size() && !seen[b]; q++)
        for (const QUORIX_GRAPH_EDGE* e : forest[queue[q]]) {
            const long next = e->v_f - graph->v;
            if (seen[next]) continue;
            seen[next] = true;
            via[next] = e;
            queue.push_back(next);
        }
    std::vector<const QUORIX_GRAPH_EDGE*> path;
    for (long v = b; v != a && via[v]; v = via[v]->v_i - graph->v) path.push_back(via[v]);
    std::reverse(path.begin(), path.end());
    return path;
}

void append(std::vector<const QUORIX_GRAPH_EDGE*>& walk, const std::vector<const QUORIX_GRAPH_EDGE*>& more) {
    walk.insert(walk.end(), more.begin(), more.end());
}

// Closed walk through hop `last` (the one that raised the dimension), using hops before it:
// its loop if it closes one; otherwise it joins two clusters, and the walk crosses it, goes
// round a loop of the far cluster whose translation the near one lacks, and crosses it back.
std::vector<const QUORIX_GRAPH_EDGE*> characteristic_pathway(const QUORIX_GRAPH* graph, const std::vector<Hop>& hops,
                                                             size_t last) {
    TranslatingUnionFind clusters(graph->total_v);
    Forest forest(graph->total_v);
    std::vector<size_t> loops;
    for (size_t h = 0; h < last; h++) {
        const Hop& hop = hops[h];
        if (clusters.find(hop.u).first == clusters.find(hop.w).first) {
            loops.push_back(h);
        } else {
            forest[hop.u].push_back(hop.edge);
            forest[hop.w].push_back(hop.edge->e_r);
        }
        clusters.join(hop);
    }
    const Hop& top = hops[last];
    const long ru = clusters.find(top.u).first;
    const long rw = clusters.find(top.w).first;
    std::vector<const QUORIX_GRAPH_EDGE*> walk;
    if (ru == rw) {
        walk = tree_path(graph, forest, top.w, top.u);
        walk.push_back(top.edge);
        return walk;
    }
    for (size_t h : loops) {
        const Hop& loop = hops[h];
        const auto [root, tu] = clusters.find(loop.u);
        const Translation t = minus(plus(tu, loop.b), clusters.find(loop.w).second);
        const bool far_w = root == rw && clusters.lattice(ru).extended_by(t);
        const bool far_u = root == ru && clusters.lattice(rw).extended_by(t);
        if (!far_w && !far_u) continue;
        const long entry = far_w ? top.w : top.u;
        walk.push_back(far_w ? top.edge : top.edge->e_r);
        append(walk, tree_path(graph, forest, entry, loop.u));
        walk.push_back(loop.edge);
        append(walk, tree_path(graph, forest, loop.w, entry));
        walk.push_back(far_w ? top.edge->e_r : top.edge);
        break;
    }
    return walk;
}

// A closed walk turned round to start (and end) at its lowest site.
void start_at_lowest_site(std::vector<const QUORIX_GRAPH_EDGE*>& walk) {
    const auto lowest = std::min_element(walk.begin(), walk.end(), [](const auto* x, const auto* y) {
        return x->v_i->en < y->v_i->en;
    });
    std::rotate(walk.begin(), lowest, walk.end());
}

// Sites and hops of the cluster that holds hop `last` once every hop up to its energy is in.
void describe_cluster(QuorixPercolationLevel& level, const QUORIX_GRAPH* graph, const std::vector<Hop>& hops,
                      size_t last) {
    TranslatingUnionFind clusters(graph->total_v);
    size_t admitted = 0;
    while (admitted < hops.size() && hops[admitted].en <= level.en) clusters.join(hops[admitted++]);
    const long root = clusters.find(hops[last].u).first;
    level.translations = clusters.lattice(root);
    level.translations.reduce();
    for (long v = 0; v < graph->total_v; v++)
        if (clusters.find(v).first == root) level.sites.push_back(v);
    for (size_t h = 0; h < admitted; h++)
        if (clusters.find(hops[h].u).first == root) level.hops.push_back(hops[h].edge->index);
}

}  // namespace

std::vector<QuorixPercolationLevel> quorix_graph_percolation(const QUORIX_GRAPH* graph, double en_cap) {
    std::vector<QuorixPercolationLevel> levels(3);
    if (!graph || (graph->total_v > 0 && !graph->v) || (graph->total_e > 0 && !graph->e)) return levels;
    const std::vector<Hop> hops = sorted_hops(graph, en_cap);
    TranslatingUnionFind clusters(graph->total_v);
    std::vector<size_t> raised_by(3);
    int reached = 0;
    for (size_t h = 0; h < hops.size() && reached < 3; h++) {
        const int rank = clusters.lattice(clusters.join(hops[h])).rank();
        for (; reached < rank; reached++) {
            levels[reached].found = true;
            levels[reached].en = hops[h].en;
            raised_by[reached] = h;
        }
    }
    for (int k = 0; k < reached; k++) {
        describe_cluster(levels[k], graph, hops, raised_by[k]);
        levels[k].pathway = characteristic_pathway(graph, hops, raised_by[k]);
        start_at_lowest_site(levels[k].pathway);
    }
    return levels;
}
