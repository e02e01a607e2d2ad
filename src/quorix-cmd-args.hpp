// Argument handling shared by the command handlers: usage texts, positional optional arguments
// parsed with scanf formats, flags and default output names.
//
// Optional arguments are positional: a parser whose argument is absent leaves the caller's
// default untouched. An argument that is present must hold exactly one value of its format;
// otherwise the parser prints "Error: wrong parameter <word>.\n" to standard error and returns
// false, and the handler stops.
#pragma once

#include <span>
#include <string>

#include "quorix-alloc.hpp"
#include "quorix.hpp"

namespace quorix_cmd {

// A usage text: its first line followed by an empty line, "Command:" lines explaining the
// arguments, then "Example:" lines.
using Usage = std::span<const char* const>;

// Usage line shared by the commands that take a screening factor.
constexpr const char* kScreeningFactorLine =
    "Command: {sf}: customized screening factor to use. If set to non-positive, automatic calculation is "
    "triggered. Default 0.0.\n";

// Prints the lines to standard output.
void print_lines(Usage lines);

// Prints `usage` to standard output and returns true when argc is not above `minimum`.
bool print_usage_if_short(const QUORIX_CMD_OPT* opt, int minimum, Usage usage);

// For the commands without usage text: prints "Error: not enough arguments.\n" to standard error
// and returns true when argc is not above `minimum`.
bool report_if_short(const QUORIX_CMD_OPT* opt, int minimum);

// argv[index], or nullptr when the command line is shorter.
const char* argument(const QUORIX_CMD_OPT* opt, int index);

// "%d" conversion of `text`: true when it yields exactly one value, and one that fits in an int.
bool scan_int(const char* text, int& value);

bool parse_double(const QUORIX_CMD_OPT* opt, int index, double& value, const char* word);    // "%lf"
bool parse_int(const QUORIX_CMD_OPT* opt, int index, int& value, const char* word);          // "%d", in range
bool parse_long(const QUORIX_CMD_OPT* opt, int index, long& value, const char* word);        // "%ld", in range
bool parse_type(const QUORIX_CMD_OPT* opt, int index, char (&type)[3], const char* word);    // "%2s"
bool parse_name(const QUORIX_CMD_OPT* opt, int index, char (&name)[8], const char* word);    // "%7s"

// A species as argv[index] type "%2s" and argv[index + 1] oxidation state "%d" (words "type", "os").
bool parse_species(const QUORIX_CMD_OPT* opt, int index, char (&type)[3], int& os);

// The first two characters of argv[index], unchecked; left empty when the argument is absent.
void take_type(const QUORIX_CMD_OPT* opt, int index, char (&type)[3]);

// A flag is false only when it begins with "f" or "F"; absent, it keeps `fallback`.
bool flag(const QUORIX_CMD_OPT* opt, int index, bool fallback);
// A flag that is true only when it begins with "t" or "T"; absent, it is false.
bool flag_true_only(const QUORIX_CMD_OPT* opt, int index);
// A strict flag: "t"/"T" true, "f"/"F" false, anything else is a parse failure.
bool parse_strict_flag(const QUORIX_CMD_OPT* opt, int index, bool& value, const char* word);

// The input argument argv[2], cut to the 1000 characters that output names are formed from.
std::string input_name(const QUORIX_CMD_OPT* opt);
// argv[index] when given, otherwise the input name followed by `suffix`.
std::string output_name(const QUORIX_CMD_OPT* opt, int index, const char* suffix);

// A structure as read: the full cell and the symmetry it was completed by.
struct Structure {
    CellPtr cell;
    SymmetryPtr symmetry;
    explicit operator bool() const { return cell != nullptr; }
};

// Reads the CIF named by argv[index]; reports a failure and returns an empty structure.
Structure read_structure(const QUORIX_CMD_OPT* opt, int index = 2);
// Reads the structure given inline after "-:text"; reports a failure and returns an empty structure.
Structure read_inline_structure(const QUORIX_CMD_OPT* opt);

// Name of the supercell CIF that --gen-cube writes when conducting sites are partially occupied:
// the input name without its last four characters (its extension) followed by "_assigned.cif".
std::string assigned_cell_name(const QUORIX_CMD_OPT* opt);

// Placeholder of a command whose computation has not been wired yet.
void report_not_implemented();

}  // namespace quorix_cmd
