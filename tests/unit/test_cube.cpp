#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "cli.hpp"
#include "quorix-cube.hpp"
#include "quorix-import-property.hpp"

TEST(Cube, RecordIsZeroFilledAndRefusesEmptyGrids) {
    const long n[3] = {2, 3, 4};
    CubePtr cube(quorix_cube_new(n));
    ASSERT_TRUE(cube);
    EXPECT_EQ(cube->en[1][2][3], 0.0);
    EXPECT_EQ(cube->n[2], 4);
    for (const std::array<long, 3>& bad : {std::array<long, 3>{0, 3, 4}, std::array<long, 3>{2, -1, 4}}) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(quorix_cube_new(bad.data()), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: argument must be positive.\n");
    }
}

TEST(Cube, PrintInfo) {
    const long n[3] = {2, 1, 1};
    CubePtr cube(quorix_cube_new(n));
    cube->a[0][0] = 4.0;
    cube->a_i[0][0] = 2.0;
    testing::internal::CaptureStdout();
    quorix_cube_print_info(cube.get());
    quorix_cube_print_info(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "CUBE: cube size = 2 * 1 * 1\n"
              "CUBE: cell vector (A):\n"
              "CUBE:     4.000000    0.000000    0.000000\n"
              "CUBE:     0.000000    0.000000    0.000000\n"
              "CUBE:     0.000000    0.000000    0.000000\n"
              "CUBE: votex vector (A):\n"
              "CUBE:     2.000000    0.000000    0.000000\n"
              "CUBE:     0.000000    0.000000    0.000000\n"
              "CUBE:     0.000000    0.000000    0.000000\n"
              "(not allocated)\n");
}

namespace {

using quorix_test::ScratchDir;

// A 3 x 2 x 4 grid in a monoclinic cell whose values all print exactly with six decimals.
CubePtr sample_cube() {
    const long n[3] = {3, 2, 4};
    CubePtr cube(quorix_cube_new(n));
    const double a[3][3] = {{3.0, 0.0, 0.0}, {0.0, 2.5, 0.0}, {-1.2, 0.0, 4.0}};
    for (int d = 0; d < 3; d++)
        for (int c = 0; c < 3; c++) {
            cube->a[d][c] = a[d][c];
            cube->a_i[d][c] = a[d][c] / n[d];
        }
    for (long i = 0; i < 3; i++)
        for (long j = 0; j < 2; j++)
            for (long k = 0; k < 4; k++) cube->en[i][j][k] = 1.5 * i - 0.25 * j + 0.125 * k - 2.0;
    return cube;
}

// Li+ (conducting) and O2- with their atomic numbers and fractional charges.
PropertyPtr sample_property() {
    PropertyPtr ppt(quorix_property_new(2));
    const char* types[2] = {"Li", "O"};
    const int os[2] = {1, -2}, an[2] = {3, 8};
    const double q[2] = {0.5, -1.0};
    for (int s = 0; s < 2; s++) {
        quorix_copy_bounded(ppt->type[s], types[s], 3);
        ppt->os[s] = os[s];
        ppt->uni[s].an = an[s];
        ppt->uni[s].q = q[s];
    }
    ppt->conducting = 0;
    ppt->sf = 0.71;
    return ppt;
}

CellPtr sample_cell(const QUORIX_CUBE* cube) {
    CellPtr cell(quorix_cell_new(2));
    quorix_copy_bounded(cell->name, "Li2O", sizeof(cell->name));
    std::memcpy(cell->a, cube->a, sizeof(cell->a));
    quorix_copy_bounded(cell->atom[0].type, "Li", 3);
    cell->atom[0].os = 1;
    cell->atom[0].x[0] = 1.0;
    quorix_copy_bounded(cell->atom[1].type, "O", 3);
    cell->atom[1].os = -2;
    cell->atom[1].x[1] = 0.5;
    cell->atom[1].x[2] = 2.0;
    return cell;
}

struct Imported {
    int status = -1;
    CubePtr cube;
    CellPtr cell;
    std::string out, err;
};

Imported import(const std::filesystem::path& path, int once, bool want_cell = true) {
    Imported result;
    QUORIX_CUBE* cube = nullptr;
    QUORIX_CELL* cell = nullptr;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    result.status = quorix_cube_import_from_file(&cube, want_cell ? &cell : nullptr, path.c_str(), once,
                                                 quorix_test::unitary_db().c_str());
    result.err = testing::internal::GetCapturedStderr();
    result.out = testing::internal::GetCapturedStdout();
    result.cube.reset(cube);
    result.cell.reset(cell);
    return result;
}

int export_quietly(const QUORIX_CUBE* cube, QUORIX_CELL* cell, QUORIX_PROPERTY* ppt, const std::string& path,
                   int once) {
    testing::internal::CaptureStdout();
    const int status = quorix_cube_export_to_file(cube, cell, ppt, path.c_str(), once);
    testing::internal::GetCapturedStdout();
    return status;
}

void expect_same_grid(const QUORIX_CUBE* read, const QUORIX_CUBE* written) {
    ASSERT_TRUE(read);
    for (int d = 0; d < 3; d++) {
        ASSERT_EQ(read->n[d], written->n[d]);
        for (int c = 0; c < 3; c++) {
            EXPECT_NEAR(read->a_i[d][c], written->a_i[d][c], 1e-6);
            EXPECT_NEAR(read->a[d][c], written->a[d][c], 1e-5);
        }
    }
    for (long i = 0; i < written->n[0]; i++)
        for (long j = 0; j < written->n[1]; j++)
            for (long k = 0; k < written->n[2]; k++) EXPECT_EQ(read->en[i][j][k], written->en[i][j][k]);
}

}  // namespace

