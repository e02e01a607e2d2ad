// The cube record, a scalar field on a periodic grid over one cell, and Gaussian cube files
// (Bohr in the file, angstrom in memory).
#include "quorix-cube.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>

#include "quorix-file.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-property.hpp"

QUORIX_CUBE* quorix_cube_new(const long* n) {
    if (!n || n[0] <= 0 || n[1] <= 0 || n[2] <= 0) {
        std::fprintf(stderr, "Error: argument must be positive.\n");
        return nullptr;
    }
    auto* cube = static_cast<QUORIX_CUBE*>(std::calloc(1, sizeof(QUORIX_CUBE)));
    if (!cube) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_CUBE.\n");
        return nullptr;
    }
    std::memcpy(cube->n, n, sizeof(cube->n));
    cube->en = static_cast<double***>(std::calloc(n[0], sizeof(double**)));
    if (!cube->en) {
        std::fprintf(stderr, "Error: unable to allocate cube->en\n");
        quorix_cube_free(cube);
        return nullptr;
    }
    for (long i = 0; i < n[0]; i++) {
        cube->en[i] = static_cast<double**>(std::calloc(n[1], sizeof(double*)));
        if (!cube->en[i]) {
            std::fprintf(stderr, "Error: unable to allocate cube->en[]\n");
            quorix_cube_free(cube);
            return nullptr;
        }
        for (long j = 0; j < n[1]; j++) {
            cube->en[i][j] = static_cast<double*>(std::calloc(n[2], sizeof(double)));
            if (!cube->en[i][j]) {
                std::fprintf(stderr, "Error: unable to allocate cube->en[][]\n");
                quorix_cube_free(cube);
                return nullptr;
            }
        }
    }
    return cube;
}

// Also releases a partly built cube: rows not yet allocated are null.
void quorix_cube_free(QUORIX_CUBE* cube) {
    if (!cube) return;
    if (cube->en) {
        for (long i = 0; i < cube->n[0] && cube->en[i]; i++) {
            for (long j = 0; j < cube->n[1]; j++) std::free(cube->en[i][j]);
            std::free(cube->en[i]);
        }
        std::free(cube->en);
    }
    std::free(cube);
}

void quorix_cube_print_info(const QUORIX_CUBE* cube) {
    if (!cube) {
        std::printf("(not allocated)\n");
        return;
    }
    std::printf("CUBE: cube size = %ld * %ld * %ld\n", cube->n[0], cube->n[1], cube->n[2]);
    std::printf("CUBE: cell vector (A):\n");
    for (const auto& row : cube->a) std::printf("CUBE:  %11.6f %11.6f %11.6f\n", row[0], row[1], row[2]);
    std::printf("CUBE: votex vector (A):\n");
    for (const auto& row : cube->a_i) std::printf("CUBE:  %11.6f %11.6f %11.6f\n", row[0], row[1], row[2]);
}

// ---------------------------------------------------------------- Gaussian cube files

namespace {

constexpr double kBohrPerAngstrom = 1.889725989;

struct FileClose {
    void operator()(FILE* file) const noexcept { std::fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileClose>;

// Line 2 of a header: the conducting species and the screening factor.
bool write_conducting_line(FILE* file, const QUORIX_PROPERTY* ppt) {
    if (ppt->conducting < 0 || ppt->conducting >= ppt->total) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has no conducting species.\n");
        return false;
    }
    const int os = ppt->os[ppt->conducting];
    std::fprintf(file, "Conducting = %s%d%c ; sf = %lf;\r\n", ppt->type[ppt->conducting], std::abs(os),
                 os < 0 ? '-' : '+', ppt->sf);
    return true;
}

bool write_atoms(FILE* file, const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    for (long p = 0; p < cell->total; p++) {
        const QUORIX_ATOM& atom = cell->atom[p];
        const int index = quorix_property_find_index(ppt, atom.type, atom.os);
        if (index < 0) {
            std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
            return false;
        }
        std::fprintf(file, "%4d %11.6f %11.6f %11.6f %11.6f\r\n", ppt->uni[index].an, ppt->uni[index].q,
                     atom.x[0] * kBohrPerAngstrom, atom.x[1] * kBohrPerAngstrom, atom.x[2] * kBohrPerAngstrom);
    }
    return true;
}

// Appends " %12.6f\r\n" of the value. std::to_chars with a precision writes the digits printf
// would write, at a fraction of its cost, which matters for the millions of values of a landscape;
// values it cannot write in a short buffer, and the non-finite ones, go through printf itself.
void append_value(std::string& out, double value) {
    constexpr int kWidth = 12;
    char digits[64];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 6);
    if (error != std::errc() || !std::isfinite(value)) {
        char line[400];
        std::snprintf(line, sizeof line, " %12.6f\r\n", value);
        out += line;
        return;
    }
    const long length = end - digits;
    out.append(1 + std::max(0L, kWidth - length), ' ');
    out.append(digits, static_cast<size_t>(length));
    out += "\r\n";
}

// The values, z fastest, one line each; a row along z is formatted and written at once.
void write_grid(FILE* file, const QUORIX_CUBE* cube, int once) {
    const long extra = once ? 0 : 1;
    const long* n = cube->n;
    std::string row;
    for (long i = 0; i < n[0] + extra; i++)
        for (long j = 0; j < n[1] + extra; j++) {
            row.clear();
            for (long k = 0; k < n[2] + extra; k++) append_value(row, cube->en[i % n[0]][j % n[1]][k % n[2]]);
            std::fwrite(row.data(), 1, row.size(), file);
        }
}

}  // namespace

