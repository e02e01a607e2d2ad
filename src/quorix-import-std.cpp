// Standards-based CIF import: gemmi parses the file and its operations, the sites are
// expanded into a full cell here, with elements and oxidation states from the file.
#include "quorix-import-std.hpp"

#include <gemmi/cif.hpp>
#include <gemmi/elem.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/symmetry.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <optional>
#include <set>

#include "quorix-import-atom.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-grid.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-symmetry.hpp"

namespace cif = gemmi::cif;

namespace {


struct Operation {
    int r[3][3];
    double t[3];
};

// One row of the atom-site loop.
struct SiteRow {
    std::string label;
    std::string symbol;  // type symbol, else the label
    double x[3];
    double occ;
    int decimals;  // the most any of its coordinates is given to
};

// Digits after the decimal point of a number as written ("0.3333(2)": 4).
int decimals_of(const std::string& number) {
    const std::size_t point = number.find('.');
    if (point == std::string::npos) return 0;
    std::size_t end = point + 1;
    while (end < number.size() && std::isdigit(static_cast<unsigned char>(number[end]))) end++;
    return static_cast<int>(end - point - 1);
}

// The tolerance for a cell whose coordinates are written to at most `decimals` digits. Files
// with two or fewer hold special positions (0, 0.5, 0.25) rather than rounded ones, so only
// three or more widen it, and never beyond kQuorixStdWidestTolerance.
double tolerance_for(const QUORIX_CELL& cell, int decimals) {
    if (decimals < 3) return kQuorixStdDefaultTolerance;
    double longest = 0;
    for (int k = 0; k < 3; k++) longest = std::max(longest, quorix_vector3_double_length(cell.a[k]));
    const double rounding = std::sqrt(3.0) * std::pow(10.0, -std::min(decimals, 12)) * longest;
    return std::clamp(rounding, kQuorixStdDefaultTolerance, kQuorixStdWidestTolerance);
}

std::string one_line(std::string text) {
    for (char& c : text)
        if (c == '\n' || c == '\r') c = ' ';
    return text;
}

std::string value_of(cif::Block& block, std::initializer_list<const char*> tags) {
    for (const char* tag : tags)
        if (const std::string* value = block.find_value(tag))
            if (!cif::is_null(*value)) return cif::as_string(*value);
    return {};
}

// Rebuilds an operation with each number in it (a run of digits and of the characters in
// `also`) replaced by number(run, the character after it); nullopt when number gives nullopt.
template <class Number>
std::optional<std::string> rewrite_numbers(const std::string& text, const char* also, Number number) {
    const auto in_number = [also](char c) {
        return std::isdigit(static_cast<unsigned char>(c)) || (c != '\0' && std::strchr(also, c));
    };
    std::string out;
    for (size_t i = 0; i < text.size();) {
        size_t end = i;
        while (end < text.size() && in_number(text[end])) end++;
        if (end == i) {
            out += text[i++];
            continue;
        }
        const char next = end < text.size() ? text[end] : '\0';
        const std::optional<std::string> written = number(text.substr(i, end - i), next);
        if (!written) return std::nullopt;
        out += *written;
        i = end;
    }
    return out;
}

// Decimal numbers in an operation ("0.25+x") become twenty-fourths, the finest fraction of
// space-group translations; nullopt for a decimal that is no such fraction.
std::optional<std::string> decimals_as_fractions(const std::string& text) {
    return rewrite_numbers(text, ".", [](const std::string& number, char) -> std::optional<std::string> {
        if (number.find('.') == std::string::npos) return number;
        const double value = cif::as_number(number);
        const double twentyfourths = std::round(value * 24);
        if (!std::isfinite(value) || std::fabs(value * 24 - twentyfourths) > 0.024) return std::nullopt;
        return std::to_string(static_cast<long>(twentyfourths)) + "/24";
    });
}

bool operation_from_gemmi(const gemmi::Op& op, Operation& operation) {
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) {
            if (op.rot[i][j] % gemmi::Op::DEN != 0) return false;
            operation.r[i][j] = op.rot[i][j] / gemmi::Op::DEN;
        }
        operation.t[i] = static_cast<double>(op.tran[i]) / gemmi::Op::DEN;
    }
    return true;
}

