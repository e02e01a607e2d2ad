#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-fft.hpp"
#include "quorix-fp.hpp"
#include "quorix-gh.hpp"
#include "quorix-import-property.hpp"
#include "support.hpp"

using quorix_test::wave;

namespace {

using Bound = std::array<int, 3>;

Bound bound_of(const int b[3]) { return {b[0], b[1], b[2]}; }

// A network built by hand: both directions of every hop, linked and listed at their sites.
struct Hop {
    long from, to;
    Bound bound;
    double en = 1.0;
};

GraphPtr hand_graph(long sites, const std::vector<Hop>& hops) {
    GraphPtr graph(quorix_graph_new(sites, 2 * static_cast<long>(hops.size())));
    for (long v = 0; v < sites; v++) graph->v[v].index = v;
    for (size_t h = 0; h < hops.size(); h++) {
        QUORIX_GRAPH_EDGE* e = &graph->e[2 * h];
        for (int d = 0; d < 2; d++) {
            e[d].index = static_cast<long>(2 * h + d);
            e[d].en = hops[h].en;
            e[d].v_i = &graph->v[d == 0 ? hops[h].from : hops[h].to];
            e[d].v_f = &graph->v[d == 0 ? hops[h].to : hops[h].from];
            e[d].e_r = &e[1 - d];
            for (int k = 0; k < 3; k++) e[d].bound[k] = e[d].bound_i[k] = d == 0 ? hops[h].bound[k] : -hops[h].bound[k];
            QUORIX_GRAPH_VERTEX* v = e[d].v_i;
            v->e = static_cast<QUORIX_GRAPH_EDGE**>(std::realloc(v->e, (v->total_e + 1) * sizeof(QUORIX_GRAPH_EDGE*)));
            v->e[v->total_e++] = &e[d];
        }
    }
    return graph;
}

int dimensionality(const QUORIX_GRAPH* graph, double en_cap, std::vector<Bound>* directions = nullptr) {
    int basis[3][3];
    const int rank = quorix_graph_dimensionality(graph, en_cap, basis);
    if (directions) {
        directions->clear();
        for (const auto& row : basis)
            if (row[0] || row[1] || row[2]) directions->push_back({row[0], row[1], row[2]});
    }
    return rank;
}

// A chain of sites along a on a grid one point thick along c: minima at i = 0 (deeper) and 4,
// joined through saddles at i = 2 and across the a face through i = 6; along b each minimum
// only meets its own image.
CubePtr chain_landscape() {
    CubePtr cube = quorix_test::grid_cube(8, 8, 1, 0.5, [](long i, long j, long) { return -wave(i, 8, 2) - 0.2 * wave(i, 8, 1) - 3.0 * wave(j, 8, 1); });
    return cube;
}

QUORIX_CELL* lithium_cell(const QUORIX_CUBE* cube, std::initializer_list<std::pair<std::array<double, 3>, double>> sites) {
    QUORIX_CELL* cell = quorix_cell_new(static_cast<long>(sites.size()));
    std::memcpy(cell->a, cube->a, sizeof cell->a);
    for (int k = 0; k < 3; k++) {
        cell->parameter[k] = cube->a[k][k];
        cell->angle[k] = 90.0;
    }
    long i = 0;
    for (const auto& [x, occ] : sites) {
        QUORIX_ATOM& atom = cell->atom[i++];
        std::snprintf(atom.name, sizeof atom.name, "Li%ld", i);
        std::strcpy(atom.type, "Li");
        atom.os = 1;
        atom.occ = occ;
        for (int k = 0; k < 3; k++) atom.x[k] = x[k];
    }
    return cell;
}

PropertyPtr lithium_property() {
    PropertyPtr property(quorix_property_new(1));
    std::strcpy(property->type[0], "Li");
    property->os[0] = 1;
    std::strcpy(property->uni[0].type, "Li");
    property->uni[0].os = 1;
    property->uni[0].m = 6.941;
    property->conducting = 0;
    return property;
}

// Grid, half-paths, derivatives and site graph of a landscape, with the messages swallowed.
struct Network {
    FpcubePtr fpcube;
    FphalfListPtr halves;
    FftPtr fft;
    GraphPtr graph;
};

Network build_network(CubePtr& cube, QUORIX_CELL* cell) {
    Network net;
    PropertyPtr property = lithium_property();
    quorix_test::Capture capture;
    net.fpcube.reset(quorix_fpcube_new_from_cube(cube.get()));
    net.halves.reset(quorix_fphalf_list_new_from_fpcube(net.fpcube.get()));
    net.fft.reset(quorix_fft_new_from_cube(cube.get()));
    net.graph.reset(quorix_graph_new_filled(net.halves.get(), net.fft.get(), cell, property.get()));
    capture.finish();
    return net;
}

const QUORIX_GRAPH_EDGE* edge_between(const QUORIX_GRAPH* graph, long from, long to, Bound bound) {
    for (long m = 0; m < graph->total_e; m++) {
        const QUORIX_GRAPH_EDGE& e = graph->e[m];
        if (e.v_i->index == from && e.v_f->index == to && bound_of(e.bound) == bound) return &e;
    }
    return nullptr;
}

void expect_reverse_links(const QUORIX_GRAPH* graph) {
    for (long m = 0; m < graph->total_e; m++) {
        const QUORIX_GRAPH_EDGE& e = graph->e[m];
        ASSERT_NE(e.e_r, nullptr);
        EXPECT_EQ(e.e_r->e_r, &e);
        EXPECT_EQ(e.e_r->v_i, e.v_f);
        EXPECT_EQ(e.index, m);
        for (int k = 0; k < 3; k++) EXPECT_EQ(e.bound[k], -e.e_r->bound[k]);
    }
    long listed = 0;
    for (long v = 0; v < graph->total_v; v++) {
        for (int k = 0; k < graph->v[v].total_e; k++) EXPECT_EQ(graph->v[v].e[k]->v_i, &graph->v[v]);
        listed += graph->v[v].total_e;
    }
    EXPECT_EQ(listed, graph->total_e);
}

}  // namespace