int quorix_cube_export_to_file(const QUORIX_CUBE* cube, QUORIX_CELL* cell, QUORIX_PROPERTY* ppt, const char* path,
                               int once) {
    if (!cube || !cube->en) {
        std::fprintf(stderr, "Error: QUORIX_CUBE has not been properly initialized.\n");
        return 1;
    }
    const bool header = cell && cell->atom && cell->total > 0 && ppt;
    std::printf(header ? "Message: cube file is generated with header.\n"
                       : "Message: cube file is generated without header.\n");
    QuorixResultFile result;
    const QuorixOpen opened = result.open(path);
    if (opened != QuorixOpen::ok) {
        if (opened == QuorixOpen::failed) std::fprintf(stderr, "Error: unable to open file %s\n", path ? path : "(null)");
        return 1;
    }
    FILE* file = result.get();
    if (header) {
        std::fprintf(file, "%s\r\n", cell->name);
        if (!write_conducting_line(file, ppt)) return 1;
        std::fprintf(file, "%4ld %11.6f %11.6f %11.6f\r\n", cell->total, 0.0, 0.0, 0.0);
    } else {
        std::fprintf(file, "noname\r\n\r\n%4d %11.6f %11.6f %11.6f\r\n", 0, 0.0, 0.0, 0.0);
    }
    for (int d = 0; d < 3; d++)
        std::fprintf(file, "%4ld %11.6f %11.6f %11.6f\r\n", cube->n[d] + (once ? 0 : 1),
                     cube->a_i[d][0] * kBohrPerAngstrom, cube->a_i[d][1] * kBohrPerAngstrom,
                     cube->a_i[d][2] * kBohrPerAngstrom);
    if (header && !write_atoms(file, cell, ppt)) {
        result.commit();  // a cube whose atoms cannot all be named is left as far as it was written
        return 1;
    }
    write_grid(file, cube, once);
    if (!result.commit()) return 1;
    std::printf("Message: cube file saved to %s.\n", path);
    return 0;
}

namespace {

QuorixOpen read_whole_file(const char* path, std::string& content) {
    FILE* opened = nullptr;
    const QuorixOpen status = quorix_file_open_input(path, &opened);
    if (status != QuorixOpen::ok) return status;
    FilePtr file(opened);
    char buffer[65536];
    size_t count;
    while ((count = std::fread(buffer, 1, sizeof(buffer), file.get())) > 0) content.append(buffer, count);
    return std::ferror(file.get()) ? QuorixOpen::failed : QuorixOpen::ok;
}

// The header of a cube file, line by line; the values after it are read as one stream.
class CubeText {
public:
    CubeText(const std::string& content, const char* path) : content_(content), path_(path) {}

