// CIF fields: the atom-site columns of the atom loop (names, types, charges, coordinates,
// occupancies, constraints), the oxidation numbers of the type loop, and the lattice.
#include "quorix-import-cif-fields.hpp"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "quorix-alloc.hpp"
#include "quorix-import-cif-text.hpp"

namespace {

bool is_alpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Element symbol: the first letter of `src` and the character after it when that is a letter too.
bool type_from_symbol(char (&type)[3], const char* src) {
    const char* p = src;
    while (*p && !is_alpha(*p)) p++;
    if (!*p) return false;
    type[0] = p[0];
    type[1] = is_alpha(p[1]) ? p[1] : '\0';
    type[2] = '\0';
    return true;
}

// Column of the first tag that contains `keyword`, or -1.
int first_column(char*** table, int col, const char* keyword) {
    for (int j = 0; j < col; j++)
        if (table[0][j] && std::strstr(table[0][j], keyword)) return j;
    return -1;
}

// Column of the first tag containing `keyword`; a missing one is reported.
int required_column(char*** table, int col, const char* keyword) {
    const int j = first_column(table, col, keyword);
    if (j < 0) std::fprintf(stderr, "Error: unable to find keyword '%s'.\n", keyword);
    return j;
}

const char* field_or_empty(const char* field) { return field ? field : ""; }

// Reads one real number; values that are not finite are treated as unreadable.
bool read_real(const char* field, double* value) {
    double v = 0.0;
    if (!field || std::sscanf(field, "%lf", &v) != 1 || !std::isfinite(v)) return false;
    *value = v;
    return true;
}

// Reads the oxidation state written after the element in a type symbol: `O2-` gives -2.
void read_symbol_charge(QUORIX_ATOM* atom, const char* field) {
    const char* digit = field;
    while (*digit && !is_digit(*digit)) digit++;
    if (!*digit) return;
    double value = 0.0;
    if (!read_real(digit, &value)) return;
    atom->value = std::strchr(digit, '-') ? -value : value;
}

// Column indices of the `_atom_type_symbol` and `_atom_type_oxidation_number` tags, last match wins.
bool type_loop_columns(char*** typ, int typ_c, int* symbol, int* number) {
    *symbol = *number = -1;
    for (int j = 0; j < typ_c; j++) {
        const char* tag = typ[0][j];
        if (!tag) continue;
        if (std::strstr(tag, "_atom_type_symbol")) *symbol = j;
        else if (std::strstr(tag, "_atom_type_oxidation_number")) *number = j;
    }
    return *symbol >= 0 && *number >= 0 && *symbol != *number;
}

// The oxidation number given for `symbol` in the type loop; false when no row lists the symbol.
bool type_loop_number(double* value, char*** typ, int typ_r, int symbol, int number, const char* site_symbol) {
    for (int r = 1; r < typ_r; r++) {
        if (!typ[r][symbol] || std::strcmp(typ[r][symbol], site_symbol) != 0) continue;
        if (!read_real(typ[r][number], value)) *value = kQuorixUnknownState;
        return true;
    }
    return false;
}

}  // namespace

// ---------------------------------------------------------------- atom-site fields

int quorix_cell_import_cif_read_atom_name(QUORIX_ATOM* atom, char*** content, int row, int col) {
    const int label = required_column(content, col, "_atom_site_label");
    if (label < 0) return 1;
    for (int i = 0; i + 1 < row; i++) {
        quorix_copy_bounded(atom[i].name, field_or_empty(content[i + 1][label]), sizeof(atom[i].name));
        atom[i].value = kQuorixUnknownState;
    }
    return 0;
}

int quorix_cell_import_cif_read_atom_type(QUORIX_ATOM* atom, char*** content, int row, int col) {
    const int symbol = required_column(content, col, "_atom_site_type_symbol");
    if (symbol < 0) return 1;
    for (int i = 0; i + 1 < row; i++) {
        char field[128];
        quorix_copy_bounded(field, field_or_empty(content[i + 1][symbol]), sizeof(field));
        if (!type_from_symbol(atom[i].type, field)) {
            std::fprintf(stderr, "Error: invalid field content %s.\n", field);
            return 1;
        }
        read_symbol_charge(&atom[i], field);
    }
    return 0;
}

