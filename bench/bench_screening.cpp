// Times the automatic screening factor of a 192-atom garnet: the search on the straightforward
// stress (six full total energies per step) against the search on pair terms found once.
#include <chrono>
#include <cstdio>
#include <string>

#include "bench_support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-rx.hpp"

namespace {

const std::string kData = QUORIX_DATA_DIR;
const std::string kStructure = std::string(QUORIX_SOURCE_DIR) + "/tests/data/Li7La3Zr2O12_tetragonal_P1_pymatgen.cif";


// Runs `search` on a copy of the set with the factor cleared, without its messages.
template <class Search>
double timed_search(const QUORIX_PROPERTY* ppt, Search search, double* seconds) {
    PropertyPtr copy(quorix_property_copy(ppt));
    copy->sf = -1.0;
    const bench::QuietStdout quiet;
    const auto start = bench::Clock::now();
    search(copy.get());
    *seconds = bench::seconds_since(start);
    return copy->sf;
}

}  // namespace

int main() {
    QUORIX_CELL* raw_cell = nullptr;
    QUORIX_SYMMETRY* raw_symmetry = nullptr;
    if (quorix_cell_import_cif_from_file(&raw_cell, &raw_symmetry, kStructure.c_str(),
                                         (kData + "/database_symcards.dat").c_str(),
                                         (kData + "/database_unitary.dat").c_str()) != 0)
        return 1;
    CellPtr cell(raw_cell);
    SymmetryPtr symmetry(raw_symmetry);
    // A given factor skips the search while the set is built.
    PropertyPtr ppt(quorix_property_import_from_cell(cell.get(), nullptr, 0, 0.75,
                                                     (kData + "/database_unitary.dat").c_str(),
                                                     (kData + "/database_binary.dat").c_str()));
    if (!ppt) return 1;

    double straightforward_time = 0, fast_time = 0;
    const double straightforward = timed_search(
        ppt.get(),
        [&](QUORIX_PROPERTY* p) {
            p->sf = 0.75;
            quorix_property_search_screening_factor(p, [&](double sf, double* pressure) {
                double stress[3];
                p->sf = sf;
                if (quorix_cell_calculate_stress_diagonal(stress, cell.get(), p) != 0) return 1;
                *pressure = (stress[0] + stress[1] + stress[2]) / 3.0;
                return 0;
            });
        },
        &straightforward_time);
    const double fast = timed_search(
        ppt.get(), [&](QUORIX_PROPERTY* p) { quorix_property_calculate_screening_factor(p, cell.get()); }, &fast_time);

    std::printf("screening factor, %ld atoms\n", cell->total);
    std::printf("  straightforward stress: %8.3f s  sf = %.17g\n", straightforward_time, straightforward);
    std::printf("  precomputed pair terms: %8.3f s  sf = %.17g\n", fast_time, fast);
    std::printf("  %s\n", straightforward == fast ? "identical" : "DIFFERENT");
    return straightforward == fast ? 0 : 1;
}
