#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "support.hpp"
#include "quorix-import-property.hpp"

using quorix_test::read_file;
using quorix_test::ScratchDir;

namespace {

// A 3 x 2 x 4 grid in a monoclinic cell whose values all print exactly with six decimals.
CubePtr sample_cube() {
    const long n[3] = {3, 2, 4};
    const double a[3][3] = {{3.0, 0.0, 0.0}, {0.0, 2.5, 0.0}, {-1.2, 0.0, 4.0}};
    return quorix_test::make_cube(n, a, [](long i, long j, long k) { return 1.5 * i - 0.25 * j + 0.125 * k - 2; });
}

// Li+ (conducting) at (1, 0, 0) and O2- at (0, 0.5, 2) with their atomic numbers and charges.
struct Structure {
    PropertyPtr ppt{quorix_property_new(2)};
    CellPtr cell{quorix_cell_new(2)};
    Structure() {
        const char* types[2] = {"Li", "O"};
        const int os[2] = {1, -2}, an[2] = {3, 8};
        const double q[2] = {0.5, -1.0}, x[2][3] = {{1.0, 0.0, 0.0}, {0.0, 0.5, 2.0}};
        for (int s = 0; s < 2; s++) {
            quorix_copy_bounded(ppt->type[s], types[s], 3);
            quorix_copy_bounded(cell->atom[s].type, types[s], 3);
            ppt->os[s] = cell->atom[s].os = os[s];
            ppt->uni[s].an = an[s];
            ppt->uni[s].q = q[s];
            std::copy(x[s], x[s] + 3, cell->atom[s].x);
        }
        ppt->conducting = 0;
        ppt->sf = 0.71;
        quorix_copy_bounded(cell->name, "Li2O", sizeof(cell->name));
    }
};

struct Imported {
    int status = -1;
    CubePtr cube;
    CellPtr cell;
    std::string out, err;
};

Imported import(const std::filesystem::path& path, int once) {
    QUORIX_CUBE* cube = nullptr;
    QUORIX_CELL* cell = nullptr;
    quorix_test::Capture capture;
    Imported result;
    result.status = quorix_cube_import_from_file(&cube, &cell, path.c_str(), once, quorix_test::unitary_db().c_str());
    result.err = capture.finish().err;
    result.out = capture.finish().out;
    result.cube.reset(cube);
    result.cell.reset(cell);
    return result;
}

std::string export_quietly(const QUORIX_CUBE* cube, Structure* structure, const std::string& path, int once) {
    quorix_test::Capture capture;
    const int status = quorix_cube_export_to_file(cube, structure ? structure->cell.get() : nullptr,
                                                  structure ? structure->ppt.get() : nullptr, path.c_str(), once);
    capture.finish();
    return status == 0 ? read_file(path) : "";
}

void expect_same_grid(const QUORIX_CUBE* read, const QUORIX_CUBE* written) {
    ASSERT_TRUE(read);
    for (int d = 0; d < 3; d++) {
        ASSERT_EQ(read->n[d], written->n[d]);
        for (int c = 0; c < 3; c++) EXPECT_NEAR(read->a[d][c], written->a[d][c], 1e-5);
    }
    for (long i = 0; i < written->n[0]; i++)
        for (long j = 0; j < written->n[1]; j++)
            for (long k = 0; k < written->n[2]; k++) EXPECT_EQ(read->en[i][j][k], written->en[i][j][k]);
}

}  // namespace

TEST(CubeFile, HeaderLayoutAndRoundTripWithAtoms) {
    ScratchDir dir;
    CubePtr cube = sample_cube();
    Structure structure;
    const std::string path = (dir.path() / "Li2O.cube").string();
    const std::string text = export_quietly(cube.get(), &structure, path, 1);
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
    EXPECT_EQ(read.out, "Message: cell information found, attempting to load cell.\nMessage: cube loaded from " +
                            path + " successfully.\n");
    expect_same_grid(read.cube.get(), cube.get());
    ASSERT_EQ(read.cell->total, 2);
    const QUORIX_ATOM& oxygen = read.cell->atom[1];
    EXPECT_STREQ(oxygen.type, "O");
    EXPECT_EQ(oxygen.os, -2);
    EXPECT_EQ(oxygen.value, -1.0);
    EXPECT_NEAR(oxygen.x[2], 2.0, 1e-6);
    EXPECT_NEAR(oxygen.x_f[2], 0.5, 1e-6);  // fractional in the cube's cell
    EXPECT_EQ(std::string(read.cell->name), path);
}

