// Force-field parameter set: records, species lookup, the parameter files, validation and printing.
#include "quorix-import-property.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-pair.hpp"

namespace {

struct FileCloser {
    void operator()(FILE* file) const noexcept { std::fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

// Line buffers of the parameter files: data lines, and the hardness file and atomic-number lookup.
constexpr int kLineBuffer = 1023;
constexpr int kLookupLineBuffer = 1024;

// Hands the data lines of a parameter file (after the first line holding "DATA_START", up to
// one holding "DATA_END") to `visit` until it returns true. 1 when the file cannot be opened.
template <class Visit>
int scan_parameter_file(const char* path, int buffer_size, Visit visit) {
    FilePtr file(path ? std::fopen(path, "rb") : nullptr);
    if (!file) return 1;
    std::vector<char> line(buffer_size);
    bool in_data = false;
    while (std::fgets(line.data(), buffer_size, file.get())) {
        if (!in_data) {
            in_data = std::strstr(line.data(), "DATA_START") != nullptr;
            continue;
        }
        if (std::strstr(line.data(), "DATA_END") || visit(line.data())) break;
    }
    return 0;
}

// A data line for messages, without its line end.
std::string trimmed_line(const char* line) {
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return text;
}

// Reports a file that could not be opened, or a matching line that could not be read; 1 then.
int scan_failed(int unopened, const std::optional<std::string>& malformed, const char* open_format, const char* path,
                bool report = true) {
    if (unopened) {
        if (report) std::fprintf(stderr, open_format, path ? path : "(null)");
        return 1;
    }
    if (malformed) {
        if (report) std::fprintf(stderr, "Error: unable to process line %s.\n", malformed->c_str());
        return 1;
    }
    return 0;
}

char sign_of(int os) { return os >= 0 ? '+' : '-'; }

bool same_species(const char* type1, int os1, const char* type2, int os2) {
    return os1 == os2 && std::strcmp(type1, type2) == 0;
}

void free_species_tables(QUORIX_PROPERTY* ppt) {
    quorix_property_unitary_free(ppt->uni);
    quorix_property_binary_free(ppt->bin, ppt->total);
    ppt->uni = nullptr;
    ppt->bin = nullptr;
}

// Allocates zeroed species and pair records for `total` species.
int allocate_species_tables(QUORIX_PROPERTY* ppt, int total) {
    ppt->uni = quorix_property_unitary_new(total);
    if (!ppt->uni) {
        std::fprintf(stderr, "Error: quorix_property_unitary_new() returns NULL.\n");
        return 1;
    }
    if (quorix_property_binary_new(&ppt->bin, total) != 0) {
        std::fprintf(stderr, "Error: quorix_property_binary_new() returns non-zero.\n");
        return 1;
    }
    return 0;
}

// Copies the species keys into the unitary and binary records.
void write_species_keys(QUORIX_PROPERTY* ppt) {
    for (int i = 0; i < ppt->total; i++) {
        quorix_copy_bounded(ppt->uni[i].type, ppt->type[i], sizeof ppt->uni[i].type);
        ppt->uni[i].os = ppt->os[i];
        for (int j = 0; j < ppt->total; j++) {
            QUORIX_PROPERTY_BINARY& pair = ppt->bin[i][j];
            quorix_copy_bounded(pair.type1, ppt->type[i], sizeof pair.type1);
            pair.os1 = ppt->os[i];
            quorix_copy_bounded(pair.type2, ppt->type[j], sizeof pair.type2);
            pair.os2 = ppt->os[j];
        }
    }
}

// Reads the first data line keyed (type1, os1, type2, os2) into `record`; a pair absent from
// the file leaves zeros. 1 when the file cannot be opened or the matching line is short.
int read_binary_record(QUORIX_PROPERTY_BINARY* record, const char* type1, int os1, const char* type2, int os2,
                       const char* path, bool report) {
    *record = QUORIX_PROPERTY_BINARY{};
    quorix_copy_bounded(record->type1, type1, sizeof record->type1);
    record->os1 = os1;
    quorix_copy_bounded(record->type2, type2, sizeof record->type2);
    record->os2 = os2;
    std::optional<std::string> malformed;
    const int unopened = scan_parameter_file(path, kLineBuffer, [&](const char* line) {
        char key1[kLineBuffer + 1], key2[kLineBuffer + 1];
        int key_os1 = 0, key_os2 = 0;
        if (std::sscanf(line, "%1023s %d %1023s %d", key1, &key_os1, key2, &key_os2) < 4) return false;
        if (!same_species(key1, key_os1, record->type1, os1) || !same_species(key2, key_os2, record->type2, os2))
            return false;
        if (std::sscanf(line, "%*s %*d %*s %*d %lf %lf %lf %lf", &record->r0, &record->b_old, &record->cn,
                        &record->cutoff) < 4)
            malformed = trimmed_line(line);
        return true;
    });
    if (scan_failed(unopened, malformed, "Error: unable to open %s\n", path, report)) return 1;
    record->b = record->b_old;
    return 0;
}

// Missing chloride, bromide, iodide and sulfide pairs borrow from the same cation's pair with
// the lighter anion of the group: cn = slope * cn_lighter + intercept.
struct LighterAnion {
    const char* anion;
    int os;
    const char* lighter;
    double slope;
    double intercept;
};
constexpr LighterAnion kLighterAnions[] = {
    {"Cl", -1, "F", 0.3984, 3.4568},
    {"Br", -1, "F", 0.3457, 3.3798},
    {"I", -1, "F", 0.3806, 2.7873},
    {"S", -2, "O", 0.7414, 0.9597},
};

void print_format_unitary_table(const QUORIX_PROPERTY* ppt) {
    std::printf("PPT: total number of PROPERTY_UNITARY: %d\n", ppt->total);
    std::printf("PPT:============================================\n");
    std::printf("PPT: | %s | %s | %s | %s | %s |\n", "type", "an", "softness", "  rc", "        q");
    std::printf("PPT:--------------------------------------------\n");
    for (int i = 0; i < ppt->total; i++) {
        const QUORIX_PROPERTY_UNITARY& u = ppt->uni[i];
        std::printf("PPT: | %2s%d%c | %2d | %8.6f | %4.2f | %9.6f |\n", u.type, std::abs(u.os), sign_of(u.os), u.an,
                    u.soft, u.rc, u.q);
    }
    std::printf("PPT:--------------------------------------------\n");
}

void print_format_binary_table(const QUORIX_PROPERTY* ppt) {
    const char* rule = "PPT:========================================================================\n";
    std::printf("PPT: total number of PROPERTY_BINARY: %d\n", ppt->total * ppt->total);
    std::printf("%s", rule);
    std::printf("PPT: | %s | %s | %s | %s | %s | %s | %s |\n", "cation", " anion", "     D_0", "   R_min", "    b",
                "     R_0", "R_cutoff");
    std::printf("PPT:------------------------------------------------------------------------\n");
    for (int i = 0; i < ppt->total; i++) {
        for (int j = 0; j < ppt->total; j++) {
            const QUORIX_PROPERTY_BINARY& p = ppt->bin[i][j];
            if (p.cutoff <= 0) continue;
            std::printf("PPT: | %4s%d%c | %4s%d%c | %8.6f | %8.6f | %5.3f | %8.6f | %8.6f |\n", p.type1,
                        std::abs(p.os1), sign_of(p.os1), p.type2, std::abs(p.os2), sign_of(p.os2),
                        kQuorixEvPerUnit * p.d0 * 0.5, p.rmin, p.b, p.r0, p.cutoff);
        }
    }
    std::printf("%s", rule);
}

bool is_empty(const QUORIX_PROPERTY* ppt) { return !ppt || ppt->total <= 0 || !ppt->uni || !ppt->bin; }

// A set with its species tables; otherwise reports it.
bool property_ready(const QUORIX_PROPERTY* ppt) {
    if (!is_empty(ppt)) return true;
    std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
    return false;
}

}  // namespace

// ---------------------------------------------------------------- records

QUORIX_PROPERTY_UNITARY* quorix_property_unitary_new(int count) {
    if (count <= 0) {
        std::fprintf(stderr, "Error: number of counts must be positive.\n");
        return nullptr;
    }
    auto* uni = static_cast<QUORIX_PROPERTY_UNITARY*>(std::calloc(count, sizeof(QUORIX_PROPERTY_UNITARY)));
    if (!uni) std::fprintf(stderr, "Error: unable to allocate QUORIX_PROPERTY_UNITARY.\n");
    return uni;
}

void quorix_property_unitary_free(QUORIX_PROPERTY_UNITARY* uni) { std::free(uni); }

int quorix_property_binary_new(QUORIX_PROPERTY_BINARY*** table, int count) {
    if (count <= 0) {
        std::fprintf(stderr, "Error: number of counts must be positive.\n");
        return 1;
    }
    auto** rows = static_cast<QUORIX_PROPERTY_BINARY**>(std::calloc(count, sizeof(QUORIX_PROPERTY_BINARY*)));
    if (!rows) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_PROPERTY_BINARY.\n");
        return 1;
    }
    for (int i = 0; i < count; i++) {
        rows[i] = static_cast<QUORIX_PROPERTY_BINARY*>(std::calloc(count, sizeof(QUORIX_PROPERTY_BINARY)));
        if (!rows[i]) {
            std::fprintf(stderr, "Error: unable to allocate QUORIX_PROPERTY_BINARY[%d].\n", i);
            quorix_property_binary_free(rows, i);
            return 1;
        }
    }
    *table = rows;
    return 0;
}

void quorix_property_binary_free(QUORIX_PROPERTY_BINARY** table, int count) {
    if (!table) return;
    for (int i = 0; i < count; i++) std::free(table[i]);
    std::free(table);
}

QUORIX_PROPERTY* quorix_property_new(int count) {
    if (count < 0) {
        std::fprintf(stderr, "Error: number of counts must not be negative.\n");
        return nullptr;
    }
    auto* ppt = static_cast<QUORIX_PROPERTY*>(std::calloc(1, sizeof(QUORIX_PROPERTY)));
    if (!ppt) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_PROPERTY.\n");
        return nullptr;
    }
    ppt->conducting = -1;
    if (count == 0) return ppt;
    ppt->total = count;
    ppt->type = static_cast<char(*)[3]>(std::calloc(count, sizeof(char[3])));
    if (!ppt->type) {
        std::fprintf(stderr, "Error: unable to allocate type[].\n");
        quorix_property_free(ppt);
        return nullptr;
    }
    ppt->os = static_cast<int*>(std::calloc(count, sizeof(int)));
    if (!ppt->os) {
        std::fprintf(stderr, "Error: unable to allocate os[].\n");
        quorix_property_free(ppt);
        return nullptr;
    }
    if (allocate_species_tables(ppt, count) != 0) {
        quorix_property_free(ppt);
        return nullptr;
    }
    return ppt;
}