    // The next line without its terminator; false (with a message) when the file ends first.
    bool next_line(std::string& line) {
        line_number_++;
        if (position_ >= content_.size()) return malformed();
        const size_t end = std::min(content_.find('\n', position_), content_.size());
        line.assign(content_, position_, end - position_);
        position_ = end + 1;
        return true;
    }
    bool malformed() const {
        std::fprintf(stderr, "Error: unable to read line %ld of cube file %s.\n", line_number_, path_);
        return false;
    }
    const char* rest() const { return content_.c_str() + std::min(position_, content_.size()); }
    size_t size() const { return content_.size(); }
    const char* path() const { return path_; }

private:
    const std::string& content_;
    const char* path_;
    size_t position_ = 0;
    long line_number_ = 0;
};

struct CubeHeader {
    long atoms = 0;
    bool data_set_ids = false;  // a negative atom count announces them after the atoms
    long n[3] = {0, 0, 0};
    double a_i[3][3] = {};
};

bool read_header(CubeText& text, CubeHeader& header) {
    std::string line;
    if (!text.next_line(line) || !text.next_line(line) || !text.next_line(line)) return false;
    if (std::sscanf(line.c_str(), "%ld", &header.atoms) != 1 || header.atoms == LONG_MIN) return text.malformed();
    header.data_set_ids = header.atoms < 0;
    header.atoms = std::labs(header.atoms);
    for (int d = 0; d < 3; d++) {
        if (!text.next_line(line)) return false;
        double* v = header.a_i[d];
        if (std::sscanf(line.c_str(), "%ld %lf %lf %lf", &header.n[d], &v[0], &v[1], &v[2]) != 4)
            return text.malformed();
        if (!std::isfinite(v[0]) || !std::isfinite(v[1]) || !std::isfinite(v[2])) {
            std::fprintf(stderr, "Error: cube file %s has a voxel vector that is not finite.\n", text.path());
            return false;
        }
        for (int c = 0; c < 3; c++) v[c] /= kBohrPerAngstrom;
    }
    return true;
}

// Refuses counts whose values cannot all be in the file (each takes a digit and a separator),
// so that a damaged header cannot make us allocate a huge grid.
bool counts_fit(const CubeText& text, const long* n) {
    long points = 1;
    for (int d = 0; d < 3; d++)
        if (n[d] > 0 && __builtin_mul_overflow(points, n[d], &points)) points = LONG_MAX;
    if (points <= static_cast<long>(text.size() / 2) + 1) return true;
    std::fprintf(stderr, "Error: cube file %s is too short for a %ld * %ld * %ld grid.\n", text.path(), n[0], n[1],
                 n[2]);
    return false;
}

// Atom lines: atomic number, charge, Cartesian position in Bohr; species from the species file.
CellPtr read_atoms(CubeText& text, long total, const char* dir_unitary) {
    CellPtr cell(quorix_cell_new(total));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return nullptr;
    }
    std::string line;
    for (long p = 0; p < total; p++) {
        QUORIX_ATOM& atom = cell->atom[p];
        int an = 0;
        if (!text.next_line(line)) return nullptr;
        if (std::sscanf(line.c_str(), "%d %lf %lf %lf %lf", &an, &atom.value, &atom.x[0], &atom.x[1], &atom.x[2]) != 5) {
            text.malformed();
            return nullptr;
        }
        for (double& x : atom.x) x /= kBohrPerAngstrom;
        atom.occ = 1.0;
        if (quorix_property_type_from_atomic_number(an, &atom, dir_unitary)) {
            std::fprintf(stderr, "Error: quorix_property_type_from_atomic_number() returns non-zero.\n");
            return nullptr;
        }
    }
    return cell;
}

// The line after the atoms of an orbital cube: the number of data sets per point, then their
// ids. Only a file of one data set holds a single landscape.
bool read_data_set_ids(CubeText& text) {
    std::string line;
    if (!text.next_line(line)) return false;
    long count = 0;
    if (std::sscanf(line.c_str(), "%ld", &count) != 1 || count < 1) return text.malformed();
    if (count == 1) return true;
    std::fprintf(stderr, "Error: cube file %s holds %ld data sets per point (orbitals); only a single one can be read.\n",
                 text.path(), count);
    return false;
}

bool skip_lines(CubeText& text, long total) {
    std::string line;
    for (long p = 0; p < total; p++)
        if (!text.next_line(line)) return false;
    return true;
}

// Reads the file's n0*n1*n2 values in order and keeps those inside the cube, which is smaller
// than the file's grid when the file repeats the boundary planes.
bool read_values(const CubeText& text, const long* n, QUORIX_CUBE* cube) {
    const char* cursor = text.rest();
    const long total = n[0] * n[1] * n[2];
    long count = 0;
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++, count++) {
                char* end = nullptr;
                const double value = std::strtod(cursor, &end);
                if (end == cursor) {
                    std::fprintf(stderr, "Error: cube file %s holds only %ld of %ld values.\n", text.path(), count,
                                 total);
                    return false;
                }
                if (!std::isfinite(value)) {
                    std::fprintf(stderr, "Error: cube file %s holds a value that is not a finite number.\n",
                                 text.path());
                    return false;
                }
                cursor = end;
                if (i < cube->n[0] && j < cube->n[1] && k < cube->n[2]) cube->en[i][j][k] = value;
            }
    // Values left over mean the header miscounts its atoms or points, and every value read is
    // misplaced.
    while (std::isspace(static_cast<unsigned char>(*cursor))) cursor++;
    if (*cursor == '\0') return true;
    std::fprintf(stderr, "Error: cube file %s holds more than its %ld values.\n", text.path(), total);
    return false;
}

}  // namespace

