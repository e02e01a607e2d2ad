// CIF reader: text rows, single data items, loop tables, the atom-site fields and the
// whole read of a structure into a full cell with its symmetry.
#include "quorix-import-cif.hpp"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-group.hpp"
#include "quorix-import-symmetry.hpp"

namespace {

using CharPtr = quorix_ptr<char, quorix_array_char_1D_free>;

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool is_alpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Text rows of a CIF, released together.
struct Rows {
    char** row = nullptr;
    long count = 0;
    Rows() = default;
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;
    ~Rows() { quorix_array_char_2D_free(row, static_cast<int>(count)); }
};

// A loop table: row 0 holds the tags, every further row the values of one text line.
struct LoopTable {
    char*** table = nullptr;
    int rows = 0;
    int cols = 0;
    LoopTable() = default;
    LoopTable(const LoopTable&) = delete;
    LoopTable& operator=(const LoopTable&) = delete;
    ~LoopTable() { quorix_array_char_3D_free(table, rows, cols); }
    int read(const char* keyword, char** content, long row) {
        return quorix_cell_import_cif_grep_loop(&table, &rows, &cols, keyword, content, row);
    }
};

char* new_string(const char* begin, size_t length) {
    if (length >= INT_MAX) return nullptr;
    char* s = quorix_array_char_1D_new(static_cast<int>(length) + 1);
    if (s) std::memcpy(s, begin, length);
    return s;
}

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

// ---------------------------------------------------------------- atom fields

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
        if (!read_real(typ[r][number], value)) *value = 99.0;
        return true;
    }
    return false;
}

// ---------------------------------------------------------------- default oxidation states

struct DefaultState {
    std::string type;
    int os;
};

// The (type, default state) lines between DATA_START and DATA_END, in file order.
std::vector<DefaultState> read_default_states(FILE* file) {
    std::vector<DefaultState> states;
    std::vector<char> line(1024);
    std::vector<char> type(1024);
    bool in_data = false;
    while (std::fgets(line.data(), static_cast<int>(line.size()), file)) {
        if (!in_data) {
            in_data = std::strstr(line.data(), "DATA_START") != nullptr;
            continue;
        }
        if (std::strstr(line.data(), "DATA_END")) break;
        int os = 0;
        if (std::sscanf(line.data(), "%*d %1023s %*d %d", type.data(), &os) == 2) states.push_back({type.data(), os});
    }
    return states;
}

// ---------------------------------------------------------------- reading a structure

// Type and charge columns of the atom loop (steps that depend on which columns the file has).
int read_atom_types(QUORIX_ATOM* atom, LoopTable& atoms, char** content, long row) {
    if (!quorix_cell_import_cif_exist_keyword("_atom_site_type_symbol", content, row)) {
        std::printf("Message: unable to find keyword '_atom_site_type_symbol'.\n");
        return 0;
    }
    if (!quorix_cell_import_cif_exist_keyword("_atom_type_oxidation_number", content, row)) {
        if (quorix_cell_import_cif_read_atom_type(atom, atoms.table, atoms.rows, atoms.cols)) {
            std::fprintf(stderr, "Error: quorix_cell_import_cif_read_atom_type() returns non-zero.\n");
            return 1;
        }
        return 0;
    }
    LoopTable types;
    if (types.read("_atom_type_symbol", content, row)) {
        std::fprintf(stderr, "Error: unable to find keyword '_atom_type_symbol' in cif file.\n");
        return 1;
    }
    if (quorix_cell_import_cif_read_atom_typeos(atom, atoms.table, atoms.rows, atoms.cols, types.table, types.rows,
                                                types.cols)) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_read_atom_typeos() returns non-zero.\n");
        return 1;
    }
    return 0;
}

// Names, element types, charges, coordinates and occupancies from the atom loop.
int read_atom_sites(QUORIX_ATOM* atom, long count, LoopTable& atoms, char** content, long row) {
    if (quorix_cell_import_cif_read_atom_name(atom, atoms.table, atoms.rows, atoms.cols)) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_read_atom_name() returns non-zero.\n");
        return 1;
    }
    if (read_atom_types(atom, atoms, content, row)) return 1;
    if (quorix_cell_import_cif_read_atom(atom, atoms.table, atoms.rows, atoms.cols)) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_read_atom() returns non-zero.\n");
        return 1;
    }
    if (quorix_atom_name_to_type(atom, static_cast<int>(count))) {
        std::fprintf(stderr, "Error: quorix_atom_name_to_typeos() returns non-zero.\n");
        return 1;
    }
    return 0;
}