// True when a fraction of the operation has a denominator that does not divide 24.
bool has_fraction_off_twentyfourths(const std::string& text) {
    for (size_t slash = text.find('/'); slash != std::string::npos; slash = text.find('/', slash + 1)) {
        const long denominator = std::strtol(text.c_str() + slash + 1, nullptr, 10);
        if (denominator > 0 && 24 % denominator != 0) return true;
    }
    return false;
}

// A number as operations write it: digits with at most one decimal point, then at most one
// slash and digits.
bool plain_number(const std::string& run) {
    const size_t slash = run.find('/');
    const std::string whole = run.substr(0, slash);
    const std::string below = slash == std::string::npos ? "1" : run.substr(slash + 1);
    return std::count(whole.begin(), whole.end(), '.') <= 1 && whole != "." && !below.empty() &&
           below.find_first_not_of("0123456789") == std::string::npos;
}

// The operation with each constant (a number not multiplying x, y or z) written as 0; nullopt
// when a number is malformed or a character is none of those operations use.
std::optional<std::string> without_constants(const std::string& text) {
    if (text.find_first_not_of("0123456789./xyzXYZ+-*, ") != std::string::npos) return std::nullopt;
    return rewrite_numbers(text, "./", [](const std::string& number, char next) -> std::optional<std::string> {
        if (!plain_number(number)) return std::nullopt;
        return next == '*' || std::isalpha(static_cast<unsigned char>(next)) ? number : "0";
    });
}

// An operation whose translation is no twenty-fourth (x+1/5 or x+0.2, which an origin away from
// the symmetry elements gives): gemmi reads its rotation (with the constants as 0) and the plain
// reader its translation; both must read the same rotation.
bool operation_off_twentyfourths(const std::string& text, Operation& operation) {
    const auto rotation = without_constants(text);
    QUORIX_CARD card{};
    if (!rotation || text.size() >= sizeof card.text) return false;
    try {
        if (!operation_from_gemmi(gemmi::parse_triplet(*rotation), operation)) return false;
    } catch (const std::exception&) {
        return false;
    }
    if (quorix_card_set_by_text(&card, text.c_str()) != 0) return false;
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++)
            if (card.r_f[i][j] != operation.r[i][j]) return false;
        operation.t[i] = card.t_f[i];
    }
    return true;
}

bool parse_operation(const std::string& text, Operation& operation) {
    const auto plain = decimals_as_fractions(text);
    if (!plain || has_fraction_off_twentyfourths(*plain)) return operation_off_twentyfourths(text, operation);
    try {
        return operation_from_gemmi(gemmi::parse_triplet(*plain), operation);
    } catch (const std::exception&) {
        return false;
    }
}

bool operations_of_group(const gemmi::GroupOps& group, std::vector<Operation>& operations) {
    for (const gemmi::Op& op : group) {
        Operation operation;
        if (!operation_from_gemmi(op, operation)) return false;
        operations.push_back(operation);
    }
    return true;
}

bool hall_operations(const std::string& hall, std::vector<Operation>& operations) {
    try {
        return operations_of_group(gemmi::symops_from_hall(hall.c_str()), operations);
    } catch (const std::exception&) {
        return false;  // an unknown Hall symbol: the H-M symbol or number may still name the group
    }
}