int quorix_cube_import_from_file(QUORIX_CUBE** cube_out, QUORIX_CELL** cell_out, const char* path, int once,
                                 const char* dir_unitary) {
    if (!cube_out) {
        std::fprintf(stderr, "Error: null arguments found.\n");
        return 1;
    }
    *cube_out = nullptr;
    if (cell_out) *cell_out = nullptr;
    std::string content;
    const QuorixOpen read = read_whole_file(path, content);
    if (read != QuorixOpen::ok) {
        if (read == QuorixOpen::failed) std::printf("Error: unable to open %s.\n", path ? path : "(null)");
        return 1;
    }
    CubeText text(content, path);
    CubeHeader header;
    if (!read_header(text, header) || !counts_fit(text, header.n)) return 1;

    long n[3];
    for (int d = 0; d < 3; d++) n[d] = once == 1 ? header.n[d] : header.n[d] - 1;
    CubePtr cube(quorix_cube_new(n));
    if (!cube) {
        std::fprintf(stderr, "quorix_cube_new() returns NULL.\n");
        return 1;
    }
    for (int d = 0; d < 3; d++)
        for (int c = 0; c < 3; c++) {
            cube->a_i[d][c] = header.a_i[d][c];
            cube->a[d][c] = n[d] * header.a_i[d][c];
        }

    CellPtr cell;
    if (cell_out && header.atoms > 0) {
        if (header.atoms > static_cast<long>(text.size())) {  // an atom takes a line of its own
            std::fprintf(stderr, "Error: cube file %s is too short for %ld atoms.\n", path, header.atoms);
            return 1;
        }
        std::printf("Message: cell information found, attempting to load cell.\n");
        cell = read_atoms(text, header.atoms, dir_unitary);
        if (!cell) return 1;
    } else {
        std::printf("Message: cell information not read.\n");
        if (!skip_lines(text, header.atoms)) return 1;
    }
    if (header.data_set_ids && !read_data_set_ids(text)) return 1;
    if (!read_values(text, header.n, cube.get())) return 1;

    if (cell) {
        quorix_copy_bounded(cell->name, path, sizeof(cell->name));
        std::memcpy(cell->a, cube->a, sizeof(cell->a));
        quorix_cell_update_fractional(cell.get());
        *cell_out = cell.release();
    }
    *cube_out = cube.release();
    std::printf("Message: cube loaded from %s successfully.\n", path);
    return 0;
}

bool quorix_cube_read_conducting(const char* path, char (&type)[3], int& os) {
    FILE* opened = nullptr;
    if (quorix_file_open_input(path, &opened) != QuorixOpen::ok) return false;
    FilePtr file(opened);
    char line[1024];
    if (!std::fgets(line, sizeof line, file.get()) || !std::fgets(line, sizeof line, file.get())) return false;
    char sign = '\0';
    if (std::sscanf(line, "Conducting = %2[A-Za-z]%d%c", type, &os, &sign) != 3 || (sign != '+' && sign != '-'))
        return false;
    if (sign == '-') os = -os;
    return true;
}

QUORIX_CUBE* quorix_cube_super_simple(const QUORIX_CUBE* cube, const int* m) {
    if (!cube || !cube->en) {
        std::fprintf(stderr, "Error: QUORIX_CUBE has not been properly initialized.\n");
        return nullptr;
    }
    if (!m || m[0] <= 0 || m[1] <= 0 || m[2] <= 0) {
        std::fprintf(stderr, "Error: vector must not contain non-positive elements.\n");
        return nullptr;
    }
    const long n[3] = {cube->n[0] * m[0], cube->n[1] * m[1], cube->n[2] * m[2]};
    QUORIX_CUBE* super = quorix_cube_new(n);
    if (!super) {
        std::fprintf(stderr, "Error: quorix_cube_new() returns NULL.\n");
        return nullptr;
    }
    for (int k = 0; k < 3; k++)
        for (int c = 0; c < 3; c++) {
            super->a_i[k][c] = cube->a_i[k][c];
            super->a[k][c] = cube->a[k][c] * m[k];
        }
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++)
                super->en[i][j][k] = cube->en[i % cube->n[0]][j % cube->n[1]][k % cube->n[2]];
    return super;
}
