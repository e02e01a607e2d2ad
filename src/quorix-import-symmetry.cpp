// Symmetry operations: operation strings, the symcards database, symmetry of a CIF or a cell.
#include "quorix-import-symmetry.hpp"

#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-cif-text.hpp"
#include "quorix-import-grid.hpp"
#include "quorix-import-group.hpp"
#include "quorix-la.hpp"

namespace {

constexpr int kFieldLength = 11;         // characters kept per field of an operation
constexpr int kMaxOperations = 100000;   // far above any space group; guards a corrupt count
constexpr double kDefaultTolerance = 0.01;
constexpr double kSameOccupancyStrict = 0.0005;

// ---------------------------------------------------------------- operation strings

bool dropped_from_operation(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\''; }

// Coefficient of a letter: +1 at the start of the field or after '+', -1 after anything else.
double coefficient(const char* field, char letter) {
    const char* at = std::strchr(field, letter);
    if (!at) at = std::strchr(field, std::toupper(static_cast<unsigned char>(letter)));
    if (!at) return 0.0;
    return at == field || at[-1] == '+' ? 1.0 : -1.0;
}

// Translation of one field: a fraction of single digits, negative when a '-' follows the
// character before the numerator; else a decimal read from the field's start and negated;
// integer offsets are dropped. False when the field holds no readable number where one is due.
bool translation(const char* field, double* t) {
    *t = 0.0;
    if (const char* slash = std::strchr(field, '/')) {
        if (slash == field || !std::isdigit(static_cast<unsigned char>(slash[-1])) ||
            !std::isdigit(static_cast<unsigned char>(slash[1])) || slash[1] == '0')
            return false;
        *t = (slash[-1] - '0') / static_cast<double>(slash[1] - '0');
        const char* from = slash - 1 > field ? slash - 2 : field;
        if (std::strchr(from, '-')) *t = -*t;
        return true;
    }
    if (std::strchr(field, '.')) {
        if (std::sscanf(field, "%lf", t) != 1) *t = 0.0;
        *t = -*t;
        return std::isfinite(*t);
    }
    return true;
}

// Into [-1, 1] by whole steps, as repeated subtraction or addition of 1 would.
double reduce_translation(double t) {
    if (t > 1.0) t -= std::ceil(t - 1.0);
    if (t < -1.0) t -= std::floor(t + 1.0);
    return t;
}

// ---------------------------------------------------------------- the symcards file

// Lines between the start and end markers, read as the file is read: in chunks of at most
// 1023 characters, each keeping its line end.
struct Symcards {
    std::vector<std::string> lines;
    std::vector<size_t> markers;  // index of every line holding '#'
};

bool read_symcards(const char* path, Symcards* cards) {
    FILE* file = path ? std::fopen(path, "rb") : nullptr;
    if (!file) return false;
    char buffer[1024];
    bool started = false;
    while (std::fgets(buffer, sizeof(buffer), file)) {
        if (!started) {
            started = std::strstr(buffer, "DATA_START") != nullptr;
            continue;
        }
        if (std::strstr(buffer, "DATA_END")) break;
        if (std::strchr(buffer, '#')) cards->markers.push_back(cards->lines.size());
        cards->lines.emplace_back(buffer);
    }
    std::fclose(file);
    return true;
}

// Line k (1 to 4) of the record whose marker is at `marker`, or "" past the end.
const char* record_line(const Symcards& cards, size_t marker, int k) {
    return marker + k < cards.lines.size() ? cards.lines[marker + k].c_str() : "";
}

// Text between the first quote of a line and the next quote or line end, at most 15 characters.
void quoted_symbol(char (&out)[16], const char* line) {
    out[0] = '\0';
    if (std::sscanf(line, "'%15[^'\n\r]s", out) != 1) out[0] = '\0';
}

void strip_line_end(std::string& line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
}

// Which names of a record come from the caller's keyword instead of the file.
enum class Named { none, hm, id, hall };

// The symmetry of the record at `marker`; names and number from its lines except the one
// the caller looked up by.
QUORIX_SYMMETRY* load_record(const Symcards& cards, size_t marker, Named named, const char* keyword,
                             const char* path) {
    int count = 0;
    if (std::sscanf(record_line(cards, marker, 4), "%d", &count) != 1 || count < 1 || count > kMaxOperations ||
        marker + 4 + count >= cards.lines.size()) {
        std::fprintf(stderr, "Error: damaged space group record in %s.\n", path);
        return nullptr;
    }
    SymmetryPtr symmetry(quorix_symmetry_new(count));
    if (!symmetry) {
        std::fprintf(stderr, "Error: quorix_symmetry_new() returns NULL.\n");
        return nullptr;
    }
    if (named == Named::id) {
        std::sscanf(keyword, "%d", &symmetry->sg_id);
    } else if (std::sscanf(record_line(cards, marker, 1), "%d", &symmetry->sg_id) != 1) {
        symmetry->sg_id = 0;
    }
    if (named == Named::hall)
        quorix_copy_bounded(symmetry->sg_Hall, keyword, sizeof(symmetry->sg_Hall));
    else
        quoted_symbol(symmetry->sg_Hall, record_line(cards, marker, 2));
    if (named == Named::hm)
        quorix_copy_bounded(symmetry->sg_HM, keyword, sizeof(symmetry->sg_HM));
    else
        quoted_symbol(symmetry->sg_HM, record_line(cards, marker, 3));
    for (int i = 0; i < count; i++) {
        std::string operation = cards.lines[marker + 5 + i];
        strip_line_end(operation);
        if (quorix_card_set_by_text(&symmetry->card[i], operation.c_str())) {
            std::fprintf(stderr, "quorix_card_set_by_text() returns non-zero.\n");
            return nullptr;
        }
    }
    return symmetry.release();
}

// The first record whose line `k` holds the keyword.
QUORIX_SYMMETRY* import_by_keyword(const char* keyword, const char* path, int k, Named named, const char* what) {
    Symcards cards;
    if (!read_symcards(path, &cards)) {
        std::fprintf(stderr, "Error: unable to open %s\n", path ? path : "(null)");
        return nullptr;
    }
    if (keyword && keyword[0])
        for (size_t marker : cards.markers)
            if (std::strstr(record_line(cards, marker, k), keyword))
                return load_record(cards, marker, named, keyword, path);
    std::fprintf(stderr, "Error: unable to find keyword %s %s in %s.\n", what, keyword ? keyword : "(null)", path);
    return nullptr;
}

QUORIX_SYMMETRY* load_setting(const Symcards& cards, int no, const char* path) {
    if (no < 1 || static_cast<size_t>(no) > cards.markers.size()) {
        std::fprintf(stderr, "Error: unable to find required space group No.%d in %s.\n", no, path);
        return nullptr;
    }
    return load_record(cards, cards.markers[no - 1], Named::none, nullptr, path);
}

// ---------------------------------------------------------------- symmetry of a CIF

bool proper_operation(const QUORIX_CARD& card) {
    return std::fabs(std::fabs(quorix_matrix33_double_determinant(card.r_f)) - 1.0) < 1e-6;
}

QUORIX_SYMMETRY* symmetry_from_operation_loop(const QuorixLoopTable& loop) {
    static const char* const kTags[2] = {"_symmetry_equiv_pos_as_xyz", "_space_group_symop_operation_xyz"};
    int column = -1;
    for (int j = 0; j < loop.cols; j++)
        for (const char* tag : kTags)
            if (loop.table[0][j] && std::strcmp(loop.table[0][j], tag) == 0) column = j;
    if (column < 0 || loop.rows < 2) {
        std::fprintf(stderr, "Error: no symmetry operations under '%s' or '%s'.\n", kTags[0], kTags[1]);
        return nullptr;
    }
    SymmetryPtr symmetry(quorix_symmetry_new(loop.rows - 1));
    if (!symmetry) {
        std::fprintf(stderr, "Error: quorix_symmetry_new() returns NULL.\n");
        return nullptr;
    }
    for (int i = 1; i < loop.rows; i++) {
        QUORIX_CARD& card = symmetry->card[i - 1];
        if (quorix_card_set_by_text(&card, loop.table[i][column])) {
            std::fprintf(stderr, "quorix_card_set_by_text() returns non-zero.\n");
            return nullptr;
        }
        // A rotation that is not invertible would fold the structure onto a plane.
        if (!proper_operation(card)) {
            std::fprintf(stderr, "Error: invalid symmetry operation %s.\n", card.text);
            return nullptr;
        }
    }
    // A loop that lists an operation twice would expand, check and fill with it twice over.
    quorix_symmetry_drop_repeats(symmetry.get());
    return symmetry.release();
}

struct SymmetryItem {
    const char* tag;
    const char* message;
    QUORIX_SYMMETRY* (*lookup)(const char*, const char*);
    const char* failure;
};

const SymmetryItem kSymmetryItems[] = {
    {"_symmetry_space_group_name_H-M", "Message: determining symmetry from H-M symbol ...\n",
     quorix_symmetry_import_by_keyword_HM, "quorix_symmetry_import_by_keyword_HM() returns NULL.\n"},
    {"_space_group_name_H-M_alt", "Message: determining symmetry from H-M symbol ...\n",
     quorix_symmetry_import_by_keyword_HM, "quorix_symmetry_import_by_keyword_HM() returns NULL.\n"},
    {"_symmetry_Int_Tables_number", "Message: determining symmetry from IT id ...\n",
     quorix_symmetry_import_by_keyword_id, "quorix_symmetry_import_by_keyword_id() returns NULL.\n"},
    {"_space_group_IT_number", "Message: determining symmetry from IT id ...\n", quorix_symmetry_import_by_keyword_id,
     "quorix_symmetry_import_by_keyword_id() returns NULL.\n"},
    {"_space_group_id", "Message: determining symmetry from IT id ...\n", quorix_symmetry_import_by_keyword_id,
     "quorix_symmetry_import_by_keyword_id() returns NULL.\n"},
    {"_symmetry_space_group_name_Hall", "Message: determining symmetry from Hall symbol ...\n",
     quorix_symmetry_import_by_keyword_Hall, "quorix_symmetry_import_by_keyword_Hall() returns NULL.\n"},
    {"_space_group_name_Hall", "Message: determining symmetry from Hall symbol ...\n",
     quorix_symmetry_import_by_keyword_Hall, "quorix_symmetry_import_by_keyword_Hall() returns NULL.\n"},
};

// ---------------------------------------------------------------- fitting a cell

// Atoms of a cell looked up by Cartesian position: binned by the fractional coordinates of
// their Cartesian positions, reaching along each lattice direction as far as the tolerance can.
class NearbyAtoms {
public:
    NearbyAtoms(const QUORIX_CELL* cell, double tolerance)
        : reciprocal_(reciprocal_of(cell->a)), grid_(cell->total, cell->a, tolerance) {
        for (long i = 0; i < cell->total; i++) {
            const auto f = fractional(cell->atom[i].x);
            grid_.insert(i, f.data());
        }
    }

