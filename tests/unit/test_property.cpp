#include <gtest/gtest.h>

#include <string>

#include "quorix-import-property.hpp"
#include "test_property_support.hpp"

namespace {

// A header line that looks like data is skipped, the first of two lines wins, nothing after
// DATA_END is read, and (Li, O) is listed cation first only.
class ParameterFiles : public quorix_test::TempFiles {
protected:
    void SetUp() override {
        unitary_ = write("unitary.dat",
                         "3 Li 1 1 1.0 9 9 9 9.0 9.0\n"
                         "DATA_START\n"
                         "3 Li 1 1 6.941 1 1 1 1.31 0.02847\n"
                         "3 Li 1 1 7.000 2 2 2 2.00 2.00000\n"
                         "26 Fe 3 3 55.845 4 8 2 0.93 0.15\n"
                         "26 Fe 2 3 55.845 4 8 2 0.93 0.14\n"
                         "DATA_END\n"
                         "9 F -1 -1 18.9984 2 7 1 1.26 0.14262\n");
        binary_ = write("binary.dat",
                        "DATA_START\n"
                        "Li 1 O -2 1.17226 0.514 4.0 5.5\n"
                        "Li 1 O -2 9.0 9.0 9.0 9.0\n"
                        "Li 1 F -1 1.11 0.5 6.0 5.0\n"
                        "Fe 3 O -2 1.7 0.4 6.0 6.0\n"
                        "DATA_END\n");
    }
    std::string unitary_, binary_;
};

// A Li2O set that passes validation.
QUORIX_PROPERTY* valid_li2o_set() {
    QUORIX_PROPERTY* ppt = quorix_property_new(0);
    quorix_property_append_index(ppt, "Li", 1);
    quorix_property_append_index(ppt, "O", -2);
    ppt->uni[0] = {"Li", 1, 0.02847, 1.31, 6.941, 3, 1, 1, 1, 1, 0.5};
    ppt->uni[1] = {"O", -2, 0.14752, 1.33, 15.9994, 8, 2, 6, 1, 1, -1.0};
    QUORIX_PROPERTY_BINARY& p = ppt->bin[0][1];
    p.b = 0.514, p.r0 = 1.17226, p.cutoff = 5.5, p.cn = 4, p.d0 = 2.0 / 14.39964, p.rmin = 1.95;
    ppt->sf = 0.75;
    return ppt;
}

}  // namespace