QUORIX_PROPERTY* quorix_property_copy(const QUORIX_PROPERTY* ppt) {
    if (!ppt || !ppt->uni || !ppt->bin) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return nullptr;
    }
    QUORIX_PROPERTY* copy = quorix_property_new(ppt->total);
    if (!copy) {
        std::fprintf(stderr, "Error: quorix_property_new() returns NULL.\n");
        return nullptr;
    }
    copy->sf = ppt->sf;
    copy->conducting = ppt->conducting;
    std::memcpy(copy->type, ppt->type, sizeof(char[3]) * ppt->total);
    std::memcpy(copy->os, ppt->os, sizeof(int) * ppt->total);
    std::memcpy(copy->uni, ppt->uni, sizeof(QUORIX_PROPERTY_UNITARY) * ppt->total);
    for (int i = 0; i < ppt->total; i++)
        std::memcpy(copy->bin[i], ppt->bin[i], sizeof(QUORIX_PROPERTY_BINARY) * ppt->total);
    return copy;
}

void quorix_property_free(QUORIX_PROPERTY* ppt) {
    if (!ppt) return;
    std::free(ppt->type);
    std::free(ppt->os);
    free_species_tables(ppt);
    std::free(ppt);
}

int quorix_property_find_index(const QUORIX_PROPERTY* ppt, const char* type, int os) {
    if (!ppt || !ppt->type || !ppt->os || !type) return -1;
    for (int i = 0; i < ppt->total; i++)
        if (same_species(ppt->type[i], ppt->os[i], type, os)) return i;
    return -1;
}