    // The lowest index j among the atoms near x for which accept(j) holds, or -1.
    template <class Accept>
    long first(const double* x, Accept&& accept) const {
        return grid_.lowest_near(fractional(x).data(), accept);
    }

private:
    using Rows = std::array<std::array<double, 3>, 3>;

    // Rows b_k with b_k . a_j = 1 when k == j, else 0; zero for a degenerate lattice.
    static Rows reciprocal_of(const double a[3][3]) {
        Rows b{};
        const double volume = quorix_matrix33_double_determinant(a);
        if (volume == 0.0 || !std::isfinite(volume)) return b;
        for (int k = 0; k < 3; k++) {
            quorix_vector3_double_cross(b[k].data(), a[(k + 1) % 3], a[(k + 2) % 3]);
            for (double& v : b[k]) v /= volume;
        }
        return b;
    }
    std::array<double, 3> fractional(const double* x) const {
        std::array<double, 3> f;
        for (int k = 0; k < 3; k++) f[k] = quorix_vector3_double_dot(reciprocal_[k].data(), x);
        return f;
    }

    Rows reciprocal_;
    PositionGrid grid_;
};

// The first atom that the image lands on: same species, occupancy within 0.0005, Cartesian
// distance below the tolerance without periodic images; -1 when there is none.
long partner_of(const QUORIX_CELL* cell, const NearbyAtoms& nearby, const QUORIX_ATOM& image, double tolerance) {
    double x[3];
    quorix_vector3_double_sum3(x, cell->a[0], image.x_f[0], cell->a[1], image.x_f[1], cell->a[2], image.x_f[2]);
    return nearby.first(x, [&](long j) {
        const QUORIX_ATOM& atom = cell->atom[j];
        return atom.os == image.os && std::strncmp(atom.type, image.type, sizeof(atom.type)) == 0 &&
               std::fabs(atom.occ - image.occ) < kSameOccupancyStrict &&
               quorix_vector3_double_distance(x, atom.x) < tolerance;
    });
}

void clear_marks(QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = false;
}

}  // namespace

