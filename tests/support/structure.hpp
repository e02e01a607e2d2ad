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

}  // namespace quorix_test