int quorix_cell_import_cif_read_atom_typeos(QUORIX_ATOM* atom, char*** atm, int atm_r, int atm_c, char*** typ,
                                            int typ_r, int typ_c) {
    const int site_symbol = required_column(atm, atm_c, "_atom_site_type_symbol");
    if (site_symbol < 0) return 1;
    int symbol = -1;
    int number = -1;
    if (!type_loop_columns(typ, typ_c, &symbol, &number)) {
        std::fprintf(stderr, "Error: invalid keywords.\n");
        return 1;
    }
    for (int i = 0; i + 1 < atm_r; i++) {
        const char* field = field_or_empty(atm[i + 1][site_symbol]);
        if (!type_from_symbol(atom[i].type, field) ||
            !type_loop_number(&atom[i].value, typ, typ_r, symbol, number, field)) {
            std::fprintf(stderr, "Error: invalid field.\n");
            return 1;
        }
    }
    return 0;
}

int quorix_cell_import_cif_read_atom(QUORIX_ATOM* atom, char*** content, int row, int col) {
    int column[4] = {-1, -1, -1, -1};  // occupancy, x, y, z
    static const char* const kTags[4] = {"_atom_site_occupancy", "_atom_site_fract_x", "_atom_site_fract_y",
                                         "_atom_site_fract_z"};
    static const char* const kMessages[4] = {
        "Error: unable to read occupancy.\n", "Error: unable to read fractional x.\n",
        "Error: unable to read fractional y.\n", "Error: unable to read fractional z.\n"};
    for (int j = 0; j < col; j++)
        for (int k = 0; k < 4; k++)
            if (content[0][j] && std::strstr(content[0][j], kTags[k])) column[k] = j;
    for (int k = 0; k < 4; k++) {
        if (column[k] < 0) {
            std::fprintf(stderr, "Error: invalid keywords.\n");
            return 1;
        }
    }
    for (int i = 0; i + 1 < row; i++) {
        double* target[4] = {&atom[i].occ, &atom[i].x_f[0], &atom[i].x_f[1], &atom[i].x_f[2]};
        for (int k = 0; k < 4; k++) {
            if (!read_real(content[i + 1][column[k]], target[k])) {
                std::fprintf(stderr, "%s", kMessages[k]);
                return 1;
            }
        }
    }
    return 0;
}

int quorix_cell_import_cif_read_atom_constraint(QUORIX_ATOM* atom, char*** content, int row, int col) {
    const int fixed = required_column(content, col, "_atom_site_quorix_fixed");
    if (fixed < 0) return 1;
    for (int i = 0; i + 1 < row; i++) {
        const char first = field_or_empty(content[i + 1][fixed])[0];
        atom[i].ignored = first == 't' || first == 'T';
    }
    return 0;
}

int quorix_cell_import_cif_read_lattice(QUORIX_CELL* cell, char** content, long row) {
    static const char* const kItems[6] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                                          "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
    double* target[6] = {&cell->parameter[0], &cell->parameter[1], &cell->parameter[2],
                         &cell->angle[0],     &cell->angle[1],     &cell->angle[2]};
    for (int k = 0; k < 6; k++) {
        CharPtr value(quorix_cell_import_cif_grep_keyword(kItems[k], content, row));
        if (!value) {
            std::fprintf(stderr, "Error: quorix_cell_import_cif_grep_keyword() returns NULL.\n");
            return 1;
        }
        std::sscanf(value.get(), "%lf", target[k]);  // an unreadable value leaves the field as it was
    }
    CharPtr z(quorix_cell_import_cif_grep_keyword("_cell_formula_units_Z", content, row));
    if (z) std::sscanf(z.get(), "%d", &cell->Z);
    else std::printf("Warning: _cell_formula_units_Z is not available. \n");
    return 0;
}

int quorix_atom_name_to_type(QUORIX_ATOM* atom, int total) {
    for (int i = 0; i < total; i++) {
        if (atom[i].type[0] != '\0') continue;
        if (!type_from_symbol(atom[i].type, atom[i].name)) {
            std::fprintf(stderr, "Error: unable to read atom.type from atom.name.\n");
            return 1;
        }
    }
    return 0;
}
