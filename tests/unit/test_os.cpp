#include <gtest/gtest.h>

#include <string>

#include "quorix-os.hpp"
#include "test_bv_support.hpp"

namespace {

// An element the per-species database does not know is refused, and the cell keeps its states.
TEST(OxidationStates, UnknownElementIsRefused) {
    CellPtr cell(quorix_test::box_cell(4, 4, 4, {{"Xx1", "Xx", 99, 0, 0, 0}, {"O1", "O", -2, 0.5, 0.5, 0.5}}));
    SymmetryPtr p1(quorix_symmetry_new_p1());
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_os_assign_by_bv(cell.get(), p1.get(), quorix_test::unitary_db().c_str(),
                                     quorix_test::binary_db().c_str()),
              1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: no oxidation state of Xx is tabulated in " + quorix_test::unitary_db() + ".\n");
    EXPECT_EQ(cell->atom[0].os, 99);
    EXPECT_EQ(cell->atom[0].flag, 0);
}

}  // namespace