TEST_F(ParameterFiles, ReadersTakeTheFirstDataLineInsideTheFrame) {
    QUORIX_PROPERTY_UNITARY record{};
    ASSERT_EQ(quorix_property_unitary_read_from_file(&record, "Li", 1, unitary_.c_str()), 0);
    EXPECT_EQ(record.an, 3);
    EXPECT_DOUBLE_EQ(record.m, 6.941);
    EXPECT_DOUBLE_EQ(record.soft, 0.02847);
    ASSERT_EQ(quorix_property_unitary_read_from_file(&record, "F", -1, unitary_.c_str()), 0);
    EXPECT_DOUBLE_EQ(record.soft, 0);  // not listed: nothing stale survives

    QUORIX_PROPERTY_BINARY pair{};
    ASSERT_EQ(quorix_property_binary_read_from_file(&pair, "Li", 1, "O", -2, binary_.c_str()), 0);
    EXPECT_DOUBLE_EQ(pair.r0, 1.17226);
    EXPECT_DOUBLE_EQ(pair.b, 0.514);
    EXPECT_DOUBLE_EQ(pair.cutoff, 5.5);
    ASSERT_EQ(quorix_property_binary_read_from_file(&pair, "O", -2, "Li", 1, binary_.c_str()), 0);
    EXPECT_DOUBLE_EQ(pair.r0, 0);

    const std::string short_line = write("short.dat", "DATA_START\nLi 1 O -2 1.17 0.51\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_property_binary_read_from_file(&pair, "Li", 1, "O", -2, short_line.c_str()), 1);
    EXPECT_EQ(quorix_property_unitary_read_from_file(&record, "Li", 1, "/nonexistent.dat"), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: unable to process line Li 1 O -2 1.17 0.51.\nError: unable to open /nonexistent.dat\n");
}

TEST_F(ParameterFiles, MissingHalideAndSulfidePairsBorrowCnAndCutoffOnly) {
    QUORIX_PROPERTY_BINARY pair{};
    quorix_property_binary_read_from_file(&pair, "Li", 1, "Cl", -1, binary_.c_str());
    quorix_property_binary_estimate_from_file(&pair, binary_.c_str());
    EXPECT_DOUBLE_EQ(pair.cn, 0.3984 * 6.0 + 3.4568);
    EXPECT_DOUBLE_EQ(pair.cutoff, 5.0);
    EXPECT_DOUBLE_EQ(pair.r0, 0);
    quorix_property_binary_read_from_file(&pair, "Fe", 3, "S", -2, binary_.c_str());
    quorix_property_binary_estimate_from_file(&pair, binary_.c_str());
    EXPECT_DOUBLE_EQ(pair.cn, 0.7414 * 6.0 + 0.9597);
    quorix_property_binary_read_from_file(&pair, "Li", 1, "O", -2, binary_.c_str());
    quorix_property_binary_estimate_from_file(&pair, binary_.c_str());
    EXPECT_DOUBLE_EQ(pair.cn, 4.0);  // found pairs are left alone
}

TEST_F(ParameterFiles, AtomicNumberLookupTakesTheFirstLine) {
    QUORIX_ATOM atom{};
    ASSERT_EQ(quorix_property_type_from_atomic_number(26, &atom, unitary_.c_str()), 0);
    EXPECT_STREQ(atom.type, "Fe");
    EXPECT_EQ(atom.os, 3);
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_property_type_from_atomic_number(9, &atom, unitary_.c_str()), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: unable to find element with atomic number 9 from " + unitary_ + ".\n");
}

TEST(PropertyValidation, ReportsTheFirstFailingTestOfTheFirstFailingRecord) {
    PropertyPtr ppt(valid_li2o_set());
    EXPECT_EQ(quorix_property_validate_generic(ppt.get()), 0);
    auto message_of = [&]() {
        testing::internal::CaptureStderr();
        EXPECT_EQ(quorix_property_validate_generic(ppt.get()), 1);
        return testing::internal::GetCapturedStderr();
    };
    ppt->bin[0][1].rmin = 0;
    ppt->bin[0][1].d0 = -1;
    EXPECT_EQ(message_of(), "Error: incorrect d0 at [0](Li1+)-(O2-) d0=-1.000000\n");
    ppt->uni[1].m = 0;
    EXPECT_EQ(message_of(), "Error: incorrect m at[1](O2-) m=0.000000\n");
    ppt->uni[1].q = 1.6;
    EXPECT_EQ(message_of(), "Error: incorrect q at [1](O2-) q=1.600000\n");
}

TEST(PropertyPrint, TableLayoutListsOnlyPairsWithACutoff) {
    PropertyPtr ppt(valid_li2o_set());
    testing::internal::CaptureStdout();
    quorix_property_print_format(ppt.get());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "PPT: total number of PROPERTY_UNITARY: 2\n"
              "PPT:============================================\n"
              "PPT: | type | an | softness |   rc |         q |\n"
              "PPT:--------------------------------------------\n"
              "PPT: | Li1+ |  3 | 0.028470 | 1.31 |  0.500000 |\n"
              "PPT: |  O2- |  8 | 0.147520 | 1.33 | -1.000000 |\n"
              "PPT:--------------------------------------------\n"
              "PPT: total number of PROPERTY_BINARY: 4\n"
              "PPT:========================================================================\n"
              "PPT: | cation |  anion |      D_0 |    R_min |     b |      R_0 | R_cutoff |\n"
              "PPT:------------------------------------------------------------------------\n"
              "PPT: |   Li1+ |    O2- | 1.000000 | 1.950000 | 0.514 | 1.172260 | 5.500000 |\n"
              "PPT:========================================================================\n"
              "PPT: screening factor = 0.750000\n");
}
