#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "quorix-os.hpp"
#include "test_bv_support.hpp"

using quorix_test::box_cell;
using quorix_test::printed_by;

namespace {

int assign(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, std::string* out = nullptr) {
    int result = 1;
    const std::string printed = printed_by([&] {
        result =
            quorix_os_assign_by_bv(cell, symmetry, quorix_test::unitary_db().c_str(), quorix_test::binary_db().c_str());
    });
    if (out) *out = printed;
    return result;
}

// Oxidation state 99 (unknown) on every atom, as a reader leaves them before defaults.
void forget_states(QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++) cell->atom[i].os = 99;
}

TEST(OxidationStates, RockSaltTakesTheCommonStates) {
    CellPtr cell(quorix_test::rock_salt(5.64));
    forget_states(cell.get());
    SymmetryPtr symmetry(quorix_test::face_centring());
    std::string out;
    ASSERT_EQ(assign(cell.get(), symmetry.get(), &out), 0);
    // Sorted: chlorine first.
    for (long i = 0; i < 8; i++) EXPECT_EQ(cell->atom[i].os, i < 4 ? -1 : 1) << i;
    EXPECT_STREQ(cell->name, "Cl1-:4.000 Na1+:4.000 ");
    EXPECT_EQ(out.substr(0, out.find('\n') + 1),
              "OS: oxidation states by bond valence, one common state per element\n");
    EXPECT_EQ(cell->atom[0].flag, 0);
}

// Cuprite: copper's only common state (2) cannot be neutral with O2-, so the tabulated Cu1+
// is taken.
TEST(OxidationStates, CupriteFallsBackToTabulatedStates) {
    CellPtr cell(box_cell(4.27, 4.27, 4.27,
                          {{"O1", "O", 99, 0, 0, 0},
                           {"O1", "O", 99, 0.5, 0.5, 0.5},
                           {"Cu1", "Cu", 99, 0.25, 0.25, 0.25},
                           {"Cu1", "Cu", 99, 0.75, 0.75, 0.25},
                           {"Cu1", "Cu", 99, 0.75, 0.25, 0.75},
                           {"Cu1", "Cu", 99, 0.25, 0.75, 0.75}}));
    SymmetryPtr p1(quorix_symmetry_new_p1());
    std::string out;
    ASSERT_EQ(assign(cell.get(), p1.get(), &out), 0);
    EXPECT_STREQ(cell->name, "Cu1+:4.000 O2-:2.000 ");
    EXPECT_NE(out.find("one tabulated state per element"), std::string::npos);
}

TEST(OxidationStates, UnknownElementIsRefused) {
    CellPtr cell(box_cell(4, 4, 4, {{"Xx1", "Xx", 99, 0, 0, 0}, {"O1", "O", 99, 0.5, 0.5, 0.5}}));
    SymmetryPtr p1(quorix_symmetry_new_p1());
    testing::internal::CaptureStderr();
    EXPECT_EQ(assign(cell.get(), p1.get()), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: no oxidation state of Xx is tabulated in " + quorix_test::unitary_db() + ".\n");
    EXPECT_EQ(cell->atom[0].os, 99);
}

}  // namespace

namespace {

// Every data line of the per-species database carries the element's common states in
// column 11, read as the state search reads it, the same on every line of a symbol.
TEST(OxidationStates, DatabaseListsCommonStatesPerElement) {
    FILE* file = std::fopen(quorix_test::unitary_db().c_str(), "rb");
    ASSERT_TRUE(file);
    std::map<std::string, std::string> common;
    char line[1024];
    bool in_data = false;
    int lines = 0;
    while (std::fgets(line, sizeof line, file)) {
        if (!in_data) {
            in_data = std::strstr(line, "DATA_START") != nullptr;
            continue;
        }
        if (std::strstr(line, "DATA_END")) break;
        char symbol[1024], usual[1024];
        ASSERT_EQ(std::sscanf(line, "%*d %1023s %*d %*d %*f %*d %*d %*d %*f %*f %1023s", symbol, usual), 2) << line;
        EXPECT_EQ(common.emplace(symbol, usual).first->second, usual) << line;
        lines++;
    }
    std::fclose(file);
    EXPECT_GT(lines, 100);
    EXPECT_EQ(common["Fe"], "2,3,6");
    EXPECT_EQ(common["Se"], "-2,2,4,6");
    EXPECT_EQ(common["Du"], "-");
}

}  // namespace