// ---------------------------------------------------------------- interfaces

int quorix_card_set_by_text(QUORIX_CARD* card, const char* str) {
    if (!card || !str) {
        std::fprintf(stderr, "Error: unable to set QUORIX_CARD->text.\n");
        return 1;
    }
    quorix_copy_bounded(card->text, str, sizeof(card->text));
    char field[3][kFieldLength + 1] = {};
    int f = 0, used = 0;
    for (const char* p = card->text; *p && f < 3; p++) {
        if (*p == ',') {
            f++;
            used = 0;
        } else if (!dropped_from_operation(*p) && used < kFieldLength) {
            field[f][used++] = *p;
        }
    }
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++) card->r_f[i][j] = coefficient(field[i], "xyz"[j]);
        double t = 0.0;
        if (!translation(field[i], &t)) {
            std::fprintf(stderr, "Error: unreadable translation in symmetry operation %s.\n", card->text);
            return 1;
        }
        card->t_f[i] = reduce_translation(t);
    }
    return 0;
}

QUORIX_SYMMETRY* quorix_symmetry_import_by_keyword_HM(const char* keyword, const char* dir_symcards) {
    return import_by_keyword(keyword, dir_symcards, 3, Named::hm, "H-M");
}

QUORIX_SYMMETRY* quorix_symmetry_import_by_keyword_id(const char* keyword, const char* dir_symcards) {
    return import_by_keyword(keyword, dir_symcards, 1, Named::id, "id");
}

