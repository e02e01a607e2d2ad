// Test support: running quorix.x, capturing output, scratch directories, one cell and one cube
// builder, and one CIF reader.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-cube.hpp"

namespace quorix_test {

struct Output {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the built executable with `args` in directory `cwd` (the current directory when empty).
Output run_quorix(const std::vector<std::string>& args, const std::filesystem::path& cwd = {});

// Standard output and error of this process, redirected into temporary files while alive.
class Capture {
public:
    Capture();
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    // Ends the capture and returns what was printed; later calls return the same.
    const Output& finish();

private:
    int saved_[2] = {-1, -1};
    std::FILE* files_[2] = {nullptr, nullptr};
    Output printed_;
};

std::filesystem::path test_data(const std::string& name);
std::string unitary_db();
std::string binary_db();
std::string symcards_db();
std::string read_file(const std::filesystem::path& path);

// A fresh directory removed at the end of the test; inputs are copied in because the program
// writes its results beside them.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path copy_in(const std::string& data_name);
    std::filesystem::path write(const std::string& name, const std::string& content);

private:
    std::filesystem::path path_;
};

// A CIF read as the commands read it, with what the reader printed.
struct CifRead {
    int status = -1;
    CellPtr cell;  // empty unless the read succeeded
    SymmetryPtr symmetry;
    std::string out, err;
};

// `path` is a file of tests/data when it holds no '/'.
CifRead read_cif(const std::string& path);

struct Site {
    const char* type;
    int os;
    double x, y, z;  // fractional
    double occ = 1.0;
    const char* name = "";
};

// A cell of edges a, b, c (A) and angles (degrees) holding the sites; a right-angled cell has
// exact diagonal lattice vectors, so distances in it are exact too.
CellPtr make_cell(double a, double b, double c, const std::vector<Site>& sites, double alpha = 90, double beta = 90,
                  double gamma = 90);

QUORIX_ATOM make_atom(const char* name, const char* type, int os, double x, double y, double z, double occ = 1.0);

// A cube over the cell of rows `a` whose voxel (i, j, k) holds field(i, j, k).
template <class Field>
CubePtr make_cube(const long n[3], const double a[3][3], Field field) {
    CubePtr cube(quorix_cube_new(n));
    for (int d = 0; d < 3; d++)
        for (int c = 0; c < 3; c++) {
            cube->a[d][c] = a[d][c];
            cube->a_i[d][c] = a[d][c] / n[d];
        }
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++) cube->en[i][j][k] = field(i, j, k);
    return cube;
}

// An orthogonal cube of n0 x n1 x n2 voxels of the given edge (A).
template <class Field>
CubePtr grid_cube(long n0, long n1, long n2, double voxel, Field field) {
    const long n[3] = {n0, n1, n2};
    const double a[3][3] = {{voxel * n0, 0, 0}, {0, voxel * n1, 0}, {0, 0, voxel * n2}};
    return make_cube(n, a, field);
}

// Text rows as the CIF reader hands them over: split at '\n', carriage returns kept.
class Rows {
public:
    explicit Rows(const std::string& text);
    char** content() { return pointers_.data(); }
    long count() const { return static_cast<long>(pointers_.size()); }

private:
    std::vector<std::string> lines_;
    std::vector<char*> pointers_;
};

// cos(2 pi m i / n): a wave with m periods over the n points of an axis.
double wave(long i, long n, int m);

}  // namespace quorix_test

namespace quorix_test {

// -cos(2 pi u) summed over the axes on an 8^3 grid in a cube of edge 4: the minimum -3 at the
// origin, first-order saddles at the face centres, second-order ones at the edge centres, the
// maximum 3 at the body centre, all on grid points.
inline CubePtr cosine_landscape() {
    return grid_cube(8, 8, 8, 0.5, [](long i, long j, long k) { return -wave(i, 8, 1) - wave(j, 8, 1) - wave(k, 8, 1); });
}

}  // namespace quorix_test
