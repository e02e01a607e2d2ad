// Reading a CIF through the library in tests: the records with the messages printed on the way.
#pragma once

#include <string>

#include "quorix-alloc.hpp"

namespace quorix_test {

struct CifRead {
    int status = -1;
    CellPtr cell;  // empty unless the read succeeded
    SymmetryPtr symmetry;
    std::string out;
    std::string err;
};

// Reads the CIF file at `path` with the databases beside the built executable.
CifRead read_cif_file(const std::string& path);

// An atom at fractional (x, y, z), everything else zero.
inline QUORIX_ATOM make_atom(const char* name, const char* type, int os, double x, double y, double z,
                             double occ = 1.0) {
    QUORIX_ATOM atom{};
    quorix_copy_bounded(atom.name, name, sizeof(atom.name));
    quorix_copy_bounded(atom.type, type, sizeof(atom.type));
    atom.os = os;
    atom.x_f[0] = x;
    atom.x_f[1] = y;
    atom.x_f[2] = z;
    atom.occ = occ;
    return atom;
}

}  // namespace quorix_test
