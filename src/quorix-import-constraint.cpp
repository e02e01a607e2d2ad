// Relaxation constraints of a structure read from its CIF.
#include "quorix-import-constraint.hpp"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "quorix-alloc.hpp"
#include "quorix-import-cif.hpp"

namespace {

// The column of the first tag containing `keyword`, or -1.
int column_of(char*** loop, int columns, const char* keyword) {
    for (int c = 0; c < columns; c++)
        if (loop[0][c] && std::strstr(loop[0][c], keyword)) return c;
    return -1;
}

std::array<bool, 3> components_of(const char* value) {
    if (!value) return {false, false, false};
    const char first = value[0];
    if (first == 't' || first == 'T') return {true, true, true};
    if (first == 'f' || first == 'F') return {false, false, false};
    std::array<bool, 3> fixed = {false, false, false};
    for (const char* c = value; *c; c++) {
        const int lower = std::tolower(static_cast<unsigned char>(*c));
        if (lower >= 'x' && lower <= 'z') fixed[lower - 'x'] = true;
    }
    return fixed;
}

void apply(QUORIX_CELL* cell, const char* label, std::array<bool, 3> components, QuorixFixedComponents& fixed) {
    const bool whole = components[0] && components[1] && components[2];
    for (long i = 0; i < cell->total; i++) {
        if (std::strncmp(cell->atom[i].name, label, sizeof(cell->atom[i].name) - 1) != 0) continue;
        fixed[i] = components;
        cell->atom[i].ignored = whole;
    }
}

// The table of the loop holding "_quorix_fixed", freed on every path.
struct Loop {
    char*** table = nullptr;
    int rows = 0;
    int columns = 0;
    ~Loop() { quorix_array_char_3D_free(table, rows, columns); }
};

struct Rows {
    char** row = nullptr;
    long count = 0;
    ~Rows() { quorix_array_char_2D_free(row, static_cast<int>(count)); }
};

}  // namespace

int quorix_cell_import_cif_read_constraint(QUORIX_CELL* cell, const char* cif, QuorixFixedComponents& fixed) {
    if (!cell || cell->total <= 0 || !cell->atom) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    fixed.assign(cell->total, {false, false, false});
    const TextPtr text(quorix_text_import_from_file(cif));
    if (!text) {
        std::fprintf(stderr, "Error: unable to open %s\n", cif);
        return 1;
    }
    Rows rows;
    if (quorix_text_segregate_into_rows(&rows.row, &rows.count, text.get(), '\n') != 0) {
        std::fprintf(stderr, "Error: quorix_text_segregate_into_rows() returns non-zero.\n");
        return 1;
    }
    if (!quorix_cell_import_cif_exist_keyword("_quorix_fixed", rows.row, rows.count)) {
        std::printf("Message: keyword '_quorix_fixed' not found in cif file.\n");
        return 0;
    }
    Loop loop;
    if (quorix_cell_import_cif_grep_loop(&loop.table, &loop.rows, &loop.columns, "_quorix_fixed", rows.row,
                                         rows.count) != 0 ||
        !loop.table) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_grep_loop() returns non-zero.\n");
        return 1;
    }
    const int label = column_of(loop.table, loop.columns, "_atom_site_label");
    if (label < 0) {
        std::printf("Message: keyword '_atom_site_label' not found in cif file.\n");
        return 0;
    }
    const int value = column_of(loop.table, loop.columns, "_quorix_fixed");
    for (int r = 1; r < loop.rows; r++)
        if (loop.table[r][label]) apply(cell, loop.table[r][label], components_of(loop.table[r][value]), fixed);
    return 0;
}
