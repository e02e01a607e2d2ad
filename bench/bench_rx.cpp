// Benchmark of the relaxations: steepest descent of the 192-atom garnet and a 7-image nudged
// elastic band of a Li vacancy hop along b in a 2x1x2 LiFePO4 supercell.
#include <cstdio>
#include <ctime>
#include <string>

#include "bench_support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-property.hpp"
#include "quorix-rx-neb.hpp"
#include "quorix-rx-sd.hpp"

namespace {

double cpu_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

std::string database(const char* name) { return std::string(QUORIX_DATA_DIR) + "/" + name; }

CellPtr read_cell(const char* file) {
    const std::string path = std::string(QUORIX_SOURCE_DIR) + "/tests/data/" + file;
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    quorix_cell_import_cif_from_file(&cell, &symmetry, path.c_str(), database("database_symcards.dat").c_str(),
                                     database("database_unitary.dat").c_str());
    quorix_symmetry_free(symmetry);
    return CellPtr(cell);
}

PropertyPtr property_of(QUORIX_CELL* cell) {
    return PropertyPtr(quorix_property_import_from_cell(cell, nullptr, 0, -1.0,
                                                        database("database_unitary.dat").c_str(),
                                                        database("database_binary.dat").c_str()));
}

void bench_sd() {
    const CellPtr cell = read_cell("Li7La3Zr2O12_tetragonal_P1_pymatgen.cif");
    const PropertyPtr ppt = cell ? property_of(cell.get()) : nullptr;
    if (!ppt) return;
    const auto start = bench::Clock::now();
    const double cpu_start = cpu_seconds();
    long steps = 0;
    bool converged = false;
    {
        bench::QuietStdout quiet;
        quorix_ptr<QUORIX_RX_SD, quorix_rx_sd_free> state(quorix_rx_sd_new(cell.get(), ppt.get()));
        state->step_p = 0;
        quorix_rx_sd_run(state.get());
        steps = state->step;
        converged = state->converged;
    }
    std::printf("rx-sd garnet (%ld atoms), f_conv 0.005: %ld steps, %ld force evaluations, %.2f s (processor %.2f s), converged %s\n",
                cell->total, steps, steps, bench::seconds_since(start), cpu_seconds() - cpu_start, converged ? "yes" : "no");
}

void bench_neb() {
    const CellPtr cell = read_cell("LiFePO4_COD4001848_occupancy.cif");
    if (!cell) return;
    int n[3] = {2, 1, 2};
    const CellPtr super(quorix_cell_supercell(cell.get(), n));
    const double from[3] = {0, 0, 0}, to[3] = {0, 0.5, 0};
    CellPtr first, last;
    const PropertyPtr ppt = super ? property_of(super.get()) : nullptr;
    if (!ppt || quorix_neb_vacancy_hop_ends(super.get(), from, to, first, last) != 0) return;
    QuorixNebBand band;
    const auto start = bench::Clock::now();
    const double cpu_start = cpu_seconds();
    {
        bench::QuietStdout quiet;
        QUORIX_CELL* ends[2] = {first.get(), last.get()};
        for (QUORIX_CELL* end : ends) quorix_neb_relax_image(end, ppt.get(), {}, &band.force_evaluations);
        const long end_evaluations = band.force_evaluations;
        quorix_neb_band_interpolate(band, first.get(), last.get(), 7);
        band.force_evaluations = end_evaluations;
        QuorixNebSettings settings;
        settings.step_log = -1;
        quorix_neb_band_relax(band, ppt.get(), settings, "/tmp/bench_rx_neb");
    }
    const double barrier = band.energy.empty() ? 0 : band.energy[band.climbing] - band.energy[0];
    std::printf("rx-neb LiFePO4 2x1x2 (%ld atoms), 7 images, f_conv 0.005 eV/A: %ld steps, %ld force evaluations, "
                "%.2f s (processor %.2f s), converged %s, barrier %.4f eV\n",
                first->total, band.steps, band.force_evaluations, bench::seconds_since(start), cpu_seconds() - cpu_start,
                band.converged ? "yes" : "no", barrier);
}

}  // namespace

int main() {
    bench_sd();
    bench_neb();
    return 0;
}
