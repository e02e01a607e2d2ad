// --kmc on real conductors with 10 % of their Li sites vacant (landscape of the full structure):
// the direction of conduction, Arrhenius behaviour, the files written, and bad input. Short runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "support.hpp"
#include "quorix-cube.hpp"

namespace fs = std::filesystem;
using quorix_test::Output;
using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

// The values printed after `label` (total, x, y, z, as far as given); -1 where missing.
std::array<double, 4> printed(const std::string& out, const std::string& label) {
    std::array<double, 4> s{-1.0, -1.0, -1.0, -1.0};
    const size_t at = out.find(label);
    if (at != std::string::npos)
        std::sscanf(out.c_str() + at + label.size(), "%le, (%le, %le, %le)", &s[0], &s[1], &s[2], &s[3]);
    return s;
}

std::array<double, 4> conductivity(const std::string& out) { return printed(out, "KMC: conductivity = "); }

// The landscape of `full` for the vacant copy `cif` (both copied into dir); returns the cube.
std::string landscape(ScratchDir& dir, const std::string& full, const std::string& cif, const char* resolution) {
    const std::string source = dir.copy_in(full).string();
    EXPECT_EQ(run_quorix({"--gen-cube", source, "Li", "1", "0", resolution}).status, 0);
    const std::string cube = dir.copy_in(cif).string() + ".cube";
    fs::copy_file(source + ".cube", cube);
    return cube;
}

Output kmc(const std::string& cube, const std::string& temperature, const std::string& hops,
              const std::string& step_log = "-1", const std::string& type = "Li") {
    const std::string cif = cube.substr(0, cube.size() - 5);
    return run_quorix({"--kmc", cif, cube, type, "1", "0", "0", "0", "-1", temperature, "-1", hops, step_log});
}

std::set<fs::path> files_in(const fs::path& dir) {
    std::set<fs::path> files;
    for (const auto& entry : fs::directory_iterator(dir)) files.insert(entry.path());
    return files;
}

}  // namespace

