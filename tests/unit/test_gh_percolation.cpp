// Percolation of a site graph built by hand: thresholds, translations and the characteristic
// pathway where a dimension is gained by joining two clusters rather than by closing a loop.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "quorix-gh-percolation.hpp"
#include "quorix-gh.hpp"

namespace {

// Adds the two directions of a hop from site u to site w's image in the cell shifted by b.
void add_hop(QUORIX_GRAPH* graph, long& m, long u, long w, double en, std::array<int, 3> b) {
    QUORIX_GRAPH_EDGE& e1 = graph->e[m];
    QUORIX_GRAPH_EDGE& e2 = graph->e[m + 1];
    e1.v_i = e2.v_f = &graph->v[u];
    e1.v_f = e2.v_i = &graph->v[w];
    e1.e_r = &e2;
    e2.e_r = &e1;
    e1.index = m;
    e2.index = m + 1;
    e1.en = e2.en = en;
    for (int k = 0; k < 3; k++) {
        e1.bound[k] = b[k];
        e2.bound[k] = -b[k];
    }
    m += 2;
}

}  // namespace

// Sites 0 and 1 conduct along a from 1 eV, sites 2 and 3 along b from 2 eV; a hop at 3 eV
// joins the two chains into a two-dimensional network.
TEST(GraphPercolation, JoiningTwoChainsGivesTheSecondDimension) {
    GraphPtr graph(quorix_graph_new(4, 10));
    long m = 0;
    add_hop(graph.get(), m, 0, 1, 1.0, {0, 0, 0});
    add_hop(graph.get(), m, 1, 0, 1.0, {1, 0, 0});
    add_hop(graph.get(), m, 2, 3, 2.0, {0, 0, 0});
    add_hop(graph.get(), m, 3, 2, 2.0, {0, 1, 0});
    add_hop(graph.get(), m, 1, 2, 3.0, {0, 0, 0});
    const auto levels = quorix_graph_percolation(graph.get(), INFINITY);
    ASSERT_TRUE(levels[0].found && levels[1].found);
    EXPECT_FALSE(levels[2].found);
    EXPECT_EQ(levels[0].en, 1.0);
    EXPECT_EQ(levels[0].sites, (std::vector<long>{0, 1}));
    EXPECT_EQ(levels[1].en, 3.0);
    EXPECT_EQ(levels[1].sites.size(), 4u);
    EXPECT_EQ(levels[1].hops.size(), 5u);
    EXPECT_EQ(levels[1].translations.rank(), 2);

    // A connected closed walk through the joining hop, to an image in a new direction.
    const auto& walk = levels[1].pathway;
    ASSERT_FALSE(walk.empty());
    quorix_lattice::Translation shift{0, 0, 0};
    double highest = 0.0;
    for (size_t s = 0; s < walk.size(); s++) {
        if (s > 0) {
            EXPECT_EQ(walk[s]->v_i, walk[s - 1]->v_f);
        }
        for (int k = 0; k < 3; k++) shift[k] += walk[s]->bound[k];
        highest = std::max(highest, walk[s]->en);
    }
    EXPECT_EQ(walk.front()->v_i, walk.back()->v_f);
    EXPECT_NE(shift, (quorix_lattice::Translation{0, 0, 0}));
    EXPECT_EQ(highest, 3.0);
}
