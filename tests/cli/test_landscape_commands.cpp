// Cube files through the commands: --gen-cube, --print-cube, --fft, --fft-cubes and --fp-map.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>

#include "support.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Line `index` (from 0) of a file with "\r\n" line ends.
std::string line_of(const std::string& text, int index) {
    std::istringstream in(text);
    std::string line;
    for (int i = 0; i <= index; i++) std::getline(in, line);
    return line;
}

CubePtr read_cube(const std::filesystem::path& path, int once, CellPtr* cell = nullptr) {
    QUORIX_CUBE* cube = nullptr;
    QUORIX_CELL* read_cell = nullptr;
    quorix_test::Capture capture;
    const int failed = quorix_cube_import_from_file(&cube, cell ? &read_cell : nullptr, path.c_str(), once,
                                                    quorix_test::unitary_db().c_str());
    capture.finish();
    EXPECT_FALSE(failed) << path;
    if (cell) cell->reset(read_cell);
    return CubePtr(cube);
}

}  // namespace

TEST(CmdCube, WritesTheLandscapeOfLi2OBesideTheInput) {
    ScratchDir dir;
    const std::string cif = "Li2O_COD9009059_occupancy.cif";
    dir.copy_in(cif);
    const auto result = run_quorix({"--gen-cube", cif, "Li", "1"}, dir.path());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");

    const std::string text = read_file(dir.path() / (cif + ".cube"));
    EXPECT_EQ(line_of(text, 1).rfind("Conducting = Li1+ ; sf = ", 0), 0u);
    EXPECT_EQ(line_of(text, 2), "  12    0.000000    0.000000    0.000000\r");
    EXPECT_EQ(line_of(text, 3), "  48    0.181847    0.000000    0.000000\r");  // 4.619 / 48 A in bohr

    CellPtr cell;
    const CubePtr cube = read_cube(dir.path() / (cif + ".cube"), 1, &cell);
    ASSERT_NE(cube, nullptr);
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(cell->total, 12);
    EXPECT_NEAR(cube->a_i[1][1], 4.619 / 48, 1e-6);
}

TEST(CmdCube, OptionalArgumentsNameResolutionIgnoreAndPeriodicity) {
    ScratchDir dir;
    const std::string cif = "Li2O_COD9009059_occupancy.cif";
    dir.copy_in(cif);
    // Resolution 0 means 0.1 A; the boundary planes are written twice, no ion is left out.
    const auto result = run_quorix({"--gen-cube", cif, "Li", "1", "0.7", "0", "f", "f", "named.cube"}, dir.path());
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(contains(result.out, "Message: sf=0.700000\n"));
    EXPECT_TRUE(contains(result.out, "Message: no ion is ignored during cube generation.\n"));
    const std::string text = read_file(dir.path() / "named.cube");
    EXPECT_EQ(line_of(text, 3).substr(0, 4), "  49");
    const CubePtr periodic = read_cube(dir.path() / "named.cube", 0);
    ASSERT_NE(periodic, nullptr);
    EXPECT_EQ(periodic->n[0], 48);
    EXPECT_FALSE(std::filesystem::exists(dir.path() / (cif + ".cube")));
}

// In In-doped CsSnCl3 Sn shares its site with In: the landscape is that of a 5 x 5 x 5 supercell
// with each shared site given to one of them, written as "_assigned.cif" beside the input. The
// Na sites of Na0.8CoO2 are only partly filled and shared with nothing: the cell itself is computed.
TEST(CmdCube, SitesSharedByTheConductingIonTakeAnAssignedSupercell) {
    ScratchDir dir;
    const std::string cif = "CsSnCl3_In_COD4003024.cif";
    dir.copy_in(cif);
    const auto result = run_quorix({"--gen-cube", cif, "Sn", "4", "-1", "1.0"}, dir.path());
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(contains(result.out,
                         "Message: partial occupancy at conducting sites detected. Cube will be generated based on an "
                         "asigned supercell.\n"));
    const auto read = quorix_test::read_cif((dir.path() / "CsSnCl3_In_COD4003024_assigned.cif").string());
    const CellPtr& assigned = read.cell;
    ASSERT_NE(assigned, nullptr);
    long shared = 0;
    for (long i = 0; i < assigned->total; i++) {
        EXPECT_EQ(assigned->atom[i].occ, 1.0);
        shared += std::string(assigned->atom[i].type) == "Sn" || std::string(assigned->atom[i].type) == "In";
    }
    EXPECT_EQ(assigned->total - shared, 125 * 4);  // CsCl3 per cell
    EXPECT_NEAR(shared, 125 * 0.967, 2.0);
    EXPECT_EQ(std::stol(line_of(read_file(dir.path() / (cif + ".cube")), 2)), assigned->total);

    const std::string sodium = "Na0.8CoO2_VESTA.cif";
    dir.copy_in(sodium);
    const auto unit_cell = run_quorix({"--gen-cube", sodium, "Na", "1", "-1", "1.0"}, dir.path());
    EXPECT_FALSE(contains(unit_cell.out, "partial occupancy at conducting sites detected")) << unit_cell.out;
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "Na0.8CoO2_VESTA_assigned.cif"));
}

