#include "structure.hpp"

#include <gtest/gtest.h>

#include "cli.hpp"
#include "quorix-import-cif.hpp"

namespace quorix_test {

CifRead read_cif_file(const std::string& path) {
    CifRead r;
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    r.status = quorix_cell_import_cif_from_file(&cell, &symmetry, path.c_str(), symcards_db().c_str(),
                                                unitary_db().c_str());
    r.out = testing::internal::GetCapturedStdout();
    r.err = testing::internal::GetCapturedStderr();
    if (r.status == 0) {
        r.cell.reset(cell);
        r.symmetry.reset(symmetry);
    }
    return r;
}

}  // namespace quorix_test