// ---------------------------------------------------------------- species of a cell

std::vector<int> quorix_property_species_of_atoms(const QUORIX_PROPERTY* ppt, const QUORIX_CELL* cell) {
    std::vector<int> species(cell ? cell->total : 0);
    for (size_t i = 0; i < species.size(); i++)
        species[i] = quorix_property_find_index(ppt, cell->atom[i].type, cell->atom[i].os);
    return species;
}

bool quorix_property_all_found(const std::vector<int>& species) {
    for (int s : species)
        if (s < 0) return false;
    return true;
}

int quorix_property_update_index_by_cell(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell) {
    if (!cell || !cell->atom || cell->total <= 0) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    if (!ppt) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    std::free(ppt->type);
    std::free(ppt->os);
    free_species_tables(ppt);
    ppt->type = nullptr;
    ppt->os = nullptr;
    ppt->total = 0;

    const int total = quorix_cell_count_type_os(cell);  // sorts the atoms
    if (total <= 0) {
        std::fprintf(stderr, "Error: quorix_cell_count_type_os() returns non-positive value.\n");
        return 1;
    }
    ppt->type = static_cast<char(*)[3]>(std::calloc(total, sizeof(char[3])));
    if (!ppt->type) {
        std::fprintf(stderr, "Error: unable to allocate ppt->type[].\n");
        return 1;
    }
    ppt->os = static_cast<int*>(std::calloc(total, sizeof(int)));
    if (!ppt->os) {
        std::fprintf(stderr, "Error: unable to allocate ppt->os[].\n");
        return 1;
    }
    if (allocate_species_tables(ppt, total) != 0) return 1;
    ppt->total = total;

    int k = 0;
    for (long i = 0; i < cell->total && k < total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        const bool last = i == cell->total - 1;
        if (last || !same_species(atom.type, atom.os, cell->atom[i + 1].type, cell->atom[i + 1].os)) {
            quorix_copy_bounded(ppt->type[k], atom.type, sizeof ppt->type[k]);
            ppt->os[k] = atom.os;
            k++;
        }
    }
    write_species_keys(ppt);
    return 0;
}

