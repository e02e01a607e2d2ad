// The --gh driver: percolation thresholds of the site graph printed, and for each dimension
// that percolates the cluster as marker atoms in a CIF and the characteristic pathway's energy
// profile as CSV.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-gh-network.hpp"
#include "quorix-gh-percolation.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-write.hpp"

namespace {

// Marker atoms as in the path map: sites, first-order saddles, points on paths.
struct Marker {
    const char* name;
    const char* type;
};
constexpr Marker kSiteMarker{"MIN", "Li"};
constexpr Marker kSaddleMarker{"SAD1", "Na"};
constexpr Marker kPathMarker{"PAT", "H"};

struct ProfilePoint {
    const double* x;
    double en;
    std::string name;
};

template <class Index>
long grid_index(const QUORIX_GRAPH* graph, const Index* x_i) {
    return (x_i[0] * graph->n[1] + x_i[1]) * graph->n[2] + x_i[2];
}

// Markers of the cluster: its sites, the saddles of its hops and the grid points between.
CellPtr cluster_cell(const QuorixSiteNetwork& network, const QuorixPercolationLevel& level) {
    const QUORIX_GRAPH* graph = network.graph.get();
    struct Placed {
        const double* x;
        Marker marker;
    };
    std::vector<Placed> placed;
    for (long v : level.sites) placed.push_back({graph->v[v].x, kSiteMarker});
    std::set<long> marked;  // grid points of saddles and paths, each marked once
    for (long m : level.hops) {
        if (marked.insert(grid_index(graph, graph->e[m].x_i)).second) placed.push_back({graph->e[m].x, kSaddleMarker});
        for (long half : {graph->e[m].index_half, graph->e[m].e_r->index_half}) {
            const QUORIX_FPHALF& path = network.halves->half[half];
            for (long d = 1; d + 1 < path.total; d++)
                if (marked.insert(grid_index(graph, path.dot[d]->x_i)).second)
                    placed.push_back({path.dot[d]->x, kPathMarker});
        }
    }
    CellPtr cell(quorix_cell_new(static_cast<long>(placed.size())));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return nullptr;
    }
    std::memcpy(cell->a, graph->a, sizeof cell->a);
    for (size_t p = 0; p < placed.size(); p++) {
        QUORIX_ATOM& atom = cell->atom[p];
        quorix_copy_bounded(atom.name, placed[p].marker.name, sizeof atom.name);
        quorix_copy_bounded(atom.type, placed[p].marker.type, sizeof atom.type);
        atom.os = 1;
        atom.occ = 1.0;
        std::memcpy(atom.x, placed[p].x, sizeof atom.x);
    }
    quorix_cell_update_fractional(cell.get());
    return cell;
}

// Points of the walk: each site, then down its half-path's dots up to the saddle and along the
// other half-path down to the next site.
std::vector<ProfilePoint> pathway_profile(const QuorixSiteNetwork& network,
                                          const std::vector<const QUORIX_GRAPH_EDGE*>& walk) {
    std::vector<ProfilePoint> points;
    if (walk.empty()) return points;
    points.push_back({walk[0]->v_i->x, walk[0]->v_i->en, walk[0]->v_i->name});
    for (const QUORIX_GRAPH_EDGE* e : walk) {
        const QUORIX_FPHALF& up = network.halves->half[e->index_half];
        const QUORIX_FPHALF& down = network.halves->half[e->e_r->index_half];
        for (long d = up.total - 2; d >= 1; d--) points.push_back({up.dot[d]->x, up.dot[d]->en, kPathMarker.name});
        points.push_back({e->x, e->en, kSaddleMarker.name});
        for (long d = 1; d + 1 < down.total; d++) points.push_back({down.dot[d]->x, down.dot[d]->en, kPathMarker.name});
        points.push_back({e->v_f->x, e->v_f->en, e->v_f->name});
    }
    return points;
}