// The operations of the block: its operation loop, else its Hall symbol, else its H-M symbol,
// else its space-group number; P 1 when it gives none.
bool read_operations(cif::Block& block, const QUORIX_CELL& cell, const char* cif, std::vector<Operation>& operations,
                     std::string& source) {
    for (const char* tag : {"_space_group_symop_operation_xyz", "_symmetry_equiv_pos_as_xyz"}) {
        const cif::Column column = block.find_values(tag);
        if (!column || column.length() == 0) continue;
        for (const std::string& value : column) {
            Operation operation;
            if (!parse_operation(cif::as_string(value), operation)) {
                std::fprintf(stderr, "Error: unable to read the symmetry operation %s of %s.\n", value.c_str(), cif);
                return false;
            }
            operations.push_back(operation);
        }
        source = std::string(tag) + " (" + std::to_string(operations.size()) + " operations)";
        return true;
    }
    const std::string hall = value_of(block, {"_space_group_name_Hall", "_symmetry_space_group_name_Hall"});
    const std::string hm = value_of(block, {"_space_group_name_H-M_alt", "_symmetry_space_group_name_H-M"});
    const std::string number = value_of(block, {"_space_group_IT_number", "_symmetry_Int_Tables_number"});
    if (!hall.empty() && hall_operations(hall, operations)) {
        source = "Hall symbol '" + hall + "'";
        return true;
    }
    operations.clear();
    const gemmi::SpaceGroup* group = nullptr;
    if (!hm.empty()) group = gemmi::find_spacegroup_by_name(hm, cell.angle[0], cell.angle[2]);
    if (group) source = "H-M symbol '" + hm + "'";
    if (!group && !number.empty()) {
        group = gemmi::find_spacegroup_by_name(number);
        if (group) source = "space-group number " + number;
    }
    if (group) return operations_of_group(group->operations(), operations);
    if (!hall.empty() || !hm.empty() || !number.empty()) {
        std::fprintf(stderr, "Error: unknown space group '%s' in %s.\n",
                     (!hall.empty() ? hall : !hm.empty() ? hm : number).c_str(), cif);
        return false;
    }
    operations.push_back({{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}});
    source = "none given, P 1 assumed";
    return true;
}

bool read_lattice(cif::Block& block, QUORIX_CELL& cell, const char* cif) {
    const char* tags[6] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                           "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};
    double values[6];
    for (int k = 0; k < 6; k++) {
        const std::string* value = block.find_value(tags[k]);
        values[k] = value ? cif::as_number(*value) : NAN;
        if (!std::isfinite(values[k]) || values[k] <= 0) {
            std::fprintf(stderr, "Error: %s of %s is missing or not a positive number.\n", tags[k], cif);
            return false;
        }
    }
    for (int k = 0; k < 3; k++) {
        cell.parameter[k] = values[k];
        cell.angle[k] = values[k + 3];
    }
    const double volume = quorix_cell_calculate_volume(&cell);
    if (!(volume > 1e-3 * values[0] * values[1] * values[2])) {  // flat cells (angles 120, 120, 120) have none
        std::fprintf(stderr, "Error: the cell of %s has no volume.\n", cif);
        return false;
    }
    const std::string* z = block.find_value("_cell_formula_units_Z");
    const double formula_units = z ? cif::as_number(*z) : NAN;
    if (formula_units >= 1 && formula_units <= 1e6) cell.Z = static_cast<int>(formula_units);
    quorix_cell_update_cartesion(&cell);
    return true;
}

bool read_sites(cif::Block& block, std::vector<SiteRow>& sites, const char* cif) {
    cif::Table table =
        block.find("_atom_site_", {"fract_x", "fract_y", "fract_z", "?label", "?type_symbol", "?occupancy"});
    for (auto row : table) {
        SiteRow site;
        site.label = row.has2(3) ? row.str(3) : "";
        site.symbol = row.has2(4) ? row.str(4) : site.label;
        site.decimals = 0;
        for (int k = 0; k < 3; k++) {
            site.x[k] = cif::as_number(row[k]);
            site.decimals = std::max(site.decimals, decimals_of(row[k]));
        }
        site.occ = row.has2(5) ? cif::as_number(row[5]) : 1.0;
        if (!std::isfinite(site.x[0]) || !std::isfinite(site.x[1]) || !std::isfinite(site.x[2]) ||
            !std::isfinite(site.occ)) {
            std::fprintf(stderr, "Error: site %s of %s has no number for a coordinate or the occupancy.\n",
                         site.label.c_str(), cif);
            return false;
        }
        sites.push_back(site);
    }
    if (sites.empty()) {
        std::fprintf(stderr, "Error: no atom sites in %s.\n", cif);
        return false;
    }
    return true;
}