int quorix_property_append_index(QUORIX_PROPERTY* ppt, const char* type, int os) {
    if (!ppt || !type) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    if (quorix_property_find_index(ppt, type, os) >= 0) return 0;
    free_species_tables(ppt);
    const int total = ppt->total + 1;
    auto* grown_type = static_cast<char(*)[3]>(std::realloc(ppt->type, total * sizeof(char[3])));
    if (!grown_type) {
        std::fprintf(stderr, "Error: unable to reallocate ppt->type.\n");
        return 1;
    }
    ppt->type = grown_type;
    auto* grown_os = static_cast<int*>(std::realloc(ppt->os, total * sizeof(int)));
    if (!grown_os) {
        std::fprintf(stderr, "Error: unable to reallocate ppt->os.\n");
        return 1;
    }
    ppt->os = grown_os;
    quorix_copy_bounded(ppt->type[total - 1], type, sizeof ppt->type[total - 1]);
    ppt->os[total - 1] = os;
    if (allocate_species_tables(ppt, total) != 0) {
        free_species_tables(ppt);
        return 1;
    }
    ppt->total = total;
    write_species_keys(ppt);
    return 0;
}

// ---------------------------------------------------------------- parameter files

int quorix_property_update_read_from_file(QUORIX_PROPERTY* ppt, QUORIX_CELL*, const char* dir_unitary,
                                          const char* dir_binary) {
    if (!property_ready(ppt)) return 1;
    for (int i = 0; i < ppt->total; i++) {
        if (quorix_property_unitary_read_from_file(&ppt->uni[i], ppt->type[i], ppt->os[i], dir_unitary) != 0) {
            std::fprintf(stderr, "Error: quorix_property_unitary_read_from_file() returns non-zero.\n");
            return 1;
        }
        for (int j = 0; j < ppt->total; j++) {
            if (quorix_property_binary_read_from_file(&ppt->bin[i][j], ppt->type[i], ppt->os[i], ppt->type[j],
                                                      ppt->os[j], dir_binary) != 0) {
                std::fprintf(stderr, "Error: quorix_property_bin_read_from_file() returns non-zero.\n");
                return 1;
            }
        }
    }
    return 0;
}

int quorix_property_unitary_read_from_file(QUORIX_PROPERTY_UNITARY* record, const char* type, int os,
                                           const char* path) {
    if (!record || !type) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY_UNITARY has not been properly initialized.\n");
        return 1;
    }
    *record = QUORIX_PROPERTY_UNITARY{};
    quorix_copy_bounded(record->type, type, sizeof record->type);
    record->os = os;
    std::optional<std::string> malformed;
    const int unopened = scan_parameter_file(path, kLineBuffer, [&](const char* line) {
        char symbol[kLineBuffer + 1];
        int line_os = 0;
        if (std::sscanf(line, "%*d %1023s %d", symbol, &line_os) != 2) return false;
        if (!same_species(symbol, line_os, record->type, os)) return false;
        if (std::sscanf(line, "%d %*s %*d %*d %lf %d %d %d %lf %lf", &record->an, &record->m, &record->n, &record->g,
                        &record->b, &record->rc, &record->soft) < 7)
            malformed = trimmed_line(line);
        return true;
    });
    return scan_failed(unopened, malformed, "Error: unable to open %s\n", path);
}

