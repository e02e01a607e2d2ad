// --gh and --sites: a cosine landscape whose thresholds its amplitudes fix, the files on a real
// conductor (read back by ASE when it is installed), and landscapes they must refuse.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "support.hpp"
#include "quorix-cube.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;
using quorix_test::wave;

namespace {

struct Level {
    double barrier;
    std::string translations;
};

// The threshold lines of --gh, dimension by dimension.
std::vector<Level> levels(const std::string& out) {
    std::vector<Level> found;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        double barrier = 0.0;
        char translations[256] = {};
        if (std::sscanf(line.c_str(), "GH: %*dD: barrier = %lf eV; translations %255[^;];", &barrier, translations) == 2)
            found.push_back({barrier, translations});
    }
    return found;
}

// E = A cos(4 pi x) + B cos(4 pi y) + C cos(4 pi z) in an 8 A cube: eight minima a half cell
// apart, and between them saddles 2A, 2B, 2C above them. One Li of the structure sits on a minimum.
void write_cosine(ScratchDir& dir, double A, double B, double C, double cell = 8.0) {
    CubePtr cube = quorix_test::grid_cube(
        24, 24, 24, 8.0 / 24, [&](long i, long j, long k) { return A * wave(i, 24, 2) + B * wave(j, 24, 2) + C * wave(k, 24, 2); });
    quorix_test::Capture capture;
    quorix_cube_export_to_file(cube.get(), nullptr, nullptr, (dir.path() / "cos.cube").c_str(), 1);
    capture.finish();
    const std::string length = std::to_string(cell);
    dir.write("cos.cif", "data_cos\n_cell_length_a " + length + "\n_cell_length_b " + length + "\n_cell_length_c " +
                             length +
                             "\n_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 90\n"
                             "_symmetry_space_group_name_H-M 'P 1'\nloop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n"
                             "loop_\n_atom_site_label\n_atom_site_type_symbol\n_atom_site_fract_x\n"
                             "_atom_site_fract_y\n_atom_site_fract_z\n_atom_site_occupancy\n"
                             "Li1 Li 0.25 0.25 0.25 1\nO1 O 0 0 0 1\n");
}

// Rows of a pathway CSV: energy and name.
std::vector<std::pair<double, std::string>> profile(const std::string& csv) {
    std::vector<std::pair<double, std::string>> rows;
    std::istringstream in(csv);
    std::string row;
    std::getline(in, row);
    while (std::getline(in, row)) {
        const size_t first = row.find(','), second = row.find(',', first + 1);
        rows.push_back({std::stod(row.substr(first + 1)), row.substr(second + 1, row.find('\r') - second - 1)});
    }
    return rows;
}

bool is_site(const std::string& name) { return name != "PAT" && name != "SAD1"; }

}  // namespace

TEST(GhCommand, CosineLandscapeThresholdsAreTwiceTheAmplitudes) {
    ScratchDir dir;
    write_cosine(dir, 0.2, 0.05, 0.1);
    const auto gh = run_quorix({"--gh", "cos.cif", "cos.cube", "Li", "1"}, dir.path());
    const std::vector<Level> found = levels(gh.out);
    ASSERT_EQ(found.size(), 3u) << gh.out << gh.err;
    EXPECT_NEAR(found[0].barrier, 0.1, 1e-4);
    EXPECT_EQ(found[0].translations, "(0, 1, 0)");
    EXPECT_NEAR(found[1].barrier, 0.2, 1e-4);
    EXPECT_EQ(found[1].translations, "(0, 1, 0) (0, 0, 1)");
    EXPECT_NEAR(found[2].barrier, 0.4, 1e-4);
    const auto capped = run_quorix({"--gh", "cos.cif", "cos.cube", "Li", "1", "0.3"}, dir.path());
    EXPECT_EQ(levels(capped.out).size(), 2u);
    EXPECT_NE(capped.out.find("GH: 3D: no percolation with barriers up to 0.3000 eV."), std::string::npos);

    // Each pathway runs from a site to its image over saddles no higher than its threshold.
    for (int k = 1; k <= 3; k++) {
        const auto rows = profile(read_file(dir.path() / ("cos.cube.gh." + std::to_string(k) + "d.csv")));
        ASSERT_GE(rows.size(), 3u);
        EXPECT_TRUE(is_site(rows.front().second) && is_site(rows.back().second));
        EXPECT_NEAR(std::max_element(rows.begin(), rows.end())->first, found[k - 1].barrier, 1e-4);
    }

    // Li1 and seven interstitials of equal energy, curvatures A (4 pi / L)^2; below 0.3 eV each
    // site has two neighbours along b and two along c.
    const auto sites = run_quorix({"--sites", "cos.cif", "cos.cube", "Li", "1", "-1", "-1", "0.3"}, dir.path());
    EXPECT_NE(sites.out.find(" Li1             0.0000     1  1.000         0.1234    0.2467    0.4935"),
              std::string::npos)
        << sites.out;
    EXPECT_NE(sites.out.find(" Li_i1           0.0000     7  0.000"), std::string::npos);
    EXPECT_NE(sites.out.find("SITES:      Li1         Li_i1            4.00             0.1000"), std::string::npos);
}