// The element of a type symbol or label: two letters when they name one ("Fe3+", "LiM2"),
// else the first letter ("O-H4", "Oa1"); empty when there is none.
std::string element_of(const std::string& symbol) {
    if (symbol.empty() || !std::isalpha(static_cast<unsigned char>(symbol[0]))) return {};
    if (symbol.size() > 1 && std::isalpha(static_cast<unsigned char>(symbol[1]))) {
        const char pair[3] = {symbol[0], symbol[1], '\0'};
        const gemmi::El two = gemmi::find_element(pair);
        if (two != gemmi::El::X) return gemmi::element_name(two);
    }
    const char single[2] = {symbol[0], '\0'};
    const gemmi::El one = gemmi::find_element(single);
    return one != gemmi::El::X ? gemmi::element_name(one) : std::string();
}

// The charge written after the element of a type symbol ("Fe3+", "O2-", "Li+", "Nb4.5+").
std::optional<double> charge_of(const std::string& symbol, size_t element_length) {
    if (symbol.size() <= element_length) return std::nullopt;
    const char sign = symbol.back();
    if (sign != '+' && sign != '-') return std::nullopt;
    const std::string digits = symbol.substr(element_length, symbol.size() - element_length - 1);
    const double magnitude = digits.empty() ? 1.0 : cif::as_number(digits);
    if (!std::isfinite(magnitude)) return std::nullopt;
    return sign == '+' ? magnitude : -magnitude;
}

// The label as a bare word that the line reader keeps in its column: no blanks or quotes, and
// starting with a letter or digit (a leading '_' or '#' would end the loop); the element when empty.
std::string written_label(std::string label, const std::string& element) {
    for (char& c : label)
        if (!std::isgraph(static_cast<unsigned char>(c)) || c == '\'' || c == '"') c = '_';
    if (label.empty() || !std::isalnum(static_cast<unsigned char>(label[0]))) label = element + label;
    return label;
}

// Oxidation numbers of the type loop, by type symbol.
std::map<std::string, double> type_loop_states(cif::Block& block) {
    std::map<std::string, double> states;
    for (auto row : block.find("_atom_type_", {"symbol", "oxidation_number"})) {
        const double value = row.has2(1) ? cif::as_number(row[1]) : NAN;
        if (row.has2(0) && std::isfinite(value)) states.emplace(row.str(0), value);
    }
    return states;
}

