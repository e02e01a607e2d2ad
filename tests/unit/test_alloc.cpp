#include <gtest/gtest.h>

#include <cstring>

#include "support.hpp"
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
    quorix_test::Capture capture;
    ASSERT_EQ(quorix_text_segregate_into_rows(&rows, &count, rows_text.get(), '\n'), 0);
    EXPECT_EQ(capture.finish().out, "Message: total lines in the cif: 3\n");
    ASSERT_EQ(count, 3);
    EXPECT_STREQ(rows[0], "a");
    EXPECT_STREQ(rows[1], "b");
    EXPECT_STREQ(rows[2], "");
    quorix_array_char_2D_free(rows, static_cast<int>(count));
}
