#include <gtest/gtest.h>

#include <cstring>

#include "cli.hpp"
#include "quorix-alloc.hpp"

TEST(Text, GrowsInWholeBlocksAndSplitsRows) {
    TextPtr text(quorix_text_new(nullptr));
    ASSERT_TRUE(text);
    std::string s1023(1023, 'a');
    ASSERT_EQ(quorix_text_append(text.get(), s1023.c_str()), 0);
    EXPECT_EQ(text->allocated, 1024);
    ASSERT_EQ(quorix_text_append(text.get(), "b"), 0);
    EXPECT_EQ(text->allocated, 2048);
    EXPECT_EQ(text->length, 1024);
    EXPECT_EQ(quorix_text_append(text.get(), nullptr), 0);
    EXPECT_EQ(text->length, 1024);
    ASSERT_EQ(quorix_text_dump(text.get()), 0);
    EXPECT_EQ(text->allocated, 1024);
    EXPECT_EQ(text->length, 0);

    TextPtr rows_text(quorix_text_new("a\nb\n"));
    char** rows = nullptr;
    long count = 0;
    testing::internal::CaptureStdout();
    ASSERT_EQ(quorix_text_segregate_into_rows(&rows, &count, rows_text.get(), '\n'), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Message: total lines in the cif: 3\n");
    ASSERT_EQ(count, 3);
    EXPECT_STREQ(rows[0], "a");
    EXPECT_STREQ(rows[1], "b");
    EXPECT_STREQ(rows[2], "");
    quorix_array_char_2D_free(rows, static_cast<int>(count));
}

TEST(Text, FileReadSizesAndEmptyFileFails) {
    quorix_test::ScratchDir dir;
    const std::string path = dir.write("text-1023", std::string(1023, 'x')).string();
    TextPtr text(quorix_text_import_from_file(path.c_str()));
    ASSERT_TRUE(text);
    EXPECT_EQ(text->allocated, 2048);
    EXPECT_EQ(text->length, 1023);

    FILE* f = std::fopen(path.c_str(), "wb");
    std::fclose(f);
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_text_import_from_file(path.c_str()), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: failed to read content of " + path + "\n");
}

TEST(Arrays, RefuseZeroDimension) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_array_double_2D_new(3, 0), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: unable to allocate QUORIX_ARRAY_2D.\n");
    double*** cube = quorix_array_double_3D_new(2, 3, 4);
    ASSERT_NE(cube, nullptr);
    EXPECT_EQ(cube[1][2][3], 0.0);
    quorix_array_double_3D_free(cube, 2, 3);
}

TEST(Records, CellCopyPrintAndP1) {
    CellPtr empty(quorix_cell_new(0));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->total, 0);
    EXPECT_EQ(empty->atom, nullptr);

    CellPtr cell(quorix_cell_new(2));
    std::strcpy(cell->atom[0].name, "Li1");
    std::strcpy(cell->atom[0].type, "Li");
    cell->atom[0].os = 1;
    cell->atom[0].occ = 1.0;
    CellPtr copy(quorix_cell_copy(cell.get()));
    ASSERT_TRUE(copy);
    EXPECT_NE(copy->atom, cell->atom);
    EXPECT_STREQ(copy->atom[0].name, "Li1");

    testing::internal::CaptureStdout();
    quorix_atom_print(&cell->atom[0]);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ATOM: name=   Li1;type=Li;os= 1;x_f=(0.000,0.000,0.000);occ=1.000\n");

    SymmetryPtr p1(quorix_symmetry_new_p1());
    ASSERT_TRUE(p1);
    EXPECT_EQ(quorix_symmetry_is_p1(p1.get()), 0);
    EXPECT_STREQ(p1->card[0].text, "x, y, z");

    QUORIX_CARD* card = quorix_card_new("x+1/2,y+1/2,z+1/2,x+1/2,y+1/2,z+1/2,x+1/2,y+1/2,z+1/2,x,y,z");
    EXPECT_EQ(std::strlen(card->text), 35u);
    quorix_card_free(card);
}