// The asymmetric unit as atoms, oxidation state in `value` (kQuorixUnknownState when not given, and for 0, which
// no ion carries), split by the reader's rule where it is not integral.
bool make_asymmetric_unit(const std::vector<SiteRow>& sites, const std::map<std::string, double>& loop_states,
                          AtomPtr& atoms, long& total, std::vector<std::string>& notes, const char* cif) {
    std::vector<QUORIX_ATOM> kept;
    for (const SiteRow& site : sites) {
        const std::string element = element_of(site.symbol);
        if (element.empty()) {
            std::fprintf(stderr, "Error: no element in the type symbol or label '%s' of %s.\n", site.symbol.c_str(),
                         cif);
            return false;
        }
        if (site.occ <= 0) {
            notes.push_back("site " + site.label + " dropped: occupancy " + std::to_string(site.occ));
            continue;
        }
        QUORIX_ATOM atom{};
        quorix_copy_bounded(atom.name, written_label(site.label, element).c_str(), sizeof atom.name);
        quorix_copy_bounded(atom.type, element.c_str(), sizeof atom.type);
        for (int k = 0; k < 3; k++) atom.x_f[k] = site.x[k] - std::floor(site.x[k]);
        atom.occ = site.occ;
        const auto listed = loop_states.find(site.symbol);
        const std::optional<double> state =
            listed != loop_states.end() ? std::optional<double>(listed->second) : charge_of(site.symbol, element.size());
        atom.value = state && std::fabs(*state) > 1e-6 ? *state : kQuorixUnknownState;
        kept.push_back(atom);
    }
    if (kept.empty()) {
        std::fprintf(stderr, "Error: no atom sites in %s.\n", cif);
        return false;
    }
    total = static_cast<long>(kept.size());
    atoms.reset(quorix_atom_new(total));
    if (!atoms) {
        std::fprintf(stderr, "Error: quorix_atom_new() returns NULL.\n");
        return false;
    }
    std::copy(kept.begin(), kept.end(), atoms.get());
    QUORIX_ATOM* raw = atoms.release();
    const int failed = quorix_atom_fork_os(&raw, &total);
    atoms.reset(raw);
    if (failed) std::fprintf(stderr, "Error: quorix_atom_fork_os() returns non-zero.\n");
    return !failed;
}

bool same_site(const QUORIX_ATOM& a, const QUORIX_ATOM& b) {
    return std::strcmp(a.name, b.name) == 0 && std::strcmp(a.type, b.type) == 0 && a.os == b.os &&
           std::fabs(a.occ - b.occ) < 1e-3;
}

// Every image of every atom; images of one label (and element, state and occupancy) closer than
// `tolerance` are one atom, which also merges rows that repeat an image of another row. Each
// image is compared only with the kept atoms binned near it.
std::vector<QUORIX_ATOM> expand(const QUORIX_CELL& cell, const QUORIX_ATOM* atoms, long total,
                                const std::vector<Operation>& operations, double tolerance) {
    std::vector<QUORIX_ATOM> full;
    PositionGrid kept(total * static_cast<long>(operations.size()), cell.a, tolerance);
    for (long i = 0; i < total; i++)
        for (const Operation& op : operations) {
            QUORIX_ATOM image = atoms[i];
            for (int r = 0; r < 3; r++) {
                double x = op.t[r];
                for (int c = 0; c < 3; c++) x += op.r[r][c] * atoms[i].x_f[c];
                image.x_f[r] = x - std::floor(x);
            }
            const bool known = kept.any_near(image.x_f, [&](long k) {
                return same_site(full[k], image) && quorix_std_periodic_distance(&cell, full[k].x_f, image.x_f) < tolerance;
            });
            if (known) continue;
            kept.insert(static_cast<long>(full.size()), image.x_f);
            full.push_back(image);
        }
    return full;
}

std::optional<cif::Document> read_document(const char* cif) {
    try {
        return cif::read_file(cif);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "Error: unable to read %s as CIF: %s\n", cif, one_line(e.what()).c_str());
        return std::nullopt;
    }
}

cif::Block* block_with_sites(cif::Document& document) {
    for (cif::Block& block : document.blocks)
        if (block.find_values("_atom_site_fract_x")) return &block;
    return nullptr;
}

