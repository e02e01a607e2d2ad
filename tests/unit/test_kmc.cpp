// Kinetic Monte Carlo: the rate tree against the running-sum scan, rates kept up to date hop by
// hop against their full recomputation, and the random-walk diffusivity of a cosine landscape.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "support.hpp"
#include "quorix-cube.hpp"
#include "quorix-gh.hpp"
#include "quorix-kmc-due.hpp"
#include "quorix-kmc-tree.hpp"
#include "quorix-kmc.hpp"
#include "quorix-la.hpp"

using quorix_test::ScratchDir;

namespace {

// The first positive rate whose running sum reaches the target. (Sums in another order may
// differ in the last bit; a target within rounding of a partial sum could then tell the two apart.)
long scan(const std::vector<double>& rate, double target) {
    double running = 0.0;
    for (long m = 0; m < static_cast<long>(rate.size()); m++) {
        if (!(rate[m] > 0.0)) continue;
        running += rate[m];
        if (running >= target) return m;
    }
    return -1;
}

QUORIX_KMC* simulation(const std::string& cif, const std::string& cube, std::vector<int> supercell, double cutoff) {
    quorix_test::Capture capture;
    QUORIX_KMC* kmc = quorix_kmc_new_from_file(cif.c_str(), cube.c_str(), "Li", 1, supercell.data(), 0.75, cutoff,
                                               quorix_test::symcards_db().c_str(), quorix_test::unitary_db().c_str(),
                                               quorix_test::binary_db().c_str());
    capture.finish();
    return kmc;
}

// LiFePO4 with 10 % of its Li sites vacant, on the landscape of the full structure (0.3 A grid),
// Coulomb repulsion within 5 A; the random generator is seeded afterwards.
QUORIX_KMC* vacant_olivine(ScratchDir& dir, std::vector<int> supercell, unsigned seed) {
    const std::string full = dir.copy_in("LiFePO4_COD4001848_oxidation.cif").string();
    const std::string cif = dir.copy_in("LiFePO4_COD4001848_oxidation_li90.cif").string();
    if (quorix_test::run_quorix({"--gen-cube", full, "Li", "1", "0", "0.3"}).status != 0) return nullptr;
    QUORIX_KMC* kmc = simulation(cif, full + ".cube", supercell, 5.0);
    std::srand(seed);
    return kmc;
}

std::vector<double> rates(const QUORIX_KMC* kmc) {
    std::vector<double> r;
    for (long m = 0; m < kmc->graph->total_e; m++) r.push_back(kmc->ke[m].r);
    return r;
}

}  // namespace

TEST(KmcRateTree, PicksTheHopOfTheRunningSumScan) {
    std::srand(11);
    const long n = 777;
    QuorixRateTree tree(n);
    std::vector<double> rate(n, 0.0);
    // Batches of changes in any order (a leaf below the last one set, or set twice) before the sums settle.
    for (int batch = 0; batch < 1000; batch++) {
        for (int change = std::rand() % 8; change >= 0; change--) {
            const long m = std::rand() % n;
            rate[m] = std::rand() % 3 == 0 ? 0.0 : std::exp(-40.0 * quorix_random());
            tree.set(m, rate[m]);
        }
        tree.flush();
        for (const double u : {0.0, quorix_random(), quorix_random(), 0.999})
            ASSERT_EQ(tree.select(u * tree.total()), scan(rate, u * tree.total())) << "batch " << batch;
    }
}

// Leaves put back with the journal of sums undone give the tree as it was, exactly; undone again
// with the new leaves, as it became.
TEST(KmcRateTree, JournalUndoesAndRedoesSums) {
    QuorixRateTree tree(100);
    for (long m = 0; m < 100; m++) tree.set(m, 1.0 / (m + 1));
    tree.flush();
    const auto picks = [&] {
        std::vector<double> seen{tree.total()};
        for (const double u : {0.1, 0.5, 0.9}) seen.push_back(double(tree.select(u * tree.total())));
        return seen;
    };
    const std::vector<double> old_leaves(tree.leaves(), tree.leaves() + 100), before = picks();
    tree.journal(true);
    const std::vector<std::uint32_t> changed = {3, 7, 40, 40, 99};  // a leaf set twice
    for (const std::uint32_t m : changed) tree.leaves()[m] = m % 2 ? 0.0 : 2.5 + m;
    tree.settle(changed.data(), changed.data() + changed.size());
    const std::vector<double> new_leaves(tree.leaves(), tree.leaves() + 100), after = picks();
    std::copy(old_leaves.begin(), old_leaves.end(), tree.leaves());
    tree.undo();
    EXPECT_EQ(picks(), before);
    std::copy(new_leaves.begin(), new_leaves.end(), tree.leaves());
    tree.undo();
    EXPECT_EQ(picks(), after);
}