// Runs `replace` on the array held by `atom`, which may swap it for a new one.
template <class Replace>
int replace_atoms(AtomPtr& atom, Replace&& replace) {
    QUORIX_ATOM* raw = atom.release();
    const int status = replace(&raw);
    atom.reset(raw);
    return status;
}

// The atoms of the asymmetric unit with settled oxidation states, expanded by the symmetry
// into the full cell. Returns the atom array (owned) and its count.
QUORIX_ATOM* read_full_cell_atoms(long* total, char** content, long row, QUORIX_SYMMETRY* symmetry) {
    LoopTable atoms;
    if (atoms.read("_atom_site_label", content, row)) {
        std::fprintf(stderr, "Error: unable to find compulsory keyword '_atom_site_label' in cif file.\n");
        return nullptr;
    }
    long count = atoms.rows - 1;
    AtomPtr atom(quorix_atom_new(count));
    if (!atom) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_ATOM.\n");
        return nullptr;
    }
    if (read_atom_sites(atom.get(), count, atoms, content, row)) return nullptr;
    if (replace_atoms(atom, [&](QUORIX_ATOM** a) { return quorix_atom_fork_os(a, &count); })) {
        std::fprintf(stderr, "Error: quorix_atom_fork_os() returns non-zero.\n");
        return nullptr;
    }
    if (replace_atoms(atom, [&](QUORIX_ATOM** a) { return quorix_atom_spawn_by_symmetry(a, &count, symmetry); })) {
        std::fprintf(stderr, "Error: quorix_atom_spawn_by_symmetry() returns non-zero.\n");
        return nullptr;
    }
    *total = count;
    return atom.release();
}

// A cell holding `atom`, with its lattice read from the rows.
QUORIX_CELL* new_cell_with_lattice(AtomPtr atom, long total, char** content, long row) {
    CellPtr cell(quorix_cell_new(0));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return nullptr;
    }
    cell->atom = atom.release();
    cell->total = total;
    if (quorix_cell_import_cif_read_lattice(cell.get(), content, row)) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_read_lattice() returns non-zero.\n");
        return nullptr;
    }
    return cell.release();
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