namespace {

// Two voxels per axis in a 4 A cubic cell with Li at the origin and O at the centre.
const char* const kSmallCube =
    "Li2O\r\n"
    "Conducting = Li1+ ; sf = 0.710000;\r\n"
    "   2    0.000000    0.000000    0.000000\r\n"
    "   2    3.779452    0.000000    0.000000\r\n"
    "   2    0.000000    3.779452    0.000000\r\n"
    "   2    0.000000    0.000000    3.779452\r\n"
    "   3    0.500000    0.000000    0.000000    0.000000\r\n"
    "   8   -1.000000    3.779452    3.779452    3.779452\r\n"
    " 1.0\r\n 2.0\r\n 3.0\r\n 4.0\r\n 5.0\r\n 6.0\r\n 7.0\r\n 8.0\r\n";

std::string write_cosine_cube(const ScratchDir& dir) {
    const std::string path = (dir.path() / "cos.cube").string();
    quorix_test::Capture capture;
    quorix_cube_export_to_file(quorix_test::cosine_landscape().get(), nullptr, nullptr, path.c_str(), 1);
    capture.finish();
    return path;
}


}  // namespace

TEST(FftCli, PrintCubeShowsTheCellAndTheGrid) {
    ScratchDir dir;
    const auto path = dir.write("small.cube", kSmallCube).string();
    const auto periodic = run_quorix({"--print-cube", path});
    EXPECT_EQ(periodic.status, 0);
    EXPECT_EQ(periodic.err, "");
    EXPECT_NE(periodic.out.find("Message: cell information found, attempting to load cell.\n"), std::string::npos);
    EXPECT_NE(periodic.out.find("CELL: name: " + path + "\n"), std::string::npos);
    EXPECT_NE(periodic.out.find("CUBE: cube size = 2 * 2 * 2\nCUBE: cell vector (A):\nCUBE:     4.000000"),
              std::string::npos);
    EXPECT_NE(periodic.out.find("CUBE: votex vector (A):\nCUBE:     2.000000    0.000000    0.000000\n"),
              std::string::npos);
    EXPECT_NE(periodic.out.find("type= O;os=-2;x_f=(0.500,0.500,0.500);occ=1.000"), std::string::npos);

    // Not periodic: the file repeats the boundary, so one voxel per axis remains.
    const auto repeated = run_quorix({"--print-cube", path, "f"});
    EXPECT_NE(repeated.out.find("CUBE: cube size = 1 * 1 * 1\n"), std::string::npos);

    const auto missing = run_quorix({"--print-cube", (dir.path() / "none.cube").string()});
    EXPECT_EQ(missing.status, 0);
    EXPECT_EQ(missing.out, "Error: unable to open " + (dir.path() / "none.cube").string() + ".\n");
    EXPECT_EQ(missing.err, "Error: quorix_cube_import_from_file() returns non-zero.\n");
}

