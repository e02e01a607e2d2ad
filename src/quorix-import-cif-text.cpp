// CIF text: blank-row tests, single data items found by keyword, and the loop scanner and
// tokenizer that cut the loop holding a keyword into a table of fields.
#include "quorix-import-cif-text.hpp"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"

namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

char* new_string(const char* begin, size_t length) {
    if (length >= INT_MAX) return nullptr;
    char* s = quorix_array_char_1D_new(static_cast<int>(length) + 1);
    if (s) std::memcpy(s, begin, length);
    return s;
}

// ---------------------------------------------------------------- loop scanning

struct LoopSpan {
    bool found = false;
    long line_start = 0;
    long line_end = 0;
};

// Finds the rows of the loop whose header (or first value row) holds `keyword`.
LoopSpan locate_loop(const char* keyword, char** content, long row) {
    LoopSpan span;
    bool in_loop = false;
    bool in_header = false;
    for (long i = 0; i < row; i++) {
        const char* line = content[i];
        if (!in_loop) {
            if (std::strstr(line, "loop_")) {
                in_loop = in_header = true;
                span.line_start = i + 1;
            }
            continue;
        }
        const char first = quorix_array_char_1D_first_nonspace_char(line);
        if (quorix_array_char_1D_is_blank_line(line) || first == '#' || std::strstr(line, "loop_")) {
            in_loop = in_header = false;
            span.line_end = i - 1;
            if (span.found) break;
            i--;  // look at this row again as a possible loop start
            continue;
        }
        if (i == row - 1) {
            in_loop = in_header = false;
            span.line_end = i;
        }
        if (in_header) {
            if (std::strstr(line, keyword)) span.found = true;
            if (first != '_') in_header = false;
        } else if (first == '_') {
            in_loop = false;
            span.line_end = i - 1;
            if (span.found) break;
        }
    }
    return span;
}

// Cuts one data line into at most `cols` tokens; surplus tokens are dropped.
int tokenize_line(char** out, int cols, const char* line, int table_row) {
    int column = 0;
    const char* p = line;
    while (*p) {
        if (is_space(*p)) {
            p++;
            continue;
        }
        const char* begin = p;
        const char* end = nullptr;
        if (*p == '\'') {
            begin = ++p;
            while (*p && *p != '\'' && *p != '\r' && *p != '\n') p++;
            if (*p != '\'') {
                std::fprintf(stderr, "Error: open single quotation mark detected at row %d.\n", table_row);
                return 1;
            }
            end = p++;
        } else {
            while (*p && !is_space(*p)) p++;
            end = p;
        }
        if (column < cols) {
            out[column] = new_string(begin, static_cast<size_t>(end - begin));
            if (!out[column]) {
                std::fprintf(stderr, "Error: quorix_array_char_1D_new() returns NULL.\n");
                return 1;
            }
        }
        column++;
    }
    return 0;
}

// Allocates a table of `rows` rows of `cols` empty slots.
char*** new_loop_table(int rows, int cols) {
    auto*** table = static_cast<char***>(std::calloc(rows, sizeof(char**)));
    if (!table) {
        std::fprintf(stderr, "Error: unable to allocate loop.\n");
        return nullptr;
    }
    for (int r = 0; r < rows; r++) {
        table[r] = static_cast<char**>(std::calloc(cols, sizeof(char*)));
        if (!table[r]) {
            std::fprintf(stderr, "Error: unable to allocate loop[%d].\n", r);
            quorix_array_char_3D_free(table, r, cols);
            return nullptr;
        }
    }
    return table;
}

// Row 0 of a loop table: the first word of each header row.
int fill_tags(char** tags, int cols, char** header) {
    std::vector<char> word(1024);
    for (int j = 0; j < cols; j++) {
        if (std::sscanf(header[j], "%1023s", word.data()) != 1) {
            std::fprintf(stderr, "Error: sscanf() returns 0.\n");
            return 1;
        }
        tags[j] = new_string(word.data(), std::strlen(word.data()));
        if (!tags[j]) {
            std::fprintf(stderr, "Error: quorix_array_char_1D_new() returns NULL.\n");
            return 1;
        }
    }
    return 0;
}