namespace {

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

// ---------------------------------------------------------------- atom-site fields

int quorix_cell_import_cif_read_atom_name(QUORIX_ATOM* atom, char*** content, int row, int col) {
    const int label = required_column(content, col, "_atom_site_label");
    if (label < 0) return 1;
    for (int i = 0; i + 1 < row; i++) {
        quorix_copy_bounded(atom[i].name, field_or_empty(content[i + 1][label]), sizeof(atom[i].name));
        atom[i].value = 99.0;
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

// ---------------------------------------------------------------- types and oxidation states

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

namespace {

constexpr double kUnknownState = 99.0;

bool is_unknown_state(double value) { return std::fabs(value - kUnknownState) < 0.0001; }
bool is_integral_state(double value) { return std::fabs(value - std::round(value)) < 0.1; }

}  // namespace

int quorix_atom_fork_os(QUORIX_ATOM** atom, long* total) {
    if (!atom || !total || (*total > 0 && !*atom)) return 1;
    QUORIX_ATOM* atoms = *atom;
    long splits = 0;
    for (long i = 0; i < *total; i++) {
        const double value = atoms[i].value;
        if (is_unknown_state(value)) continue;
        if (!std::isfinite(value) || std::fabs(value) > 1000.0) {
            std::fprintf(stderr, "Error: invalid oxidation state of atom %s.\n", atoms[i].name);
            return 1;
        }
        if (!is_integral_state(value)) splits++;
    }
    if (splits > 0) {
        auto* grown = static_cast<QUORIX_ATOM*>(std::realloc(atoms, (*total + splits) * sizeof(QUORIX_ATOM)));
        if (!grown) {
            std::fprintf(stderr, "Error: unable to reallocate QUORIX_ATOM.\n");
            return 1;
        }
        atoms = grown;
        *atom = grown;
    }
    long next = *total;
    for (long i = 0; i < *total; i++) {
        QUORIX_ATOM& a = atoms[i];
        const double value = a.value;
        if (is_unknown_state(value)) {
            a.os = 99;
        } else if (is_integral_state(value)) {
            a.os = static_cast<int>(std::lround(value));
        } else {
            // Split a mixed-valence site into its two neighbouring states, keeping the mean charge.
            const double low = std::floor(value);
            const double high = std::ceil(value);
            const double occ = a.occ;
            QUORIX_ATOM copy = a;
            a.os = static_cast<int>(high);
            a.occ = (value - low) * occ / (high - low);
            copy.os = static_cast<int>(low);
            copy.occ = (high - value) * occ / (high - low);
            copy.value = 0.0;
            atoms[next++] = copy;
        }
        a.value = 0.0;
    }
    *total = next;
    return 0;
}

int quorix_atom_update_default_os(QUORIX_ATOM* atom, long total, const char* dir_unitary) {
    FILE* file = dir_unitary ? std::fopen(dir_unitary, "rb") : nullptr;
    if (!file) {
        std::fprintf(stderr, "Error: unable to open %s\n", dir_unitary ? dir_unitary : "(null)");
        return 1;
    }
    const std::vector<DefaultState> states = read_default_states(file);
    std::fclose(file);
    for (long i = 0; i < total; i++) {
        if (atom[i].os != 99) continue;
        for (const DefaultState& state : states) {
            if (state.type == atom[i].type) {
                atom[i].os = state.os;
                break;
            }
        }
    }
    return 0;
}

// ---------------------------------------------------------------- whole structures

int quorix_cell_import_cif_from_text(QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry, QUORIX_TEXT* text,
                                     const char* dir_symcards, const char* dir_unitary) {
    if (!cell || !symmetry || !text || !text->content) {
        std::fprintf(stderr, "Error: QUORIX_TEXT has not been properly initialized.\n");
        return 1;
    }
    *cell = nullptr;
    *symmetry = nullptr;
    std::printf("Message: reading cif file...\n");
    Rows rows;
    if (quorix_text_segregate_into_rows(&rows.row, &rows.count, text, '\n')) {
        std::fprintf(stderr, "Error: quorix_text_segregate_rows() returns non-zero.\n");
        return 1;
    }
    SymmetryPtr sym(quorix_symmetry_import_from_array_char_2D(rows.row, rows.count, dir_symcards));
    if (!sym) {
        std::fprintf(stderr, "Error: quorix_symmetry_import_from_array_char_2D() returns NULL.\n");
        return 1;
    }
    long total = 0;
    AtomPtr atom(read_full_cell_atoms(&total, rows.row, rows.count, sym.get()));
    if (!atom) return 1;
    CellPtr result(new_cell_with_lattice(std::move(atom), total, rows.row, rows.count));
    if (!result) return 1;
    quorix_cell_update_cartesion(result.get());
    const double volume = quorix_cell_calculate_volume(result.get());
    if (!(volume > 0.0)) {  // angles no cell can have, such as 0 or 180 degrees
        std::fprintf(stderr, "Error: the cell parameters describe no cell.\n");
        return 1;
    }
    if (quorix_atom_update_default_os(result->atom, result->total, dir_unitary)) {
        std::fprintf(stderr, "Error: quorix_atom_update_default_os() returns non-zero.\n");
        return 1;
    }
    quorix_cell_update_name(result.get());
    std::printf("Message: calculated cell volume = %f\n", volume);
    *cell = result.release();
    *symmetry = sym.release();
    return 0;
}

int quorix_cell_import_cif_from_file(QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry, const char* cif,
                                     const char* dir_symcards, const char* dir_unitary) {
    TextPtr text(quorix_text_import_from_file(cif));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_text_import_from_file() returns NULL.\n");
        return 1;
    }
    if (quorix_cell_import_cif_from_text(cell, symmetry, text.get(), dir_symcards, dir_unitary) > 0) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_from_text() returns NULL.\n");
        return 1;
    }
    if (!quorix_symmetry_is_group(*symmetry))
        std::fprintf(stderr,
                     "Warning: the symmetry operations of %s do not form a group; the structure may be misread (try "
                     "--gen-cif-std).\n",
                     cif);
    return 0;
}

QUORIX_CELL** quorix_cells_import_cif_from_file(const char* filename, int total, const char* dir_symcard,
                                                const char* dir_unitary) {
    if (total < 1) {
        std::fprintf(stderr, "Error: number of cells must be larger than zero.\n");
        return nullptr;
    }
    auto** cells = static_cast<QUORIX_CELL**>(std::calloc(total, sizeof(QUORIX_CELL*)));
    if (!cells) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_CELL[].\n");
        return nullptr;
    }
    for (int i = 0; i < total; i++) {
        char name[1024];
        std::snprintf(name, sizeof(name), "%s.%d.cif", filename ? filename : "", i);
        QUORIX_SYMMETRY* symmetry = nullptr;
        const int failed = quorix_cell_import_cif_from_file(&cells[i], &symmetry, name, dir_symcard, dir_unitary);
        quorix_symmetry_free(symmetry);
        if (failed) {
            std::fprintf(stderr, "Error: quorix_cell_import_cif_from_file() returns non-zero.\n");
            for (int k = 0; k < i; k++) quorix_cell_free(cells[k]);
            std::free(cells);
            return nullptr;
        }
    }
    return cells;
}