TEST(FftCli, DerivativeCubes) {
    ScratchDir dir;
    const std::string cube = write_cosine_cube(dir);
    const auto result = run_quorix({"--fft-cubes", cube, "t", (dir.path() / "d").string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    for (const char* part : {"f0", "f1", "f2", "k00", "k01", "k02", "k10", "k11", "k12", "k20", "k21", "k22",
                             "laplacian", "slope"})
        EXPECT_TRUE(std::filesystem::exists(dir.path() / ("d.fft." + std::string(part) + ".cube"))) << part;
    // d2E/ds0^2 = (2 pi / 4)^2 cos(2 pi u0), written once per period; the input file's six decimals
    // limit the agreement.
    QUORIX_CUBE* k00 = nullptr;
    quorix_test::Capture capture;
    ASSERT_EQ(quorix_cube_import_from_file(&k00, nullptr, (dir.path() / "d.fft.k00.cube").c_str(), 1, nullptr), 0);
    capture.finish();
    const CubePtr owned(k00);
    const double curvature = std::pow(3.141592653589793 / 2, 2);
    EXPECT_NEAR(k00->en[0][3][5], curvature, 1e-4);
    EXPECT_NEAR(k00->en[4][0][0], -curvature, 1e-4);
    EXPECT_NEAR(k00->a_i[2][2], 0.5, 1e-6);
}

namespace {

// Header-less cube of a chain of two sites along a (minima at i = 0 and 4 of 8), with voxels of
// 0.5 A and a single point along c. Along b each site only meets its own image.
std::string chain_cube() {
    std::ostringstream text;
    text << "noname\r\n\r\n   0    0.000000    0.000000    0.000000\r\n";
    const char* axes[3] = {"   8    0.944863    0.000000    0.000000\r\n", "   8    0.000000    0.944863    0.000000\r\n",
                           "   1    0.000000    0.000000    0.944863\r\n"};
    for (const char* axis : axes) text << axis;
    const double two_pi = 6.283185307179586;
    for (int i = 0; i < 8; i++)
        for (int j = 0; j < 8; j++) {
            const double en = -std::cos(two_pi * 2 * i / 8) - 0.2 * std::cos(two_pi * i / 8) -
                              3.0 * std::cos(two_pi * j / 8);
            char line[64];
            std::snprintf(line, sizeof line, " %12.6f\r\n", en);
            text << line;
        }
    return text.str();
}

// Number of atom-site lines per label in a written CIF.
std::map<std::string, int> markers(const std::string& cif) {
    std::map<std::string, int> count;
    std::istringstream lines(cif);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string label, type;
        if (words >> label >> type && type.back() == '+' && line.rfind("  ", 0) == 0) count[label]++;
    }
    return count;
}

}  // namespace

TEST(FpMap, WritesMinimaSaddlesAndPathsThatTheReaderReadsBack) {
    ScratchDir dir;
    dir.write("chain.cube", chain_cube());
    const auto all = run_quorix({"--fp-map", "chain.cube"}, dir.path());
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.err, "");
    EXPECT_NE(all.out.find("Message: QUORIX_FPCUBE successfully generated containing 8 paths.\n"), std::string::npos);
    const std::string cif = quorix_test::read_file(dir.path() / "chain.cube.fp.cif");
    // Two sites, four saddles (two between the sites, two between a site and its image along b)
    // and every slope point on the eight half-paths.
    EXPECT_EQ(markers(cif), (std::map<std::string, int>{{"MIN", 2}, {"PAT", 16}, {"SAD1", 4}}));

    const auto read = quorix_test::read_cif((dir.path() / "chain.cube.fp.cif").string()).cell;
    ASSERT_TRUE(read);
    EXPECT_EQ(read->total, 22);
    EXPECT_NEAR(read->parameter[0], 4.0, 1e-3);

    // Only the hops of 1.8 eV from the shallower site survive a cap of 2 eV.
    const auto capped = run_quorix({"--fp-map", "chain.cube", "2.0", "t", "capped.cif"}, dir.path());
    EXPECT_EQ(capped.err, "");
    EXPECT_NE(capped.out.find("Message: totally 2 paths with barrier lower than 2.000000.\n"), std::string::npos);
    EXPECT_EQ(markers(quorix_test::read_file(dir.path() / "capped.cif")),
              (std::map<std::string, int>{{"MIN", 2}, {"PAT", 2}, {"SAD1", 4}}));

    const auto missing = run_quorix({"--fp-map", "absent.cube"}, dir.path());
    EXPECT_EQ(missing.status, 0);
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "absent.cube.fp.cif"));
}
