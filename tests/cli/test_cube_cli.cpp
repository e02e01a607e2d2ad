// --gen-cube end to end: the cube file beside the input and what it holds, the optional
// arguments, and the assigned supercell of a conducting species that shares its sites.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
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
    EXPECT_TRUE(contains(result.out,
                         "Message: ignoring all Li1+ ions during cube generation.\n"
                         "Message: cube has been generated successfully.\n"
                         "Message: cube file is generated with header.\n"
                         "Message: cube file saved to " +
                             cif + ".cube.\n"))
        << result.out;

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

    const auto read = quorix_test::read_cif((dir.path() / "Na0.8CoO2_VESTA_assigned.cif").string());
    const CellPtr& assigned = read.cell;
    ASSERT_NE(assigned, nullptr);
    long shared = 0;
    for (long i = 0; i < assigned->total; i++) {
        EXPECT_EQ(assigned->atom[i].occ, 1.0);
        shared += std::string(assigned->atom[i].type) == "Sn" || std::string(assigned->atom[i].type) == "In";
    }
    EXPECT_EQ(assigned->total - shared, 125 * 4);  // CsCl3 per cell
    EXPECT_NEAR(shared, 125 * 0.967, 2.0);
    const std::string text = read_file(dir.path() / (cif + ".cube"));
    EXPECT_EQ(std::stol(line_of(text, 2)), assigned->total);

    const std::string sodium = "Na0.8CoO2_VESTA.cif";
    dir.copy_in(sodium);
    const auto unit_cell = run_quorix({"--gen-cube", sodium, "Na", "1", "-1", "1.0"}, dir.path());
    EXPECT_FALSE(contains(unit_cell.out, "partial occupancy at conducting sites detected")) << unit_cell.out;
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "Na0.8CoO2_VESTA_assigned.cif"));
}
