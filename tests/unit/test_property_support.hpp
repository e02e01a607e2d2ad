// Cells built in memory and parameter files written for the force-field tests.
#pragma once

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cli.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-cif.hpp"

namespace quorix_test {

struct Site {
    const char* type;
    int os;
    double x, y, z;  // fractional
    double occ = 1.0;
};

// A cell of lattice parameters a, b, c (A) and alpha, beta, gamma (degrees) holding the sites.
inline QUORIX_CELL* make_cell(double a, double b, double c, double alpha, double beta, double gamma,
                              const std::vector<Site>& sites) {
    QUORIX_CELL* cell = quorix_cell_new(static_cast<long>(sites.size()));
    const double edges[3] = {a, b, c}, angles[3] = {alpha, beta, gamma};
    for (int k = 0; k < 3; k++) {
        cell->parameter[k] = edges[k];
        cell->angle[k] = angles[k];
    }
    for (size_t i = 0; i < sites.size(); i++) {
        QUORIX_ATOM& atom = cell->atom[i];
        quorix_copy_bounded(atom.type, sites[i].type, sizeof atom.type);
        atom.os = sites[i].os;
        atom.occ = sites[i].occ;
        atom.x_f[0] = sites[i].x;
        atom.x_f[1] = sites[i].y;
        atom.x_f[2] = sites[i].z;
    }
    quorix_cell_update_cartesion(cell);
    return cell;
}

// A rectangular a x b x c cell holding the sites.
inline QUORIX_CELL* make_cell(double a, double b, double c, const std::vector<Site>& sites) {
    return make_cell(a, b, c, 90, 90, 90, sites);
}

// A CIF of tests/data read as the commands read it, quietly; NULL when it cannot be read.
inline QUORIX_CELL* read_cif(const std::string& name) {
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    testing::internal::CaptureStdout();
    const int failed = quorix_cell_import_cif_from_file(&cell, &symmetry, test_data(name).c_str(),
                                                        symcards_db().c_str(), unitary_db().c_str());
    testing::internal::GetCapturedStdout();
    if (failed) return nullptr;
    quorix_symmetry_free(symmetry);
    return cell;
}

// Moves every atom by a fixed, irregular pattern of up to `amplitude` A per component.
inline void displace(QUORIX_CELL* cell, double amplitude) {
    for (long i = 0; i < cell->total; i++)
        for (int k = 0; k < 3; k++) cell->atom[i].x[k] += amplitude * std::sin(1.7 * i + 2.3 * k + 0.4);
    quorix_cell_update_coordinate_fractional(cell);
}

// Files written into a scratch directory of the test's own, removed with the fixture; tests
// run as parallel processes, so names must not be shared between them.
class TempFiles : public testing::Test {
protected:
    std::string write(const std::string& name, const std::string& content) {
        return dir_.write("quorix-ff-" + name, content).string();
    }

private:
    ScratchDir dir_;
};

}  // namespace quorix_test