bool import_block(QUORIX_STD_STRUCTURE& structure, cif::Block& block, const char* cif, double tolerance) {
    CellPtr cell(quorix_cell_new(0));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return false;
    }
    std::vector<Operation> operations;
    std::vector<SiteRow> sites;
    AtomPtr atoms;
    long total = 0;
    if (!read_lattice(block, *cell, cif) || !read_operations(block, *cell, cif, operations, structure.symmetry_source) ||
        !read_sites(block, sites, cif) ||
        !make_asymmetric_unit(sites, type_loop_states(block), atoms, total, structure.notes, cif))
        return false;
    if (!(tolerance > 0)) {
        int decimals = 0;
        for (const SiteRow& site : sites) decimals = std::max(decimals, site.decimals);
        tolerance = tolerance_for(*cell, decimals);
    }
    structure.tolerance = tolerance;
    const std::vector<QUORIX_ATOM> full = expand(*cell, atoms.get(), total, operations, tolerance);
    if (quorix_cell_replace_atoms(cell.get(), full.data(), static_cast<long>(full.size()))) return false;
    quorix_cell_refresh(cell.get());
    quorix_cell_update_coordinate_cartesion(cell.get());
    quorix_atom_sort(cell->atom, cell->total);
    quorix_cell_update_name(cell.get());
    structure.os_from_file = std::all_of(full.begin(), full.end(), [](const QUORIX_ATOM& a) { return a.os != kQuorixUnknownState; });
    structure.block = block.name;
    structure.cell = std::move(cell);
    return true;
}

// Element symbols of the per-pair database (its first and third columns).
std::optional<std::set<std::string>> elements_with_pairs(const char* dir_binary) {
    std::set<std::string> elements;
    const auto add_pair = [&elements](const char* line) {
        char first[8], second[8];
        if (std::sscanf(line, "%7s %*d %7s", first, second) == 2) elements.insert({first, second});
        return false;
    };
    if (quorix_property_scan_file(dir_binary, add_pair) != 0) {
        std::fprintf(stderr, "Error: unable to open %s\n", dir_binary);
        return std::nullopt;
    }
    return elements;
}

}  // namespace

int quorix_std_import_from_file(QUORIX_STD_STRUCTURE* structure, const char* cif, double tolerance) {
    std::optional<cif::Document> document = read_document(cif);
    if (!document) return 1;
    cif::Block* block = block_with_sites(*document);
    if (!block) {
        std::fprintf(stderr, "Error: no atom sites in %s.\n", cif);
        return 1;
    }
    try {
        return import_block(*structure, *block, cif, tolerance) ? 0 : 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "Error: unable to read %s: %s\n", cif, one_line(e.what()).c_str());
        return 1;
    }
}

double quorix_std_periodic_distance(const QUORIX_CELL* cell, const double* f1, const double* f2) {
    double d[3];
    for (int k = 0; k < 3; k++) d[k] = f1[k] - f2[k] - std::round(f1[k] - f2[k]);
    double x[3] = {0, 0, 0};
    for (int k = 0; k < 3; k++)
        for (int m = 0; m < 3; m++) x[m] += d[k] * cell->a[k][m];
    return std::sqrt(x[0] * x[0] + x[1] * x[1] + x[2] * x[2]);
}

int quorix_std_keep_bv_elements(QUORIX_STD_STRUCTURE* structure, const char* dir_binary) {
    const auto known = elements_with_pairs(dir_binary);
    if (!known) return 1;
    QUORIX_CELL* cell = structure->cell.get();
    std::vector<QUORIX_ATOM> kept;
    std::set<std::string> dropped, missing;
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        if (known->count(atom.type)) {
            kept.push_back(atom);
            continue;
        }
        const bool hydrogen = std::strcmp(atom.type, "H") == 0 || std::strcmp(atom.type, "D") == 0;
        (hydrogen ? dropped : missing).insert(atom.type);
    }
    if (!missing.empty()) {
        std::string list;
        for (const std::string& element : missing) list += (list.empty() ? "" : ", ") + element;
        std::fprintf(stderr, "Error: no bond-valence parameters for %s in %s.\n", list.c_str(), dir_binary);
        return 1;
    }
    if (dropped.empty()) return 0;
    if (kept.empty() || quorix_cell_replace_atoms(cell, kept.data(), static_cast<long>(kept.size()))) {
        std::fprintf(stderr, "Error: nothing but hydrogen in the cell.\n");
        return 1;
    }
    for (const std::string& element : dropped)
        structure->notes.push_back(element + " dropped: no bond-valence parameters");
    quorix_cell_update_name(cell);
    return 0;
}