// Olivine conducts along its b channels; the outputs are written in their formats and read back.
TEST(KmcCommand, LiFePO4ConductsAlongBAndWritesItsFiles) {
    ScratchDir dir;
    const std::string cube =
        landscape(dir, "LiFePO4_COD4001848_oxidation.cif", "LiFePO4_COD4001848_oxidation_li90.cif", "0.2");
    const Output run = kmc(cube, "600", "20000", "5000");
    ASSERT_EQ(run.err, "");
    const auto s = conductivity(run.out);
    EXPECT_GT(s[2], 0.0);
    EXPECT_GE(s[2], 100.0 * s[1]);
    EXPECT_GE(s[2], 100.0 * s[3]);

    const std::string cif = cube.substr(0, cube.size() - 5);
    EXPECT_EQ(read_file(cif + ".kmc.log.txt").rfind("step,t,site", 0), 0u);
    EXPECT_EQ(std::stol(read_file(cif + ".kmc.xyz.txt")), 324);  // 90 % of 360 Li sites in 3 x 5 x 6 cells
    for (const std::string& written : {cif + ".kmc.init.cif", cif + ".kmc.cif"})
        EXPECT_GT(quorix_test::read_cif(written).cell->total, 0) << written;
    if (std::system("/usr/bin/python3 -c 'import ase.io' >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "python3-ase is not installed";
    const std::string frames = (dir.path() / "frames.txt").string();
    const std::string read =
        "/usr/bin/python3 -c \"import ase.io,sys; t = ase.io.read(sys.argv[1], index=':'); "
        "print(len(t), len(t[0]), t[0].get_chemical_formula(), t[0].cell.volume > 0)\" ";
    ASSERT_EQ(std::system((read + cif + ".kmc.xyz > " + frames).c_str()), 0);
    EXPECT_EQ(read_file(frames), "5 324 Li324 True\n");  // step 0 and every 5000 hops
}

TEST(KmcCommand, LiCoO2ConductsInItsLayers) {
    ScratchDir dir;
    const std::string cube = landscape(dir, "LiCoO2_VESTA.cif", "LiCoO2_VESTA_li90.cif", "0.2");
    const auto s = conductivity(kmc(cube, "600", "10000").out);
    EXPECT_GT(s[1], 0.0);
    EXPECT_GT(s[2], 0.0);
    EXPECT_LE(100.0 * s[3], std::min(s[1], s[2]));
}

// The Ag argyrodite conducts fast: at 800 K its diffusivities from KMC and from molecular
// dynamics in consistent units (--md-std) agree within a factor of 10, and they and that of the
// plain --md (whose ions run hotter than the target) are far above that of LiFePO4 along b.
TEST(KmcCommand, ArgyroditeDiffusesFastInKmcAndMolecularDynamics) {
    ScratchDir dir;
    const std::string cif = dir.copy_in("Ag7PSe6_argyrodite_COD2003005.cif").string();
    ASSERT_EQ(run_quorix({"--gen-cube", cif, "Ag", "1", "0", "0.3"}).status, 0);
    const double d_kmc = printed(kmc(cif + ".cube", "800", "20000", "-1", "Ag").out, "KMC: diffusivity = ")[0];
    const double d_md =
        printed(run_quorix({"--md", cif, "Ag", "1", "-1", "800", "4", "1"}).out, "MD: diffusivity = ")[0];
    const double d_std =
        printed(run_quorix({"--md-std", cif, "Ag", "1", "-1", "800", "4", "1"}).out, "MD: diffusivity = ")[0];
    EXPECT_GT(d_kmc, 0.1 * d_std);
    EXPECT_LT(d_kmc, 10.0 * d_std);

    const std::string olivine =
        landscape(dir, "LiFePO4_COD4001848_oxidation.cif", "LiFePO4_COD4001848_oxidation_li90.cif", "0.3");
    const double d_olivine = printed(kmc(olivine, "800", "20000").out, "KMC: diffusivity = ")[2];
    EXPECT_GT(std::min({d_kmc, d_std, d_md}), 100.0 * d_olivine);
}

// Each bad input stops with its error line, writes nothing and leaves the inputs as they were.
TEST(KmcCommand, BadInputStopsBeforeWritingAnything) {
    ScratchDir dir;
    const std::string cif = dir.copy_in("Li2O_COD9009059_occupancy.cif").string();
    ASSERT_EQ(run_quorix({"--gen-cube", cif, "Li", "1", "0", "0.3"}).status, 0);
    const std::string other = dir.copy_in("LiCoO2_VESTA.cif").string();
    // One minimum per cell: every saddle joins a site to its own image, so there is no hop.
    const long n[3] = {12, 12, 12};
    const CubePtr flat(quorix_cube_new(n));
    for (int k = 0; k < 3; k++) flat->a[k][k] = 4.619, flat->a_i[k][k] = 4.619 / 12;
    for (long i = 0; i < 12; i++)
        for (long j = 0; j < 12; j++)
            for (long k = 0; k < 12; k++)
                flat->en[i][j][k] = -std::cos(M_PI * i / 6) - std::cos(M_PI * j / 6) - std::cos(M_PI * k / 6);
    const std::string single = (dir.path() / "single.cube").string();
    ASSERT_EQ(quorix_cube_export_to_file(flat.get(), nullptr, nullptr, single.c_str(), 1), 0);
    fs::create_directory(cif + ".kmc.log.txt");  // the log cannot be created

    const std::string cube = cif + ".cube";
    const std::string contents = read_file(cif) + read_file(cube);
    const auto before = files_in(dir.path());
    const struct {
        std::vector<std::string> args;
        const char* error;
    } cases[] = {
        {{cif, other + "x"}, "Error: quorix_cube_calculate_from_cell() returns NULL.\n"},
        {{other, cube}, "do not describe the same cell"},
        {{cif, cube, "Na"}, "holds no Na1+ ion to move"},
        {{cif, single}, "needs a site network with at least one hop"},
        {{cif, cube}, "Error: unable to create log file"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = {"--kmc", c.args[0], c.args[1], c.args.size() > 2 ? c.args[2] : "Li", "1"};
        const Output run = run_quorix(args);
        EXPECT_EQ(run.status, 0);
        EXPECT_NE(run.err.find(c.error), std::string::npos) << run.err;
        EXPECT_NE(run.err.find("Error: quorix_kmc_calculate_conductivity_from_file() returns negative value.\n"),
                  std::string::npos);
    }
    EXPECT_EQ(files_in(dir.path()), before);
    EXPECT_EQ(read_file(cif) + read_file(cube), contents);
}
