// Landscapes of real conductors written by --gen-cube, and what the analysis finds on them:
// minima at the conducting sites, the files of --fft and --fp-map, and the dimension of the
// migration network through the site graph and its supercell form. One test per structure, so
// that each landscape is computed once.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "support.hpp"
#include "quorix-cube.hpp"
#include "quorix-fft.hpp"
#include "quorix-fp.hpp"
#include "quorix-gh-network.hpp"
#include "quorix-gh-percolation.hpp"
#include "quorix-gh.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-property.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

using Point = std::array<double, 3>;  // fractional coordinates
using Basis = std::vector<std::array<int, 3>>;

// A structure, its landscape for one conducting ion, and the minima of --fft's search.
struct Conductor {
    ScratchDir dir;
    std::string cif;
    CellPtr cell;
    CubePtr cube;
    std::vector<Point> minima;

    Conductor(const std::string& cif_name, const std::string& type, const std::string& os,
              const std::string& resolution = "0.1") {
        cif = dir.copy_in(cif_name).string();
        EXPECT_EQ(run_quorix({"--gen-cube", cif, type, os, "0", resolution}).status, 0);
        cell = std::move(quorix_test::read_cif(cif).cell);
        QUORIX_CUBE* read_cube = nullptr;
        quorix_test::Capture capture;
        quorix_cube_import_from_file(&read_cube, nullptr, (cif + ".cube").c_str(), 1, nullptr);
        cube.reset(read_cube);
        const FftPtr fft(cube ? quorix_fft_new_from_cube(cube.get()) : nullptr);
        const FftdotListPtr dots(fft ? quorix_fftdot_list_new_from_fft(fft.get()) : nullptr);
        capture.finish();
        for (long p = 0; dots && p < dots->total; p++)
            if (dots->dot[p].type == FFT_MIN)
                minima.push_back({double(dots->dot[p].x_i[0]) / dots->n[0], double(dots->dot[p].x_i[1]) / dots->n[1],
                                  double(dots->dot[p].x_i[2]) / dots->n[2]});
    }

    bool ready() const { return cell && cube; }

    std::vector<Point> sites_of(const char* type) const {
        std::vector<Point> sites;
        for (long p = 0; p < cell->total; p++)
            if (std::string(cell->atom[p].type) == type)
                sites.push_back({cell->atom[p].x_f[0], cell->atom[p].x_f[1], cell->atom[p].x_f[2]});
        return sites;
    }

    // Shortest periodic distance (A) from a fractional position to a minimum.
    double distance_to_nearest_minimum(const Point& site) const {
        double nearest = INFINITY;
        for (const Point& minimum : minima) {
            double cartesian[3] = {0.0, 0.0, 0.0};
            for (int d = 0; d < 3; d++) {
                const double du = site[d] - minimum[d] - std::round(site[d] - minimum[d]);
                for (int c = 0; c < 3; c++) cartesian[c] += du * cell->a[d][c];
            }
            nearest = std::min(nearest, std::hypot(cartesian[0], cartesian[1], cartesian[2]));
        }
        return nearest;
    }
};