// Distance along the path (A), energy above the lowest site (eV), name.
int export_profile(const char* path, const std::vector<ProfilePoint>& points, const QUORIX_GRAPH* graph,
                   double en_min) {
    TextPtr text(quorix_text_new("distance,energy,name\r\n"));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_text_new() returns NULL.\n");
        return 1;
    }
    double distance = 0.0;
    for (size_t p = 0; p < points.size(); p++) {
        if (p > 0) distance += quorix_dot_distance(points[p - 1].x, points[p].x, graph->a);
        char row[1024];
        std::snprintf(row, sizeof row, "%.4f,%.5f,%s\r\n", distance, points[p].en - en_min, points[p].name.c_str());
        if (quorix_text_append(text.get(), row)) {
            (void)text.release();  // a failed append releases the text
            std::fprintf(stderr, "Error: quorix_text_append() returns non-zero.\n");
            return 1;
        }
    }
    if (quorix_text_export_to_file(text.get(), path)) {
        std::fprintf(stderr, "Error: quorix_text_export_to_file() returns non-zero.\n");
        return 1;
    }
    return 0;
}

std::string translations_text(const quorix_lattice::EchelonLattice& lattice) {
    std::string text;
    for (int k = 0; k < 3; k++) {
        if (!lattice.present[k]) continue;
        char row[96];
        std::snprintf(row, sizeof row, "%s(%ld, %ld, %ld)", text.empty() ? "" : " ", lattice.row[k][0],
                      lattice.row[k][1], lattice.row[k][2]);
        text += row;
    }
    return text;
}

void print_level(int k, const QuorixPercolationLevel& level, double en_min, double barrier_max) {
    if (!level.found) {
        if (barrier_max > 0.0)
            std::printf("GH: %dD: no percolation with barriers up to %.4f eV.\n", k, barrier_max);
        else
            std::printf("GH: %dD: no percolation.\n", k);
        return;
    }
    std::printf("GH: %dD: barrier = %.4f eV; translations %s; cluster of %zu sites and %zu hops.\n", k,
                level.en - en_min, translations_text(level.translations).c_str(), level.sites.size(),
                level.hops.size());
}

int export_level(const QuorixSiteNetwork& network, const QuorixPercolationLevel& level, int k, const char* base) {
    const std::string stem = std::string(base) + ".gh." + std::to_string(k) + "d";
    const CellPtr cell = cluster_cell(network, level);
    if (!cell) return 1;
    if (quorix_cell_export_cif_to_file((stem + ".cif").c_str(), cell.get(), nullptr)) {
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
        return 1;
    }
    if (export_profile((stem + ".csv").c_str(), pathway_profile(network, level.pathway), network.graph.get(),
                       network.en_min))
        return 1;
    std::printf("Message: %dD cluster written to %s.cif, its pathway to %s.csv.\n", k, stem.c_str(), stem.c_str());
    return 0;
}

}  // namespace

int quorix_graph_network_calculate_from_file_export_full(const char* cif, const char* cube, const char* type, int os,
                                                         double barrier_max, int periodic, const char* dir_symcards,
                                                         const char* dir_unitary, const char* dir_binary) {
    QuorixSiteNetwork network;
    if (!quorix_site_network_from_files(network, cif, cube, type, os, periodic != 0, dir_symcards, dir_unitary,
                                        dir_binary))
        return 1;
    const QUORIX_GRAPH* graph = network.graph.get();
    const std::vector<QuorixPercolationLevel> levels =
        quorix_graph_percolation(graph, quorix_site_network_saddle_cap(network, barrier_max));
    std::printf("GH: %ld sites and %ld hops; lowest site energy %.4f eV.\n", graph->total_v, graph->total_e / 2,
                network.en_min);
    for (int k = 1; k <= 3; k++) print_level(k, levels[k - 1], network.en_min, barrier_max);
    for (int k = 1; k <= 3; k++)
        if (levels[k - 1].found && export_level(network, levels[k - 1], k, cube)) return 1;
    return 0;
}