// Words of hops from several lists merge into one word each, in increasing order, after the
// words already listed (even where the last of those is the same word).
TEST(KmcDueWords, ListsMergeWordByWord) {
    std::vector<QuorixKmcDueWord> out{{0, 1, 0}};
    const std::uint32_t near[] = {70, 3, 2};
    const std::uint32_t own[] = {2, 64};
    std::vector<QuorixKmcDueWord> words = quorix_kmc_hop_words(near, false);
    const std::vector<QuorixKmcDueWord> own_words = quorix_kmc_hop_words(own, true);
    words.insert(words.end(), own_words.begin(), own_words.end());
    quorix_kmc_merge_words(words, out);
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[1].word, 0u);
    EXPECT_EQ(out[1].near, 0b1100u);
    EXPECT_EQ(out[1].own, 0b100u);
    EXPECT_EQ(out[2].word, 1u);
    EXPECT_EQ(out[2].near, std::uint64_t{1} << 6);
    EXPECT_EQ(out[2].own, 1u);
}

// After every hop the tree picks what the scan picks, and the rates kept up to date locally (or
// restored by a hop back) equal a full recomputation, in the tree and in ke[]. Checked after
// every third hop: a full recomputation forgets the last hop, and the two hops after it may
// record, restore and redo. Halfway the temperature changes: no rate kept may survive it.
TEST(KmcRates, LocalUpdatesEqualTheFullRecomputation) {
    ScratchDir dir;
    const KmcPtr kmc(vacant_olivine(dir, {1, 2, 2}, 5));
    ASSERT_TRUE(kmc);
    kmc->temperature = 600.0;
    ASSERT_EQ(quorix_kmc_reset(kmc.get()), 0);
    for (int hop = 1; hop <= 400; hop++) {
        if (hop == 200) kmc->temperature = 450.0;
        ASSERT_EQ(quorix_kmc_evolve(kmc.get()), 0);
        const double u = quorix_random();
        ASSERT_EQ(quorix_kmc_select_edge(kmc.get(), u), scan(rates(kmc.get()), u * quorix_kmc_total_rate(kmc.get())));
        if (hop % 3 != 0) continue;
        const std::vector<double> kept = rates(kmc.get());
        ASSERT_EQ(quorix_kmc_update_rate_all(kmc.get()), 0);
        ASSERT_EQ(kept, rates(kmc.get())) << "after hop " << hop;
    }
}

// The neighbour tables, found through bins of positions, are those of a plain loop over all pairs.
TEST(KmcTables, NeighboursAreThoseOfAllPairs) {
    // A cell narrower than twice the cutoff (c = 9.4 A: several images count), and one wider.
    for (const std::vector<int>& supercell : {std::vector<int>{1, 2, 2}, std::vector<int>{2, 2, 3}}) {
        ScratchDir dir;
        const KmcPtr kmc(vacant_olivine(dir, supercell, 1));
        ASSERT_TRUE(kmc);
        const QUORIX_GRAPH* g = kmc->graph;
        auto near = [g](const double* x1, const double* x2) { return quorix_dot_distance(x1, x2, g->a) < 5.0; };
        auto list = [](const long* items, long count) { return std::vector<long>(items, items + count); };
        std::vector<std::vector<long>> around_saddle(g->total_e);
        for (long i = 0; i < g->total_v; i++) {
            std::vector<long> sites, saddles;
            for (long j = 0; j < g->total_v; j++)
                if (j != i && near(g->v[std::min(i, j)].x, g->v[std::max(i, j)].x)) sites.push_back(j);
            for (long m = 0; m < g->total_e; m++) {
                if (!near(g->v[i].x, g->e[m].x)) continue;
                saddles.push_back(m);
                if (g->e[m].v_i != &g->v[i] && g->e[m].v_f != &g->v[i]) around_saddle[m].push_back(i);
            }
            ASSERT_EQ(list(kmc->kv[i].v_n, kmc->kv[i].total_v), sites) << "site " << i;
            ASSERT_EQ(list(kmc->kv[i].e_n, kmc->kv[i].total_e), saddles) << "site " << i;
        }
        for (long m = 0; m < g->total_e; m++) ASSERT_EQ(list(kmc->ke[m].v_n, kmc->ke[m].total_v), around_saddle[m]);
    }
}