// The rows between the ';' row after `at` and the next row starting with ';', joined;
// NULL when the closing ';' row is missing.
char* grep_text_field(char** content, long row, long at) {
    std::string value;
    for (long i = at + 2; i < row; i++) {
        const char* line = content[i];
        if (line[0] == ';') {
            char* s = new_string(value.data(), value.size());
            if (!s) std::fprintf(stderr, "Error: quorix_array_char_1D_new() returns NULL.\b");
            return s;
        }
        size_t length = std::strlen(line);
        if (length > 0 && line[length - 1] == '\r') length--;
        value.append(line, length);
    }
    return nullptr;
}

// The value after `keyword` on its own row: quoted text, or the next bare word.
char* grep_inline_value(const char* line, const char* keyword_at, size_t keyword_length) {
    const char* first_quote = std::strchr(line, '\'');
    const char* last_quote = std::strrchr(line, '\'');
    const char* begin = nullptr;
    const char* end = nullptr;
    if (first_quote && last_quote > first_quote) {
        begin = first_quote + 1;
        end = last_quote;
    } else {
        begin = keyword_at + keyword_length;
        while (*begin == ' ' || *begin == '\t') begin++;
        if (*begin == '\0' || *begin == '\r') return nullptr;
        end = begin;
        while (*end && *end != ' ' && *end != '\t' && *end != '\r') end++;
    }
    char* s = new_string(begin, static_cast<size_t>(end - begin));
    if (!s) std::fprintf(stderr, "Error: quorix_array_char_1D_new() returns NULL.\b");
    return s;
}

}  // namespace

// ---------------------------------------------------------------- row tests and data items

bool quorix_array_char_1D_is_blank_line(const char* line) {
    return quorix_array_char_1D_first_nonspace_char(line) == '\0';
}

char quorix_array_char_1D_first_nonspace_char(const char* line) {
    if (!line) return '\0';
    while (*line && is_space(*line)) line++;
    return *line;
}

bool quorix_cell_import_cif_exist_keyword(const char* keyword, char** content, const long row) {
    if (!keyword || !content) return false;
    for (long i = 0; i < row; i++)
        if (std::strstr(content[i], keyword)) return true;
    return false;
}

char* quorix_cell_import_cif_grep_keyword(const char* keyword, char** content, const long row) {
    if (!keyword || !content) return nullptr;
    for (long i = 0; i < row; i++) {
        const char* at = std::strstr(content[i], keyword);
        if (!at) continue;
        if (i < row - 2 && content[i + 1][0] == ';') return grep_text_field(content, row, i);
        return grep_inline_value(content[i], at, std::strlen(keyword));
    }
    return nullptr;
}

int quorix_cell_import_cif_grep_loop(char**** loop, int* loop_r, int* loop_c, const char* keyword, char** content,
                                     const long row) {
    if (!loop || !loop_r || !loop_c || !keyword || !content) return 1;
    const LoopSpan span = locate_loop(keyword, content, row);
    long data_start = span.line_start;
    while (data_start <= span.line_end && quorix_array_char_1D_first_nonspace_char(content[data_start]) == '_')
        data_start++;
    const long cols = data_start - span.line_start;
    const long rows = span.line_end - data_start + 2;
    if (!span.found || span.line_start < 1 || span.line_end <= span.line_start || cols < 1 || rows > INT_MAX ||
        cols > INT_MAX) {
        std::printf("Warning: _loop block containing %s not found.\n", keyword);
        return 1;
    }
    const int table_rows = static_cast<int>(rows);
    const int table_cols = static_cast<int>(cols);
    char*** table = new_loop_table(table_rows, table_cols);
    if (!table) return 1;
    int failed = fill_tags(table[0], table_cols, content + span.line_start);
    for (int r = 1; r < table_rows && !failed; r++)
        failed = tokenize_line(table[r], table_cols, content[data_start + r - 1], r);
    if (failed) {
        quorix_array_char_3D_free(table, table_rows, table_cols);
        return 1;
    }
    *loop = table;
    *loop_r = table_rows;
    *loop_c = table_cols;
    return 0;
}
