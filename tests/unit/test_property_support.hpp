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

inline QUORIX_CELL* make_cell(double a, double b, double c, double alpha, double beta, double gamma,
                              const std::vector<Site>& sites) {
    QUORIX_CELL* cell = quorix_cell_new(static_cast<long>(sites.size()));
    cell->parameter[0] = a;
    cell->parameter[1] = b;
    cell->parameter[2] = c;
    cell->angle[0] = alpha;
    cell->angle[1] = beta;
    cell->angle[2] = gamma;
    for (size_t i = 0; i < sites.size(); i++) {
        QUORIX_ATOM& atom = cell->atom[i];
        quorix_copy_bounded(atom.type, sites[i].type, sizeof atom.type);
        quorix_copy_bounded(atom.name, sites[i].type, sizeof atom.name);
        atom.os = sites[i].os;
        atom.occ = sites[i].occ;
        atom.x_f[0] = sites[i].x;
        atom.x_f[1] = sites[i].y;
        atom.x_f[2] = sites[i].z;
    }
    quorix_cell_update_cartesion(cell);
    return cell;
}

// Antifluorite Li2O, a = 4.619 A, as its 12 atoms.
inline QUORIX_CELL* make_li2o() {
    const double fcc[4][3] = {{0, 0, 0}, {0, 0.5, 0.5}, {0.5, 0, 0.5}, {0.5, 0.5, 0}};
    std::vector<Site> sites;
    for (const auto& f : fcc) {
        sites.push_back({"O", -2, f[0], f[1], f[2]});
        sites.push_back({"Li", 1, f[0] + 0.25, f[1] + 0.25, f[2] + 0.25});
        sites.push_back({"Li", 1, f[0] + 0.75, f[1] + 0.75, f[2] + 0.75});
    }
    for (auto& site : sites)
        for (double* x : {&site.x, &site.y, &site.z})
            if (*x >= 1) *x -= 1;
    return make_cell(4.619, 4.619, 4.619, 90, 90, 90, sites);
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

// Files written into the test's temporary directory and removed with the fixture.
class TempFiles : public testing::Test {
protected:
    std::string write(const std::string& name, const std::string& content) {
        const std::string path = testing::TempDir() + "/quorix-ff-" + name;
        std::ofstream(path, std::ios::binary) << content;
        written_.push_back(path);
        return path;
    }
    void TearDown() override {
        for (const auto& path : written_) std::remove(path.c_str());
    }

private:
    std::vector<std::string> written_;
};

}  // namespace quorix_test