QUORIX_SYMMETRY* quorix_symmetry_import_by_keyword_Hall(const char* keyword, const char* dir_symcards) {
    return import_by_keyword(keyword, dir_symcards, 2, Named::hall, "Hall");
}

QUORIX_SYMMETRY* quorix_symmetry_import_by_internal_no(int no, const char* dir_symcards) {
    Symcards cards;
    if (!read_symcards(dir_symcards, &cards)) {
        std::fprintf(stderr, "Error: unable to open %s\n", dir_symcards ? dir_symcards : "(null)");
        return nullptr;
    }
    return load_setting(cards, no, dir_symcards);
}

// Operations from the CIF's operation loop if it has one, else by name or number from the
// space-group database.
QUORIX_SYMMETRY* quorix_symmetry_import_from_array_char_2D(char** content, long row, const char* dir_symcards) {
    QuorixLoopTable loop;
    if (loop.read("_symmetry_equiv_pos_as_xyz", content, row) == 0 ||
        loop.read("_space_group_symop_operation_xyz", content, row) == 0) {
        std::printf(
            "Message: determining symmetry from _symmetry_equiv_pos_as_xyz/_space_group_symop_operation_xyz ...\n");
        return symmetry_from_operation_loop(loop);
    }
    std::printf("Warning: quorix_cell_import_cif_grep_loop() returns non-zero.\n");
    for (const SymmetryItem& item : kSymmetryItems) {
        CharPtr value(quorix_cell_import_cif_grep_keyword(item.tag, content, row));
        if (!value) continue;
        std::printf("%s", item.message);
        QUORIX_SYMMETRY* symmetry = item.lookup(value.get(), dir_symcards);
        if (!symmetry) std::fprintf(stderr, "%s", item.failure);
        return symmetry;
    }
    return nullptr;
}