int quorix_property_binary_read_from_file(QUORIX_PROPERTY_BINARY* record, const char* type1, int os1,
                                          const char* type2, int os2, const char* path) {
    if (!record || !type1 || !type2) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY_BINARY has not been properly initialized.\n");
        return 1;
    }
    return read_binary_record(record, type1, os1, type2, os2, path, true);
}

int quorix_property_estimate(QUORIX_PROPERTY* ppt, const char*, const char* dir_binary) {
    if (!property_ready(ppt)) return 1;
    for (int i = 0; i < ppt->total; i++)
        for (int j = 0; j < ppt->total; j++) quorix_property_binary_estimate_from_file(&ppt->bin[i][j], dir_binary);
    return 0;
}

int quorix_property_binary_estimate_from_file(QUORIX_PROPERTY_BINARY* record, const char* path_binary) {
    if (!record) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY_BINARY has not been properly initialized.\n");
        return 1;
    }
    if (record->os1 < 1 || record->os2 >= 0 || record->cn > 0.01) return 0;
    for (const LighterAnion& rule : kLighterAnions) {
        if (!same_species(record->type2, record->os2, rule.anion, rule.os)) continue;
        QUORIX_PROPERTY_BINARY lighter;
        if (read_binary_record(&lighter, record->type1, record->os1, rule.lighter, rule.os, path_binary, false) != 0)
            return 0;
        if (lighter.cn > 0) record->cn = rule.slope * lighter.cn + rule.intercept;
        if (lighter.cutoff > 0) record->cutoff = lighter.cutoff;
        return 0;
    }
    return 0;
}

int quorix_property_unitary_derived(QUORIX_PROPERTY* ppt) {
    if (!property_ready(ppt)) return 1;
    for (int i = 0; i < ppt->total; i++) {
        QUORIX_PROPERTY_UNITARY& u = ppt->uni[i];
        if (u.b == 0 || u.b == 1) u.c = 1;
        if (u.b == 2 || u.b == 3) u.c = 2;
    }
    return 0;
}

int quorix_property_validate_generic(const QUORIX_PROPERTY* ppt) {
    if (!property_ready(ppt)) return 1;
    for (int k = 0; k < ppt->total; k++) {
        const QUORIX_PROPERTY_UNITARY& u = ppt->uni[k];
        const struct {
            const char* format;
            bool failed;
            double value;
        } tests[] = {
            {"Error: incorrect q at [%d](%s%d%c) q=%f\n", u.q * u.os <= 0, u.q},
            {"Error: incorrect rc at[%d](%s%d%c) rc=%f\n", u.rc <= 0, u.rc},
            {"Error: incorrect m at[%d](%s%d%c) m=%f\n", u.m <= 0, u.m},
            {"Error: incorrect soft at[%d](%s%d%c) soft=%f\n", u.soft <= 0, u.soft},
        };
        for (const auto& test : tests) {
            if (!test.failed) continue;
            std::fprintf(stderr, test.format, k, u.type, std::abs(u.os), sign_of(u.os), test.value);
            return 1;
        }
    }
    for (int i = 0; i < ppt->total; i++) {
        if (ppt->uni[i].os <= 0) continue;
        for (int j = 0; j < ppt->total; j++) {
            if (ppt->uni[j].os >= 0) continue;
            const QUORIX_PROPERTY_BINARY& p = ppt->bin[i][j];
            const struct {
                const char* name;
                double value;
            } tests[] = {{"cutoff", p.cutoff}, {"b", p.b}, {"cn", p.cn}, {"r0", p.r0}, {"d0", p.d0}, {"rmin", p.rmin}};
            for (const auto& test : tests) {
                if (test.value > 0) continue;
                std::fprintf(stderr, "Error: incorrect %s at [%d](%s%d%c)-(%s%d%c) %s=%f\n", test.name, i, p.type1,
                             std::abs(p.os1), sign_of(p.os1), p.type2, std::abs(p.os2), sign_of(p.os2), test.name,
                             test.value);
                return 1;
            }
        }
    }
    return 0;
}