// A negative atom count announces a line of data-set ids after the atoms (orbital cubes): one
// data set is read as usual, several per point are refused with the reason.
TEST(CubeFile, NegativeAtomCountAnnouncesDataSetIds) {
    ScratchDir dir;
    CubePtr cube = sample_cube();
    Structure structure;
    std::string text = export_quietly(cube.get(), &structure, (dir.path() / "plain.cube").string(), 1);
    text.replace(text.find("   2    0.000000"), 4, "  -2");
    const size_t values = text.find("    -2.000000\r\n");
    const Imported one = import(dir.write("one.cube", std::string(text).insert(values, "    1   25\r\n")), 1);
    ASSERT_EQ(one.status, 0) << one.err;
    expect_same_grid(one.cube.get(), cube.get());
    const Imported two = import(dir.write("two.cube", text.insert(values, "    2   25   26\r\n")), 1);
    EXPECT_EQ(two.status, 1);
    EXPECT_EQ(two.err, "Error: cube file " + (dir.path() / "two.cube").string() +
                           " holds 2 data sets per point (orbitals); only a single one can be read.\n");
}

// A value beyond the grid means a header that miscounts its atoms or points, so that every value
// read is misplaced.
TEST(CubeFile, ValuesLeftOverAreRefused) {
    ScratchDir dir;
    const std::string text = export_quietly(sample_cube().get(), nullptr, (dir.path() / "plain.cube").string(), 1);
    const Imported long_file = import(dir.write("long.cube", text + "    -2.000000\r\n"), 1);
    EXPECT_EQ(long_file.err,
              "Error: cube file " + (dir.path() / "long.cube").string() + " holds more than its 24 values.\n");
}

// The values are written as printf's " %12.6f" would write them, including halfway cases,
// negative zeros, tiny negatives, values wider than the field and non-finite ones.
TEST(CubeFile, ValuesAreWrittenAsPrintfWritesThem) {
    const double awkward[] = {0.0,      -0.0,         -1e-9,       0.0000005,  0.0000015,   -0.0000025, 2.5e-7,
                              999.9,    -3.31184499,  1.0 / 3.0,   123456.5e-6, 1e20,       -1e300,     1e-300,
                              INFINITY, -INFINITY,    std::nan(""), -std::nan(""), 0.1 + 0.2, 4503599627370497.0};
    std::vector<double> values(std::begin(awkward), std::end(awkward));
    uint64_t state = 12345;
    while (values.size() < 2000) {  // a spread of magnitudes and signs
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        const double mantissa = static_cast<double>(state >> 11) / 9007199254740992.0;
        values.push_back((state & 1 ? -1 : 1) * mantissa * std::pow(10.0, static_cast<int>(state >> 3 & 15) - 8));
    }
    const long n[3] = {1, 1, static_cast<long>(values.size())};
    const double a[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    CubePtr cube = quorix_test::make_cube(n, a, [](long, long, long) { return 0.0; });
    std::copy(values.begin(), values.end(), cube->en[0][0]);
    std::string expected;
    for (const double value : values) {
        char line[400];
        std::snprintf(line, sizeof line, " %12.6f\r\n", value);
        expected += line;
    }
    ScratchDir dir;
    const std::string text = export_quietly(cube.get(), nullptr, (dir.path() / "values.cube").string(), 1);
    ASSERT_GE(text.size(), expected.size());
    EXPECT_EQ(text.substr(text.size() - expected.size()), expected);
}
