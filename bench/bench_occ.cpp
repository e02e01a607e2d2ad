// Times the shared-site test and the whole random assignment on the default supercells of real
// CIFs with mixed sites, and checks the test against the plain shortest distance of every pair.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-occ.hpp"

namespace {

const std::string kData = QUORIX_DATA_DIR;
const char* kStructures[] = {"CsSnCl3_In_COD4003024.cif", "YBa2Cu3O6.9_COD1000030.cif",
                             "Lepidolite_Li_mica_AMCSD0015659.cif", "Li7La3Zr2O12_tetragonal_P1_pymatgen.cif"};

double seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool straightforward_shared(QUORIX_CELL* cell, const QUORIX_ATOM& species) {
    auto same = [&](const QUORIX_ATOM& atom) { return atom.os == species.os && std::string(atom.type) == species.type; };
    for (long i = 0; i < cell->total; i++)
        for (long j = 0; j < cell->total; j++)
            if (same(cell->atom[i]) && !same(cell->atom[j]) &&
                quorix_cell_min_distance_btw_atoms(cell, &cell->atom[i], &cell->atom[j]) < 0.3)
                return true;
    return false;
}

}  // namespace

int main() {
    std::srand(1);
    std::printf("%-42s %6s %12s %12s %12s\n", "structure", "atoms", "test", "plain test", "assign all");
    for (const char* name : kStructures) {
        const std::string path = std::string(QUORIX_SOURCE_DIR) + "/tests/data/" + name;
        QUORIX_CELL* raw_cell = nullptr;
        QUORIX_SYMMETRY* raw_symmetry = nullptr;
        if (quorix_cell_import_cif_from_file(&raw_cell, &raw_symmetry, path.c_str(),
                                             (kData + "/database_symcards.dat").c_str(),
                                             (kData + "/database_unitary.dat").c_str()))
            return 1;
        CellPtr cell(raw_cell);
        SymmetryPtr symmetry(raw_symmetry);
        CellPtr super(quorix_cell_supercell_default(cell.get()));
        quorix_atom_sort(super->atom, super->total);

        double fast = 0.0, plain = 0.0;
        bool identical = true;
        for (long i = 0; i < super->total; i++) {
            if (i > 0 && super->atom[i].os == super->atom[i - 1].os &&
                std::string(super->atom[i].type) == super->atom[i - 1].type)
                continue;
            auto start = std::chrono::steady_clock::now();
            const bool shared = quorix_cell_partial_occ_at_conducting_site(super.get(), super->atom[i].type,
                                                                           super->atom[i].os);
            fast += seconds_since(start);
            start = std::chrono::steady_clock::now();
            identical &= shared == straightforward_shared(super.get(), super->atom[i]);
            plain += seconds_since(start);
        }
        const auto start = std::chrono::steady_clock::now();
        CellPtr assigned(quorix_cell_assign_partial_occ_all(super.get()));
        const double assign = seconds_since(start);
        std::printf("%-42s %6ld %10.1f ms %10.1f ms %10.1f ms%s\n", name, super->total, fast * 1e3, plain * 1e3,
                    assign * 1e3, identical ? "" : "  DIFFERENT");
        if (!identical || !assigned) return 1;
    }
    return 0;
}
