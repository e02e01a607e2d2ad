#include <gtest/gtest.h>

#include <string>

#include "quorix-import-property.hpp"
#include "test_property_support.hpp"

namespace {

// Small parameter files written for the test, so the expectations do not follow the shipped databases.
class ParameterFiles : public quorix_test::TempFiles {
protected:
    // A header line that looks like data must be skipped, the first of two lines wins, and
    // nothing after DATA_END is read.
    std::string unitary() {
        return write("unitary.dat",
                     "3 Li 1 1 1.0 9 9 9 9.0 9.0\n"
                     "DATA_START\n"
                     "3 Li 1 1 6.941 1 1 1 1.31 0.02847\n"
                     "3 Li 1 1 7.000 2 2 2 2.00 2.00000\n"
                     "8 O -2 -2 15.9994 2 6 1 1.33 0.14752\n"
                     "17 Cl -1 -1 35.4527 3 7 1 1.74 0.21389\n"
                     "26 Fe 3 3 55.845 4 8 2 0.93 0.15\n"
                     "26 Fe 2 3 55.845 4 8 2 0.93 0.14\n"
                     "DATA_END\n"
                     "9 F -1 -1 18.9984 2 7 1 1.26 0.14262\n");
    }
    std::string binary() {
        return write("binary.dat",
                     "DATA_START\n"
                     "Li 1 O -2 1.17226 0.514 4.0 5.5\n"
                     "Li 1 O -2 9.0 9.0 9.0 9.0\n"
                     "Li 1 F -1 1.11 0.5 6.0 5.0\n"
                     "Fe 3 O -2 1.7 0.4 6.0 6.0\n"
                     "Fe 3 Cl -1 2.0 0.3 0.0 0.0\n"
                     "DATA_END\n");
    }
};

QUORIX_PROPERTY* make_set(std::initializer_list<std::pair<const char*, int>> species) {
    QUORIX_PROPERTY* ppt = quorix_property_new(0);
    for (const auto& [type, os] : species) quorix_property_append_index(ppt, type, os);
    return ppt;
}

// A Li2O set that passes validation.
QUORIX_PROPERTY* valid_li2o_set() {
    QUORIX_PROPERTY* ppt = make_set({{"Li", 1}, {"O", -2}});
    ppt->uni[0] = {"Li", 1, 0.02847, 1.31, 6.941, 3, 1, 1, 1, 1, 0.5};
    ppt->uni[1] = {"O", -2, 0.14752, 1.33, 15.9994, 8, 2, 6, 1, 1, -1.0};
    QUORIX_PROPERTY_BINARY& pair = ppt->bin[0][1];
    pair.cutoff = 5.5;
    pair.cn = 4;
    pair.d0 = 2.0 / 14.39964;
    pair.rmin = 1.95;
    pair.b = 0.514;
    pair.r0 = 1.17226;
    ppt->sf = 0.75;
    return ppt;
}

}  // namespace

TEST(PropertyRecords, NewCopyFindAndAppend) {
    PropertyPtr empty(quorix_property_new(0));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->total, 0);
    EXPECT_EQ(empty->type, nullptr);
    EXPECT_EQ(empty->bin, nullptr);
    EXPECT_EQ(empty->conducting, -1);

    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_property_new(-1), nullptr);
    EXPECT_EQ(quorix_property_copy(empty.get()), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: number of counts must not be negative.\n"
              "Error: QUORIX_PROPERTY has not been properly initialized.\n");

    PropertyPtr ppt(make_set({{"Li", 1}, {"O", -2}}));
    ASSERT_EQ(quorix_property_append_index(ppt.get(), "O", -2), 0);  // present: nothing changes
    ASSERT_EQ(ppt->total, 2);
    ppt->uni[1].q = -1.5;
    ppt->bin[0][1].r0 = 1.2;
    ppt->sf = 0.7;
    ppt->conducting = 0;

    PropertyPtr copy(quorix_property_copy(ppt.get()));
    ASSERT_TRUE(copy);
    ppt->bin[0][1].r0 = 0;
    EXPECT_DOUBLE_EQ(copy->bin[0][1].r0, 1.2);
    EXPECT_DOUBLE_EQ(copy->uni[1].q, -1.5);
    EXPECT_DOUBLE_EQ(copy->sf, 0.7);
    EXPECT_EQ(copy->conducting, 0);
    EXPECT_STREQ(copy->bin[1][0].type1, "O");
    EXPECT_EQ(copy->bin[1][0].os2, 1);

    // Appending a new species discards the tables and keeps the keys consistent.
    ASSERT_EQ(quorix_property_append_index(ppt.get(), "Na", 1), 0);
    ASSERT_EQ(ppt->total, 3);
    EXPECT_DOUBLE_EQ(ppt->uni[1].q, 0);
    EXPECT_STREQ(ppt->uni[2].type, "Na");
    EXPECT_STREQ(ppt->bin[2][1].type1, "Na");
    EXPECT_STREQ(ppt->bin[2][1].type2, "O");
    EXPECT_EQ(ppt->bin[2][1].os2, -2);

    EXPECT_EQ(quorix_property_find_index(ppt.get(), "O", -2), 1);
    EXPECT_EQ(quorix_property_find_index(ppt.get(), "O", 2), -1);
    EXPECT_EQ(quorix_property_find_index(ppt.get(), "Na", 1), 2);
    EXPECT_EQ(quorix_property_find_index(nullptr, "O", -2), -1);
}

