// Argument handling for the command handlers: usage texts, optional arguments, flags, output names.
#include "quorix-cmd-args.hpp"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "quorix-cmd.hpp"
#include "quorix-import-cif.hpp"

namespace quorix_cmd {

namespace {

constexpr std::string::size_type kInputNameLimit = 1000;

bool report_wrong(const char* word) {
    std::fprintf(stderr, "Error: wrong parameter %s.\n", word);
    return false;
}

// Converts an optional argument with one scanf conversion; absent arguments keep the default.
template <class T>
bool parse_with(const QUORIX_CMD_OPT* opt, int index, const char* format, T* value, const char* word) {
    const char* text = argument(opt, index);
    if (!text) return true;
    return std::sscanf(text, format, value) == 1 || report_wrong(word);
}

// The leading decimal integer of `text`, as "%d" or "%ld" reads it, but false when it does not
// fit in T (scanf's result is undefined then, and in practice wraps round).
template <class T>
bool scan_integer(const char* text, T& value) {
    errno = 0;
    char* end = nullptr;
    const long long read = std::strtoll(text, &end, 10);
    if (end == text || errno == ERANGE || read < std::numeric_limits<T>::min() || read > std::numeric_limits<T>::max())
        return false;
    value = static_cast<T>(read);
    return true;
}

template <class T>
bool parse_integer(const QUORIX_CMD_OPT* opt, int index, T& value, const char* word) {
    const char* text = argument(opt, index);
    return !text || scan_integer(text, value) || report_wrong(word);
}

// Runs a structure reader, takes ownership of what it produced and reports its failure.
template <class Reader>
Structure read_with(const char* reader_name, Reader read) {
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    const int failed = read(&cell, &symmetry);
    Structure structure{CellPtr(cell), SymmetryPtr(symmetry)};
    if (!failed) return structure;
    std::fprintf(stderr, "Error: %s() returns non-zero.\n", reader_name);
    return {};
}

// The inline structure text after "-:text".
TextPtr inline_text(const QUORIX_CMD_OPT* opt) {
    TextPtr text(quorix_cmd_opt_cat_tail(opt));
    if (!text) std::fprintf(stderr, "Error: quorix_cmd_opt_cat_tail() returns NULL.\n");
    return text;
}

char first_char(const QUORIX_CMD_OPT* opt, int index) {
    const char* text = argument(opt, index);
    return text ? text[0] : '\0';
}

}  // namespace

void print_lines(Usage lines) {
    for (const char* line : lines) std::fputs(line, stdout);
}

bool print_usage_if_short(const QUORIX_CMD_OPT* opt, int minimum, Usage usage) {
    if (opt->argc > minimum) return false;
    print_lines(usage);
    return true;
}

bool report_if_short(const QUORIX_CMD_OPT* opt, int minimum) {
    if (opt->argc > minimum) return false;
    std::fprintf(stderr, "Error: not enough arguments.\n");
    return true;
}

const char* argument(const QUORIX_CMD_OPT* opt, int index) {
    return index >= 0 && index < opt->argc ? opt->argv[index] : nullptr;
}

bool scan_int(const char* text, int& value) { return scan_integer(text, value); }

// "nan" and "inf" convert too, but no setting of this program means anything with them.
bool parse_double(const QUORIX_CMD_OPT* opt, int index, double& value, const char* word) {
    return parse_with(opt, index, "%lf", &value, word) && (std::isfinite(value) || report_wrong(word));
}

bool parse_int(const QUORIX_CMD_OPT* opt, int index, int& value, const char* word) {
    return parse_integer(opt, index, value, word);
}

bool parse_long(const QUORIX_CMD_OPT* opt, int index, long& value, const char* word) {
    return parse_integer(opt, index, value, word);
}

bool parse_type(const QUORIX_CMD_OPT* opt, int index, char (&type)[3], const char* word) {
    return parse_with(opt, index, "%2s", type, word);
}

bool parse_name(const QUORIX_CMD_OPT* opt, int index, char (&name)[8], const char* word) {
    return parse_with(opt, index, "%7s", name, word);
}

bool parse_species(const QUORIX_CMD_OPT* opt, int index, char (&type)[3], int& os) {
    return parse_type(opt, index, type, "type") && parse_int(opt, index + 1, os, "os");
}

void take_type(const QUORIX_CMD_OPT* opt, int index, char (&type)[3]) {
    quorix_cmd_opt_get_type(type, argument(opt, index));
}

bool flag(const QUORIX_CMD_OPT* opt, int index, bool fallback) {
    const char* text = argument(opt, index);
    if (!text) return fallback;
    return text[0] != 'f' && text[0] != 'F';
}

bool flag_true_only(const QUORIX_CMD_OPT* opt, int index) {
    const char c = first_char(opt, index);
    return c == 't' || c == 'T';
}

bool parse_strict_flag(const QUORIX_CMD_OPT* opt, int index, bool& value, const char* word) {
    if (!argument(opt, index)) return true;
    switch (first_char(opt, index)) {
        case 't':
        case 'T':
            value = true;
            return true;
        case 'f':
        case 'F':
            value = false;
            return true;
        default:
            return report_wrong(word);
    }
}

std::string input_name(const QUORIX_CMD_OPT* opt) {
    const char* input = argument(opt, 2);
    return std::string(input ? input : "").substr(0, kInputNameLimit);
}

std::string output_name(const QUORIX_CMD_OPT* opt, int index, const char* suffix) {
    if (const char* given = argument(opt, index)) return given;
    return input_name(opt) + suffix;
}

std::string assigned_cell_name(const QUORIX_CMD_OPT* opt) {
    std::string name = input_name(opt);
    if (name.size() > 3) name.resize(name.size() - 4);
    return name + "_assigned.cif";
}


Structure read_structure(const QUORIX_CMD_OPT* opt, int index) {
    return read_with("quorix_cell_import_cif_from_file", [opt, index](QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry) {
        return quorix_cell_import_cif_from_file(cell, symmetry, argument(opt, index), opt->dir_symcards,
                                                opt->dir_unitary);
    });
}

Structure read_inline_structure(const QUORIX_CMD_OPT* opt) {
    const TextPtr text = inline_text(opt);
    if (!text) return {};
    return read_with("quorix_cell_import_cif_from_text", [&](QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry) {
        return quorix_cell_import_cif_from_text(cell, symmetry, text.get(), opt->dir_symcards, opt->dir_unitary);
    });
}

void report_not_implemented() { std::fprintf(stderr, "Error: not implemented yet.\n"); }

}  // namespace quorix_cmd