TEST(CubeFile, HeaderLayoutAndRoundTripWithAtoms) {
    ScratchDir dir;
    CubePtr cube = sample_cube();
    PropertyPtr ppt = sample_property();
    CellPtr cell = sample_cell(cube.get());
    const std::string path = (dir.path() / "Li2O.cube").string();
    testing::internal::CaptureStdout();
    ASSERT_EQ(quorix_cube_export_to_file(cube.get(), cell.get(), ppt.get(), path.c_str(), 1), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Message: cube file is generated with header.\nMessage: cube file saved to " + path + ".\n");
    const std::string text = quorix_test::read_file(path);
    const std::string head =
        "Li2O\r\n"
        "Conducting = Li1+ ; sf = 0.710000;\r\n"
        "   2    0.000000    0.000000    0.000000\r\n"
        "   3    1.889726    0.000000    0.000000\r\n"
        "   2    0.000000    2.362157    0.000000\r\n"
        "   4   -0.566918    0.000000    1.889726\r\n"
        "   3    0.500000    1.889726    0.000000    0.000000\r\n"
        "   8   -1.000000    0.000000    0.944863    3.779452\r\n"
        "    -2.000000\r\n"
        "    -1.875000\r\n";
    EXPECT_EQ(text.substr(0, head.size()), head);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 8 + 24);

    const Imported read = import(path, 1);
    ASSERT_EQ(read.status, 0) << read.err;
    EXPECT_EQ(read.err, "");
    EXPECT_EQ(read.out, "Message: cell information found, attempting to load cell.\nMessage: cube loaded from " +
                            path + " successfully.\n");
    expect_same_grid(read.cube.get(), cube.get());
    ASSERT_TRUE(read.cell);
    ASSERT_EQ(read.cell->total, 2);
    EXPECT_STREQ(read.cell->atom[1].type, "O");
    EXPECT_EQ(read.cell->atom[1].os, -2);
    EXPECT_EQ(read.cell->atom[1].value, -1.0);
    EXPECT_NEAR(read.cell->atom[1].x[2], 2.0, 1e-6);
    EXPECT_NEAR(read.cell->atom[1].x_f[2], 0.5, 1e-6);  // fractional from the cube's cell
    EXPECT_EQ(std::string(read.cell->name), path.substr(0, 127));
}

// With once 0 the boundary planes are written twice; reading with once 0 drops them again.
TEST(CubeFile, RepeatedBoundaryRoundTripWithoutHeader) {
    ScratchDir dir;
    CubePtr cube = sample_cube();
    const std::string path = (dir.path() / "plain.cube").string();
    ASSERT_EQ(export_quietly(cube.get(), nullptr, nullptr, path, 0), 0);
    const std::string text = quorix_test::read_file(path);
    EXPECT_EQ(text.rfind("noname\r\n\r\n   0    0.000000    0.000000    0.000000\r\n   4    1.889726", 0), 0u);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6 + 4 * 3 * 5);

    const Imported same = import(path, 0);
    ASSERT_EQ(same.status, 0) << same.err;
    EXPECT_FALSE(same.cell);  // no atoms, so no cell even when one is asked for
    EXPECT_EQ(same.out.rfind("Message: cell information not read.\n", 0), 0u);
    expect_same_grid(same.cube.get(), cube.get());

    const Imported larger = import(path, 1);
    ASSERT_EQ(larger.status, 0);
    EXPECT_EQ(larger.cube->n[0], 4);
    EXPECT_EQ(larger.cube->en[3][2][4], cube->en[0][0][0]);
    EXPECT_EQ(larger.cube->en[1][2][3], cube->en[1][0][3]);
    EXPECT_NEAR(larger.cube->a[0][0], 4.0, 1e-6);
}