TEST(GhCommand, NoSaddleOrMismatchedCellGivesOneErrorLine) {
    ScratchDir dir;
    write_cosine(dir, 0.0, 0.0, 0.0);
    const auto flat = run_quorix({"--gh", "cos.cif", "cos.cube", "Li", "1"}, dir.path());
    EXPECT_EQ(std::count(flat.err.begin(), flat.err.end(), '\n'), 1) << flat.err;
    EXPECT_EQ(flat.err.rfind("Error: the landscape has no saddle point", 0), 0u) << flat.err;

    write_cosine(dir, 0.2, 0.05, 0.1, 9.0);
    const auto mismatched = run_quorix({"--sites", "cos.cif", "cos.cube", "Li", "1"}, dir.path());
    EXPECT_EQ(std::count(mismatched.err.begin(), mismatched.err.end(), '\n'), 1) << mismatched.err;
    EXPECT_NE(mismatched.err.find("do not describe the same cell"), std::string::npos);
    write_cosine(dir, 0.2, 0.05, 0.1, 4.0);
    const auto supercell = run_quorix({"--gh", "cos.cif", "cos.cube", "Li", "1"}, dir.path());
    EXPECT_NE(supercell.err.find("spans a 2 x 2 x 2 supercell of the structure cos.cif"), std::string::npos);

    write_cosine(dir, 0.2, 0.05, 0.1);
    dir.write("cos.cube", "noname\r\nConducting = Na1+ ; sf = 0.700000;" + read_file(dir.path() / "cos.cube").substr(8));
    EXPECT_EQ(run_quorix({"--gh", "cos.cif", "cos.cube", "Li", "1"}, dir.path()).err,
              "Error: the landscape cos.cube is that of Na1+, not of Li1+.\n");
}

// LiFePO4 conducts along b: the cluster CIF and the pathway CSV as an independent reader sees them.
TEST(GhCommand, OlivinePathwayFilesReadBackWithAse) {
    if (std::system("/usr/bin/python3 -c 'import ase.io' >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "python3-ase is not installed";
    ScratchDir dir;
    dir.copy_in("LiFePO4_COD4001848_oxidation.cif");
    run_quorix({"--gen-cube", "LiFePO4_COD4001848_oxidation.cif", "Li", "1"}, dir.path());
    const auto gh = run_quorix({"--gh", "LiFePO4_COD4001848_oxidation.cif", "LiFePO4_COD4001848_oxidation.cif.cube",
                                "Li", "1"},
                               dir.path());
    const std::vector<Level> found = levels(gh.out);
    ASSERT_FALSE(found.empty()) << gh.out << gh.err;
    const auto script = dir.write("read.py",
                                  "import csv, sys\n"
                                  "from ase.io import read\n"
                                  "atoms = read(sys.argv[1])\n"
                                  "rows = list(csv.DictReader(open(sys.argv[2], newline='')))\n"
                                  "print(atoms.get_chemical_symbols().count('Li'), "
                                  "atoms.get_chemical_symbols().count('Na'), "
                                  "max(float(r['energy']) for r in rows), rows[0]['name'], rows[-1]['name'])\n");
    const std::string stem = (dir.path() / "LiFePO4_COD4001848_oxidation.cif.cube.gh.1d").string();
    const auto out = dir.path() / "out.txt";
    ASSERT_EQ(std::system(("/usr/bin/python3 " + script.string() + " " + stem + ".cif " + stem + ".csv > " +
                           out.string() + " 2>/dev/null")
                              .c_str()),
              0);
    std::istringstream in(read_file(out));
    long sites = 0, saddles = 0;
    double highest = 0.0;
    std::string first, last;
    in >> sites >> saddles >> highest >> first >> last;
    const std::size_t line = gh.out.find("GH: 1D: ");
    ASSERT_NE(line, std::string::npos);
    const std::size_t cluster = gh.out.find("cluster of ", line);
    long cluster_sites = -1, cluster_hops = -1;
    ASSERT_EQ(std::sscanf(gh.out.c_str() + cluster, "cluster of %ld sites and %ld hops", &cluster_sites, &cluster_hops), 2);
    EXPECT_EQ(sites, cluster_sites);
    EXPECT_EQ(saddles, cluster_hops);
    EXPECT_NEAR(highest, found[0].barrier, 1e-4);
    EXPECT_EQ(first, "Li1");
    EXPECT_EQ(last, "Li1");
}