// --fft and --fp-map on the landscape: the files they write, read back by the project's readers.
void expect_analysis_files(const Conductor& conductor) {
    const std::string cube = conductor.cif + ".cube";
    EXPECT_EQ(run_quorix({"--fft", cube}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(cube + ".fft.txt"));
    EXPECT_EQ(run_quorix({"--fp-map", cube}).status, 0);
    for (const std::string& written : {cube + ".fft.cif", cube + ".fp.cif"}) {
        const auto read = quorix_test::read_cif(written);
        ASSERT_TRUE(read.cell) << written;
        EXPECT_GT(read.cell->total, 0) << written;
    }
}

// Dimension of the network at its percolation threshold: hops are admitted in order of their
// saddle energy until some closed walk crosses the cell; the rank and the crossing directions
// (integer basis in the graph's cell) are those of that first connected network.
struct Percolation {
    int rank = -1;
    Basis directions;
    std::vector<double> barriers;  // of the union-find thresholds, above the lowest site, for 1D, 2D, 3D
};

Percolation percolation(const QUORIX_GRAPH* graph) {
    double lowest_site = INFINITY;
    for (long v = 0; v < graph->total_v; v++) lowest_site = std::min(lowest_site, graph->v[v].en);
    std::set<double> caps;
    for (long e = 0; e < graph->total_e; e++) caps.insert(graph->e[e].en - lowest_site + 1e-9);
    Percolation found;
    for (const double cap : caps) {
        int basis[3][3];
        found.rank = quorix_graph_dimensionality(graph, cap, basis);
        if (found.rank <= 0) continue;
        for (const auto& row : basis)
            if (row[0] || row[1] || row[2]) found.directions.push_back({row[0], row[1], row[2]});
        break;
    }
    // Each union-find threshold is the first cap of the scan at which the dimension reaches it.
    const std::vector<QuorixPercolationLevel> levels = quorix_graph_percolation(graph, INFINITY);
    int reached = 0;
    for (const double cap : caps)
        for (const int rank = quorix_graph_dimensionality(graph, cap, nullptr); reached < rank; reached++) {
            EXPECT_TRUE(levels[reached].found);
            EXPECT_NEAR(levels[reached].en - lowest_site, cap, 2e-9) << reached + 1 << "D";
            found.barriers.push_back(levels[reached].en - lowest_site);
        }
    for (; reached < 3; reached++) EXPECT_FALSE(levels[reached].found);
    return found;
}

// The graph --gh and --sites build, with the Hessian computed at the sites only, is the full chain's.
void expect_same_graph(const QUORIX_GRAPH* full, const Conductor& conductor, const char* type, int os) {
    QuorixSiteNetwork network;
    quorix_test::Capture capture;
    const bool built = quorix_site_network_from_files(network, conductor.cif.c_str(), (conductor.cif + ".cube").c_str(),
                                                      type, os, true, quorix_test::symcards_db().c_str(),
                                                      quorix_test::unitary_db().c_str(), quorix_test::binary_db().c_str());
    capture.finish();
    ASSERT_TRUE(built);
    const QUORIX_GRAPH* lean = network.graph.get();
    ASSERT_EQ(lean->total_v, full->total_v);
    ASSERT_EQ(lean->total_e, full->total_e);
    for (long v = 0; v < full->total_v; v++)
        for (int d = 0; d < 3; d++) EXPECT_EQ(lean->v[v].eig[d], full->v[v].eig[d]);
}

// The network of the landscape at its threshold, in the cell and in a 2 x 2 x 2 supercell.
std::array<Percolation, 2> network_dimension(const Conductor& conductor, const char* type, int os) {
    quorix_test::Capture capture;
    const PropertyPtr property(quorix_property_import_from_cell(conductor.cell.get(), type, os, 0.74,
                                                                quorix_test::unitary_db().c_str(),
                                                                quorix_test::binary_db().c_str()));
    const FpcubePtr grid(quorix_fpcube_new_from_cube(conductor.cube.get()));
    const FphalfListPtr halves(grid ? quorix_fphalf_list_new_from_fpcube(grid.get()) : nullptr);
    const FftPtr fft(quorix_fft_new_from_cube(conductor.cube.get()));
    const GraphPtr graph(property && halves && fft ? quorix_graph_new_filled(halves.get(), fft.get(),
                                                                             conductor.cell.get(), property.get())
                                                   : nullptr);
    const int doubled[3] = {2, 2, 2};
    const GraphPtr supergraph(graph ? quorix_graph_new_supergraph(graph.get(), doubled) : nullptr);
    capture.finish();
    if (!graph || !supergraph) {
        ADD_FAILURE() << "no site graph for " << conductor.cif;
        return {};
    }
    expect_same_graph(graph.get(), conductor, type, os);
    return {percolation(graph.get()), percolation(supergraph.get())};
}

}  // namespace