// Damaged files: one clear error and no cube, never values computed from zeros.
TEST(CubeFile, RefusesDamagedFiles) {
    ScratchDir dir;
    CubePtr cube = sample_cube();
    const std::string good_path = (dir.path() / "good.cube").string();
    ASSERT_EQ(export_quietly(cube.get(), nullptr, nullptr, good_path, 1), 0);
    const std::string good = quorix_test::read_file(good_path);
    const size_t values_start = good.find("    -2.000000");

    std::string nan_value = good;
    nan_value.replace(good.find("    -1.875000"), 13, "          nan");
    std::string counts = good;
    counts.replace(good.find("   2    0.000000    2.36"), 4, "  xy");
    std::string zero = good;
    zero.replace(good.find("   2    0.000000    2.36"), 4, "   0");
    const std::vector<std::pair<std::string, std::string>> damaged = {
        {"truncated", good.substr(0, good.size() - 40)},
        {"header only", good.substr(0, values_start)},
        {"nan", nan_value},
        {"non-numeric counts", counts},
        {"zero points", zero},
        {"empty", ""},
        {"one line", "noname\r\n"},
    };
    for (const auto& [name, content] : damaged) {
        const Imported read = import(dir.write("bad.cube", content), 1);
        EXPECT_EQ(read.status, 1) << name;
        EXPECT_FALSE(read.cube) << name;
        EXPECT_EQ(read.err.rfind("Error: ", 0), 0u) << name << ": " << read.err;
    }
    const Imported single = import(dir.write("single.cube", "\n\n0 0 0 0\n1 1 0 0\n1 0 1 0\n1 0 0 1\n 5.0\n"), 0);
    EXPECT_EQ(single.status, 1);
    const Imported missing = import(dir.path() / "missing.cube", 1);
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "Error: unable to open " + (dir.path() / "missing.cube").string() + ".\n");
}

TEST(CubeFile, ExportRefusesUnknownSpecies) {
    ScratchDir dir;
    CubePtr cube = sample_cube();
    PropertyPtr ppt = sample_property();
    CellPtr cell = sample_cell(cube.get());
    quorix_copy_bounded(cell->atom[1].type, "S", 3);
    testing::internal::CaptureStderr();
    EXPECT_EQ(export_quietly(cube.get(), cell.get(), ppt.get(), (dir.path() / "x.cube").string(), 1), 1);
    EXPECT_EQ(export_quietly(nullptr, nullptr, nullptr, (dir.path() / "y.cube").string(), 1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: quorix_property_find_index() returns negative value.\n"
              "Error: QUORIX_CUBE has not been properly initialized.\n");
}

// An independent reader sees the same voxel vectors and values.
TEST(CubeFile, ReadableByAnIndependentReader) {
    if (std::system("/usr/bin/python3 -c 'import ase.io.cube' >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "python3-ase is not installed";
    ScratchDir dir;
    CubePtr cube = sample_cube();
    PropertyPtr ppt = sample_property();
    CellPtr cell = sample_cell(cube.get());
    const std::string path = (dir.path() / "ase.cube").string();
    ASSERT_EQ(export_quietly(cube.get(), cell.get(), ppt.get(), path, 1), 0);
    const std::string script = dir.write("read.py",
                                         "import sys\n"
                                         "from ase.io.cube import read_cube_data\n"
                                         "data, atoms = read_cube_data(sys.argv[1])\n"
                                         "print(*data.shape)\n"
                                         "for row in atoms.cell: print(*('%.9f' % v for v in row))\n"
                                         "print(*atoms.numbers)\n"
                                         "print(*('%.6f' % v for v in data.ravel()))\n")
                                   .string();
    const std::string output = (dir.path() / "out.txt").string();
    ASSERT_EQ(std::system(("/usr/bin/python3 " + script + " " + path + " > " + output).c_str()), 0);
    std::istringstream in(quorix_test::read_file(output));
    long shape[3];
    in >> shape[0] >> shape[1] >> shape[2];
    EXPECT_EQ(shape[0], 3);
    EXPECT_EQ(shape[1], 2);
    EXPECT_EQ(shape[2], 4);
    for (int d = 0; d < 3; d++)
        for (int c = 0; c < 3; c++) {
            double value;
            in >> value;
            EXPECT_NEAR(value, cube->a[d][c], 2e-6);  // the two Bohr factors differ in the seventh digit
        }
    int an[2];
    in >> an[0] >> an[1];
    EXPECT_EQ(an[0], 3);
    EXPECT_EQ(an[1], 8);
    for (long i = 0; i < 3; i++)
        for (long j = 0; j < 2; j++)
            for (long k = 0; k < 4; k++) {
                double value;
                in >> value;
                EXPECT_EQ(value, cube->en[i][j][k]);
            }
}