// Tries every setting of the database in file order and keeps the last one the cell fits.
// The file is read once; each setting is built from the lines in memory.
QUORIX_SYMMETRY* quorix_symmetry_calculate_from_cell(QUORIX_CELL* cell, double accuracy, const char* dir_symcards) {
    if (accuracy <= 0.0) accuracy = kDefaultTolerance;
    if (!cell || !cell->atom || cell->total <= 0) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    Symcards cards;
    if (!read_symcards(dir_symcards, &cards)) {
        std::printf("Error: unable to open %s.\n", dir_symcards ? dir_symcards : "(null)");
        return nullptr;
    }
    const int settings = static_cast<int>(cards.markers.size());
    std::printf("Message: total %d space group settings found in %s.\n", settings, dir_symcards);
    int fitting = 0;
    for (int no = 1; no <= settings; no++) {
        SymmetryPtr setting(load_setting(cards, no, dir_symcards));
        if (!setting) {
            std::fprintf(stderr, "Error: quorix_symmetry_import_by_internal_no() returns NULL at %d.\n", no);
            return nullptr;
        }
        if (quorix_cell_validate_by_symmetry(cell, setting.get(), accuracy)) {
            fitting = no;
            std::printf("Message: structure fits to symmetry %s.\n", setting->sg_HM);
        }
    }
    QUORIX_SYMMETRY* found = load_setting(cards, fitting, dir_symcards);
    if (!found) {
        std::fprintf(stderr, "Error: quorix_symmetry_import_by_internal_no() returns NULL at %d.\n", fitting);
        return nullptr;
    }
    std::printf("Message: determined space group: %s\n", found->sg_HM);
    return found;
}

bool quorix_cell_validate_by_symmetry(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, double accuracy) {
    if (!cell || !cell->atom || cell->total <= 0 || !symmetry || !symmetry->card || symmetry->total <= 0) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_SYMMETRY has not been properly initialized.\n");
        return false;
    }
    if (accuracy <= 0.0) accuracy = kDefaultTolerance;
    const NearbyAtoms nearby(cell, accuracy);
    // The first atom is looked at first under every operation; trying it under all of them
    // before the rest rejects most settings early, with the same outcome.
    for (int c = 0; c < symmetry->total; c++) {
        if (partner_of(cell, nearby, quorix_atom_spawn_by_card(cell->atom[0], symmetry->card[c]), accuracy) < 0) {
            clear_marks(cell);
            return false;
        }
    }
    for (int c = 0; c < symmetry->total; c++) {
        clear_marks(cell);
        for (long i = 0; i < cell->total; i++) {
            if (cell->atom[i].ignored) continue;
            const long partner =
                partner_of(cell, nearby, quorix_atom_spawn_by_card(cell->atom[i], symmetry->card[c]), accuracy);
            if (partner < 0) {
                clear_marks(cell);
                return false;
            }
            cell->atom[partner].ignored = true;
            cell->atom[i].ignored = true;
        }
    }
    return true;
}

int quorix_symmetry_fill_card_discrete(QUORIX_SYMMETRY* symmetry, const long* bound) {
    if (!symmetry || !symmetry->card || symmetry->total <= 0 || !bound) {
        std::fprintf(stderr, "Error: QUORIX_SYMMETRY has not been properly initialized.\n");
        return 1;
    }
    for (int c = 0; c < symmetry->total; c++) {
        QUORIX_CARD& card = symmetry->card[c];
        quorix_matrix33_double_round_to_int(card.r_i, card.r_f);
        for (int i = 0; i < 3; i++) card.t_i[i] = std::lround(static_cast<double>(bound[i]) * card.t_f[i]);
    }
    return 0;
}

void quorix_card_transform_vector3_long(long* x_out, const long* x_in, const long* bound, const QUORIX_CARD* card) {
    long moved[3];
    for (int i = 0; i < 3; i++) {
        moved[i] = card->r_i[i][0] * x_in[0] + card->r_i[i][1] * x_in[1] + card->r_i[i][2] * x_in[2] + card->t_i[i];
        if (bound[i] > 0) moved[i] = quorix_mod_long(moved[i], bound[i]);
    }
    for (int i = 0; i < 3; i++) x_out[i] = moved[i];
}
