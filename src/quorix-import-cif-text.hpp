// CIF text: row tests, single data items and loop tables found by keyword in the text rows.
#pragma once

#include "quorix-alloc.hpp"

bool quorix_array_char_1D_is_blank_line(const char* line);
char quorix_array_char_1D_first_nonspace_char(const char* line);

bool quorix_cell_import_cif_exist_keyword(const char* keyword, char** content, const long row);
// The value of a data item: the text after the keyword, or the ';'-delimited text field below it.
char* quorix_cell_import_cif_grep_keyword(const char* keyword, char** content, const long row);
// The loop whose header holds `keyword` as a table: row 0 the tags, one further row per data line.
int quorix_cell_import_cif_grep_loop(char**** loop, int* loop_r, int* loop_c, const char* keyword, char** content,
                                     const long row);

// A loop table released with its dimensions.
struct QuorixLoopTable {
    char*** table = nullptr;
    int rows = 0;
    int cols = 0;
    QuorixLoopTable() = default;
    QuorixLoopTable(const QuorixLoopTable&) = delete;
    QuorixLoopTable& operator=(const QuorixLoopTable&) = delete;
    ~QuorixLoopTable() { quorix_array_char_3D_free(table, rows, cols); }
    // 0 when the loop holding `keyword` was found and read.
    int read(const char* keyword, char** content, long row) {
        return quorix_cell_import_cif_grep_loop(&table, &rows, &cols, keyword, content, row);
    }
};