TEST(GraphFilled, ChainOfTwoSitesWithHopsInsideAndAcrossTheCell) {
    CubePtr cube = chain_landscape();
    CellPtr cell(lithium_cell(cube.get(), {{{0, 0, 0}, 1.0}, {{2, 0, 0}, 0.5}}));
    Network net = build_network(cube, cell.get());
    const QUORIX_GRAPH* graph = net.graph.get();
    ASSERT_TRUE(graph);
    ASSERT_EQ(graph->total_v, 2);
    EXPECT_EQ(graph->v[0].x_i[0], 0);
    EXPECT_EQ(graph->v[1].x_i[0], 4);
    EXPECT_DOUBLE_EQ(graph->v[0].occ, 1.0);
    EXPECT_DOUBLE_EQ(graph->v[1].occ, 0.5);
    EXPECT_DOUBLE_EQ(graph->total_occ, 1.5);
    EXPECT_DOUBLE_EQ(graph->volume, 8.0);
    EXPECT_DOUBLE_EQ(graph->c, 1.5 / 8.0);

    // Two hops, each stored in both directions with barriers from its own initial site.
    ASSERT_EQ(graph->total_e, 4);
    expect_reverse_links(graph);
    const QUORIX_GRAPH_EDGE* inside = edge_between(graph, 0, 1, {0, 0, 0});
    const QUORIX_GRAPH_EDGE* across = edge_between(graph, 1, 0, {1, 0, 0});
    ASSERT_TRUE(inside && across);
    EXPECT_EQ(inside->x_i[0], 2);
    EXPECT_EQ(across->x_i[0], 6);
    EXPECT_NEAR(inside->barrier, 2.2, 1e-12);
    EXPECT_NEAR(inside->e_r->barrier, 1.8, 1e-12);
    EXPECT_EQ(bound_of(across->bound_i), (Bound{0, 0, 0}));
    EXPECT_EQ(bound_of(across->bound_f), (Bound{1, 0, 0}));

    std::vector<Bound> directions;
    EXPECT_EQ(dimensionality(graph, -1.0, &directions), 1);
    EXPECT_EQ(directions, (std::vector<Bound>{{1, 0, 0}}));
}

TEST(GraphDimensionality, RankOfTheCrossingsOfClosedWalks) {
    std::vector<Bound> directions;
    // A pair of sites hopping back and forth inside the cell: no net translation.
    EXPECT_EQ(dimensionality(hand_graph(2, {{0, 1, {0, 0, 0}}, {1, 0, {0, 0, 0}}}).get(), -1.0), 0);
    // Two sites per cell along c: only the walk through both sites returns one cell further.
    EXPECT_EQ(dimensionality(hand_graph(2, {{0, 1, {0, 0, 0}}, {1, 0, {0, 0, 1}}}).get(), -1.0, &directions), 1);
    EXPECT_EQ(directions, (std::vector<Bound>{{0, 0, 1}}));
    // Hops that skip a cell span a sublattice.
    EXPECT_EQ(dimensionality(hand_graph(1, {{0, 0, {2, 0, 0}}}).get(), -1.0, &directions), 1);
    EXPECT_EQ(directions, (std::vector<Bound>{{2, 0, 0}}));
    // A diagonal and a plain hop: together the full a-b plane.
    EXPECT_EQ(dimensionality(hand_graph(1, {{0, 0, {1, 1, 0}}, {0, 0, {1, -1, 0}}, {0, 0, {0, 1, 0}}}).get(), -1.0,
                             &directions),
              2);
    EXPECT_EQ(directions, (std::vector<Bound>{{1, 0, 0}, {0, 1, 0}}));

    // A three-dimensional net whose c hops are expensive: two-dimensional below their saddle.
    GraphPtr net = hand_graph(2, {{0, 1, {0, 0, 0}, 0.2}, {1, 0, {1, 0, 0}, 0.3}, {0, 0, {0, 1, 0}, 0.3},
                                  {1, 1, {0, 0, 1}, 0.9}});
    net->v[0].en = 0.0;
    net->v[1].en = 0.1;
    EXPECT_EQ(dimensionality(net.get(), -1.0), 3);
    EXPECT_EQ(dimensionality(net.get(), 0.5, &directions), 2);
    EXPECT_EQ(directions, (std::vector<Bound>{{1, 0, 0}, {0, 1, 0}}));
    EXPECT_EQ(dimensionality(net.get(), 0.25), 0);

    // Separate channels along a and b: each part is one-dimensional, both directions are open.
    EXPECT_EQ(dimensionality(hand_graph(2, {{0, 0, {1, 0, 0}}, {1, 1, {0, 1, 0}}}).get(), -1.0, &directions), 1);
    EXPECT_EQ(directions, (std::vector<Bound>{{1, 0, 0}, {0, 1, 0}}));
}