TEST_F(ParameterFiles, ReadersTakeTheFirstDataLineInsideTheFrame) {
    const std::string path_u = unitary(), path_b = binary();
    QUORIX_PROPERTY_UNITARY li{};
    ASSERT_EQ(quorix_property_unitary_read_from_file(&li, "Li", 1, path_u.c_str()), 0);
    EXPECT_EQ(li.an, 3);
    EXPECT_DOUBLE_EQ(li.m, 6.941);
    EXPECT_EQ(li.n, 1);
    EXPECT_EQ(li.b, 1);
    EXPECT_DOUBLE_EQ(li.rc, 1.31);
    EXPECT_DOUBLE_EQ(li.soft, 0.02847);

    QUORIX_PROPERTY_UNITARY record{};
    record.soft = 5;  // stale values do not survive a miss
    ASSERT_EQ(quorix_property_unitary_read_from_file(&record, "F", -1, path_u.c_str()), 0);
    EXPECT_STREQ(record.type, "F");
    EXPECT_EQ(record.os, -1);
    EXPECT_EQ(record.an, 0);
    EXPECT_DOUBLE_EQ(record.soft, 0);

    QUORIX_PROPERTY_BINARY pair{};
    ASSERT_EQ(quorix_property_binary_read_from_file(&pair, "Li", 1, "O", -2, path_b.c_str()), 0);
    EXPECT_DOUBLE_EQ(pair.r0, 1.17226);
    EXPECT_DOUBLE_EQ(pair.b_old, 0.514);
    EXPECT_DOUBLE_EQ(pair.b, 0.514);
    EXPECT_DOUBLE_EQ(pair.cn, 4.0);
    EXPECT_DOUBLE_EQ(pair.cutoff, 5.5);

    // The file lists (Li, O) cation first only: the anion-first record stays zero.
    ASSERT_EQ(quorix_property_binary_read_from_file(&pair, "O", -2, "Li", 1, path_b.c_str()), 0);
    EXPECT_DOUBLE_EQ(pair.r0, 0);
    EXPECT_STREQ(pair.type1, "O");

    const std::string frameless = write("frameless.dat", "3 Li 1 1 6.941 1 1 1 1.31 0.02847\n");
    ASSERT_EQ(quorix_property_unitary_read_from_file(&record, "Li", 1, frameless.c_str()), 0);
    EXPECT_DOUBLE_EQ(record.m, 0);

    const std::string short_line = write("short.dat", "DATA_START\nLi 1 O -2 1.17 0.51\n");
    const std::string missing = testing::TempDir() + "/quorix-ppt-missing.dat";
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_property_binary_read_from_file(&pair, "Li", 1, "O", -2, short_line.c_str()), 1);
    EXPECT_EQ(quorix_property_unitary_read_from_file(&record, "Li", 1, missing.c_str()), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: unable to process line Li 1 O -2 1.17 0.51.\n"
              "Error: unable to open " + missing + "\n");
}

TEST_F(ParameterFiles, MissingHalidePairsBorrowCnAndCutoffOnly) {
    const std::string path_b = binary();
    QUORIX_PROPERTY_BINARY pair{};
    quorix_property_binary_read_from_file(&pair, "Li", 1, "Cl", -1, path_b.c_str());
    ASSERT_EQ(quorix_property_binary_estimate_from_file(&pair, path_b.c_str()), 0);
    EXPECT_DOUBLE_EQ(pair.cn, 0.3984 * 6.0 + 3.4568);
    EXPECT_DOUBLE_EQ(pair.cutoff, 5.0);
    EXPECT_DOUBLE_EQ(pair.r0, 0);
    EXPECT_DOUBLE_EQ(pair.b, 0);

    // Found with cn 0: still estimated, from the same cation's oxide pair for a sulfide.
    quorix_property_binary_read_from_file(&pair, "Fe", 3, "Cl", -1, path_b.c_str());
    quorix_property_binary_estimate_from_file(&pair, path_b.c_str());
    EXPECT_DOUBLE_EQ(pair.r0, 2.0);
    EXPECT_DOUBLE_EQ(pair.cutoff, 0);  // no Fe-F pair to borrow from
    quorix_property_binary_read_from_file(&pair, "Fe", 3, "S", -2, path_b.c_str());
    quorix_property_binary_estimate_from_file(&pair, path_b.c_str());
    EXPECT_DOUBLE_EQ(pair.cn, 0.7414 * 6.0 + 0.9597);
    EXPECT_DOUBLE_EQ(pair.cutoff, 6.0);

    // Pairs that are found, or are not cation-anion, are left alone.
    quorix_property_binary_read_from_file(&pair, "Li", 1, "O", -2, path_b.c_str());
    quorix_property_binary_estimate_from_file(&pair, path_b.c_str());
    EXPECT_DOUBLE_EQ(pair.cn, 4.0);
    quorix_property_binary_read_from_file(&pair, "Cl", -1, "Cl", -1, path_b.c_str());
    quorix_property_binary_estimate_from_file(&pair, path_b.c_str());
    EXPECT_DOUBLE_EQ(pair.cn, 0);
}