double quorix_property_hardness_read_from_file(const char* type, int index, const char* path) {
    double result = 0;
    const int unopened = scan_parameter_file(path, kLookupLineBuffer, [&](const char* line) {
        char symbol[kLookupLineBuffer + 1];
        double value[8] = {};
        const int fields = std::sscanf(line, "%1024s %lf %lf %lf %lf %lf %lf %lf %lf", symbol, &value[0], &value[1],
                                       &value[2], &value[3], &value[4], &value[5], &value[6], &value[7]);
        if (fields >= 1 && type && std::strcmp(symbol, type) == 0)
            result = index >= 0 && index <= fields - 2 ? value[index] : 0;
        return false;
    });
    if (unopened) {
        std::printf("Warning: unable to open %s\n", path ? path : "(null)");
        return 0;
    }
    return result;
}

int quorix_property_type_from_atomic_number(int an, QUORIX_ATOM* atom, const char* path) {
    if (!atom) {
        std::fprintf(stderr, "Error: QUORIX_ATOM has not been initialized properly.\n");
        return 1;
    }
    bool found = false;
    std::optional<std::string> malformed;
    const int unopened = scan_parameter_file(path, kLookupLineBuffer, [&](const char* line) {
        char symbol[kLookupLineBuffer + 1];
        int line_an = 0, default_os = 0;
        const int fields = std::sscanf(line, "%d %1024s %*d %d", &line_an, symbol, &default_os);
        // Column 4 (the default oxidation state) is needed to settle a match.
        if (fields < 2 || (fields < 3 && line_an == an)) {
            malformed = trimmed_line(line);
            return true;
        }
        if (line_an != an) return false;
        quorix_copy_bounded(atom->type, symbol, sizeof atom->type);
        atom->os = default_os;
        found = true;
        return true;
    });
    if (scan_failed(unopened, malformed, "Error: unable to open %s.\n", path)) return 1;
    if (!found) {
        std::fprintf(stderr, "Error: unable to find element with atomic number %d from %s.\n", an, path);
        return 1;
    }
    return 0;
}

// ---------------------------------------------------------------- printing

void quorix_property_unitary_print(QUORIX_PROPERTY_UNITARY u) {
    std::printf("%s(%d):soft=%5.3f;rc=%5.3f;m=%6.2f;an=%d;n=%d;g=%d;b=%d;c=%d;q=%6.3f\n", u.type, u.os, u.soft, u.rc,
                u.m, u.an, u.n, u.g, u.b, u.c, u.q);
}

void quorix_property_binary_print(QUORIX_PROPERTY_BINARY p) {
    std::printf(
        "%s(%d)%s(%d):b=%5.3f;b_old=%5.3f;r0=%5.3f;cutoff=%3.1f;cn=%4.2f;d0=%6.3f,rmin=%5.3f;r_bc=%5.3f;r_cc=%5.3f;"
        "bv_s=%6.3f;en_s=%8.5f;f_s=%7.5f;a0=%6.3f;a1=%5.3f;a2=%5.3f\n",
        p.type1, p.os1, p.type2, p.os2, p.b, p.b_old, p.r0, p.cutoff, p.cn, p.d0, p.rmin, p.r_bc, p.r_cc, p.bv_s,
        p.en_s, p.f_s, p.a0, p.a1, p.a2);
}

void quorix_property_print(const QUORIX_PROPERTY* ppt) {
    if (is_empty(ppt)) {
        std::printf("PPT: (not allocated)\n");
        return;
    }
    std::printf("PPT: total number of PROPERTY_UNITARY: %d\n", ppt->total);
    for (int i = 0; i < ppt->total; i++) quorix_property_unitary_print(ppt->uni[i]);
    std::printf("PPT: total number of PROPERTY_BINARY: %d\n", ppt->total * ppt->total);
    for (int i = 0; i < ppt->total; i++)
        for (int j = 0; j < ppt->total; j++) quorix_property_binary_print(ppt->bin[i][j]);
    if (ppt->conducting < 0 || ppt->conducting >= ppt->total)
        std::printf("PPT: conducting species not specified.\n");
    else
        std::printf("PPT: conducting species = %s(%d)\n", ppt->type[ppt->conducting], ppt->os[ppt->conducting]);
    std::printf("PPT: screening factor=%.6f\n", ppt->sf);
}

void quorix_property_print_format(const QUORIX_PROPERTY* ppt) {
    if (is_empty(ppt)) {
        std::printf("PPT: (not allocated)\n");
        return;
    }
    print_format_unitary_table(ppt);
    print_format_binary_table(ppt);
    std::printf("PPT: screening factor = %.6f\n", ppt->sf);
}

int quorix_property_scan_file(const char* path, const std::function<bool(const char* line)>& visit) {
    return scan_parameter_file(path, kLineBuffer, visit);
}