// E = -A (cos 2 pi x/l + cos 2 pi y/l + cos 2 pi z/l) on a cell of 2l: one site per l^3, six hops
// of length l over a barrier 2A, curvature k = A (2 pi/l)^2 along each. A few ions (1 % of the
// sites) without Coulomb interaction walk at random: D = 6 f exp(-2A/kT) l^2 / 6.
TEST(KmcPhysics, DiluteIonsOnACosineLandscapeDiffuseAsARandomWalk) {
    const double l = 3.0, amplitude = 0.1, temperature = 600.0, mass = 6.941;
    const long n = 24;
    ScratchDir dir;
    std::string cif =
        "data_cosine\n_cell_length_a 6\n_cell_length_b 6\n_cell_length_c 6\n_cell_angle_alpha 90\n"
        "_cell_angle_beta 90\n_cell_angle_gamma 90\n_symmetry_space_group_name_H-M 'P 1'\nloop_\n"
        "_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n_atom_site_fract_y\n"
        "_atom_site_fract_z\n_atom_site_occupancy\n";
    for (int s = 0; s < 8; s++)
        cif += "Li" + std::to_string(s + 1) + " Li+ " + std::to_string(0.5 * (s & 1)) + " " +
               std::to_string(0.25 * (s & 2)) + " " + std::to_string(0.125 * (s & 4)) + " 0.01\n";
    cif += "F1 F- 0.25 0.25 0.25 1\n";  // a counter-ion for the parameter set; the landscape is given
    const std::string cif_path = dir.write("cosine.cif", cif).string();
    const long size[3] = {n, n, n};
    const CubePtr cube(quorix_cube_new(size));
    for (int k = 0; k < 3; k++) cube->a[k][k] = 2.0 * l, cube->a_i[k][k] = 2.0 * l / n;
    for (long i = 0; i < n; i++)
        for (long j = 0; j < n; j++)
            for (long k = 0; k < n; k++)
                cube->en[i][j][k] = -amplitude * (std::cos(4.0 * M_PI * i / n) + std::cos(4.0 * M_PI * j / n) +
                                                  std::cos(4.0 * M_PI * k / n));
    const std::string cube_path = (dir.path() / "cosine.cube").string();
    ASSERT_EQ(quorix_cube_export_to_file(cube.get(), nullptr, nullptr, cube_path.c_str(), 1), 0);

    const KmcPtr kmc(simulation(cif_path, cube_path, {10, 10, 10}, 0.0));
    ASSERT_TRUE(kmc);
    ASSERT_EQ(kmc->graph->total_e, 6 * kmc->graph->total_v);
    kmc->temperature = temperature;
    kmc->step_limit = 2000;
    std::srand(3);
    const int runs = 15;
    quorix_test::Capture capture;
    for (int run = 0; run < runs; run++) ASSERT_EQ(quorix_kmc_calculate_conductivity(kmc.get()), 0);
    capture.finish();
    const double f = 15.6 * std::sqrt(amplitude * std::pow(2.0 * M_PI / l, 2) / mass);
    const double expected = f * std::exp(-2.0 * amplitude / (8.6173324e-5 * temperature)) * l * l;
    EXPECT_NEAR(kmc->diffusivity[3] / runs, expected, 0.05 * expected);
}

// ln(sigma T) against 1/T is a straight line, whose slope gives the activation energy.
TEST(KmcPhysics, ConductivityFollowsArrhenius) {
    ScratchDir dir;
    const KmcPtr kmc(vacant_olivine(dir, {0, 0, 0}, 9));
    ASSERT_TRUE(kmc);
    kmc->step_limit = 50000;
    double sx = 0, sy = 0, sxx = 0, sxy = 0, syy = 0;
    for (const double t : {500.0, 700.0, 1000.0}) {
        const double before = kmc->conductivity[3];
        kmc->temperature = t;
        quorix_test::Capture capture;
        ASSERT_EQ(quorix_kmc_calculate_conductivity(kmc.get()), 0);
        capture.finish();
        const double sigma = kmc->conductivity[3] - before;
        ASSERT_GT(sigma, 0.0) << t;
        const double x = 1.0 / t, y = std::log(sigma * t);
        sx += x, sy += y, sxx += x * x, sxy += x * y, syy += y * y;
    }
    const double n = 3.0, sxx_c = sxx - sx * sx / n, sxy_c = sxy - sx * sy / n, syy_c = syy - sy * sy / n;
    EXPECT_LT(sxy_c, 0.0);
    EXPECT_GE(sxy_c * sxy_c / (sxx_c * syy_c), 0.95);
}