TEST(PropertyValidation, ReportsTheFirstFailingTestOfTheFirstFailingRecord) {
    PropertyPtr ppt(valid_li2o_set());
    QUORIX_PROPERTY_BINARY& pair = ppt->bin[0][1];
    EXPECT_EQ(quorix_property_validate_generic(ppt.get()), 0);

    auto message_of = [&]() {
        testing::internal::CaptureStderr();
        EXPECT_EQ(quorix_property_validate_generic(ppt.get()), 1);
        return testing::internal::GetCapturedStderr();
    };
    pair.rmin = 0;
    pair.d0 = -1;
    EXPECT_EQ(message_of(), "Error: incorrect d0 at [0](Li1+)-(O2-) d0=-1.000000\n");
    ppt->uni[1].m = 0;
    EXPECT_EQ(message_of(), "Error: incorrect m at[1](O2-) m=0.000000\n");
    ppt->uni[1].q = 1.6;  // wrong sign for an anion
    EXPECT_EQ(message_of(), "Error: incorrect q at [1](O2-) q=1.600000\n");
}

TEST_F(ParameterFiles, AtomicNumberLookupAndHardness) {
    const std::string path_u = unitary();
    QUORIX_ATOM atom{};
    ASSERT_EQ(quorix_property_type_from_atomic_number(26, &atom, path_u.c_str()), 0);
    EXPECT_STREQ(atom.type, "Fe");
    EXPECT_EQ(atom.os, 3);  // column 4 of the first Fe line
    ASSERT_EQ(quorix_property_type_from_atomic_number(8, &atom, path_u.c_str()), 0);
    EXPECT_STREQ(atom.type, "O");
    EXPECT_EQ(atom.os, -2);

    const std::string gap = write("gap.dat", "DATA_START\n3 Li 1 1 6.9\n\n8 O -2 -2 16.0\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_property_type_from_atomic_number(9, &atom, path_u.c_str()), 1);
    EXPECT_EQ(quorix_property_type_from_atomic_number(8, &atom, gap.c_str()), 1);
    EXPECT_EQ(quorix_property_type_from_atomic_number(8, nullptr, path_u.c_str()), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: unable to find element with atomic number 9 from " + path_u + ".\n"
              "Error: unable to process line .\n"
              "Error: QUORIX_ATOM has not been initialized properly.\n");

    const std::string hardness = write("hardness.dat",
                                       "DATA_START\n"
                                       "Li 1.0 2.0 3.0\n"
                                       "Na 4.0\n"
                                       "Li 5.0 6.0\n");
    EXPECT_DOUBLE_EQ(quorix_property_hardness_read_from_file("Li", 1, hardness.c_str()), 6.0);  // last line wins
    EXPECT_DOUBLE_EQ(quorix_property_hardness_read_from_file("Li", 2, hardness.c_str()), 0.0);  // beyond its values
    EXPECT_DOUBLE_EQ(quorix_property_hardness_read_from_file("Na", 0, hardness.c_str()), 4.0);
    EXPECT_DOUBLE_EQ(quorix_property_hardness_read_from_file("Na", -1, hardness.c_str()), 0.0);
    testing::internal::CaptureStdout();
    EXPECT_DOUBLE_EQ(quorix_property_hardness_read_from_file("Na", 0, "/nonexistent/h.dat"), 0.0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Warning: unable to open /nonexistent/h.dat\n");
}

TEST(PropertyPrint, TableLayoutListsOnlyPairsWithACutoff) {
    PropertyPtr ppt(valid_li2o_set());
    testing::internal::CaptureStdout();
    quorix_property_print_format(ppt.get());
    quorix_property_print_format(nullptr);
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
              "PPT: screening factor = 0.750000\n"
              "PPT: (not allocated)\n");

    ppt->conducting = 0;
    testing::internal::CaptureStdout();
    quorix_property_print(ppt.get());
    const std::string full = testing::internal::GetCapturedStdout();
    EXPECT_NE(full.find("Li(1):soft=0.028;rc=1.310;m=  6.94;an=3;n=1;g=1;b=1;c=1;q= 0.500\n"), std::string::npos);
    EXPECT_NE(full.find("Li(1)O(-2):b=0.514;b_old=0.000;r0=1.172;cutoff=5.5;cn=4.00;d0= 0.139,rmin=1.950;"),
              std::string::npos);
    EXPECT_NE(full.find("PPT: conducting species = Li(1)\nPPT: screening factor=0.750000\n"), std::string::npos);
}