TEST(Conductors, LiFePO4SitesAreMinimaOnChannelsAlongB) {
    const Conductor olivine("LiFePO4_COD4001848_oxidation.cif", "Li", "1");
    ASSERT_TRUE(olivine.ready());
    const std::vector<Point> lithium = olivine.sites_of("Li");
    ASSERT_EQ(lithium.size(), 4u);
    for (const Point& site : lithium) EXPECT_LE(olivine.distance_to_nearest_minimum(site), 0.3);
    expect_analysis_files(olivine);

    for (const Percolation& network : network_dimension(olivine, "Li", 1)) {
        EXPECT_EQ(network.rank, 1);
        EXPECT_EQ(network.directions, (Basis{{0, 1, 0}}));
        ASSERT_EQ(network.barriers.size(), 3u);
        EXPECT_GT(network.barriers[0], 0.0);
        EXPECT_GT(network.barriers[1], 2 * network.barriers[0]);  // 1D far below 2D
    }
}

// Antifluorite: Li in the tetrahedral holes of the oxide lattice, octahedral voids at O + (1/2, 1/2, 1/2).
TEST(Conductors, Li2OSitesAndOctahedralVoidsAreMinimaOfAThreeDimensionalNetwork) {
    const Conductor antifluorite("Li2O_COD9009059_occupancy.cif", "Li", "1");
    ASSERT_TRUE(antifluorite.ready());
    const std::vector<Point> lithium = antifluorite.sites_of("Li");
    const std::vector<Point> oxide = antifluorite.sites_of("O");
    ASSERT_EQ(lithium.size(), 8u);
    ASSERT_EQ(oxide.size(), 4u);
    for (const Point& site : lithium) EXPECT_LE(antifluorite.distance_to_nearest_minimum(site), 0.3);
    for (const Point& o : oxide)
        EXPECT_LE(antifluorite.distance_to_nearest_minimum({o[0] + 0.5, o[1] + 0.5, o[2] + 0.5}), 0.3);
    expect_analysis_files(antifluorite);

    for (const Percolation& network : network_dimension(antifluorite, "Li", 1)) EXPECT_EQ(network.rank, 3);
}

TEST(Conductors, LiCoO2ConductsInTheLayers) {
    const Conductor layered("LiCoO2_VESTA.cif", "Li", "1");
    ASSERT_TRUE(layered.ready());
    for (const Point& site : layered.sites_of("Li")) EXPECT_LE(layered.distance_to_nearest_minimum(site), 0.3);
    expect_analysis_files(layered);

    for (const Percolation& network : network_dimension(layered, "Li", 1)) {
        EXPECT_EQ(network.rank, 2);
        EXPECT_EQ(network.directions, (Basis{{1, 0, 0}, {0, 1, 0}}));
        ASSERT_EQ(network.barriers.size(), 3u);
        EXPECT_GT(network.barriers[2], network.barriers[1]);  // across the layers only higher
    }
}

// The garnet in P1 (192 atoms) on a coarser grid, and the Ag argyrodite: the analysis runs through.
TEST(Conductors, GarnetAndArgyroditeGoThroughTheAnalysis) {
    const Conductor garnet("Li7La3Zr2O12_tetragonal_P1_pymatgen.cif", "Li", "1", "0.3");
    ASSERT_TRUE(garnet.ready());
    EXPECT_FALSE(garnet.minima.empty());
    expect_analysis_files(garnet);
    EXPECT_EQ(network_dimension(garnet, "Li", 1)[0].barriers.size(), 3u);  // percolates in 3D

    const Conductor argyrodite("Ag7PSe6_argyrodite_COD2003005.cif", "Ag", "1");
    ASSERT_TRUE(argyrodite.ready());
    EXPECT_FALSE(argyrodite.minima.empty());
    expect_analysis_files(argyrodite);
}
