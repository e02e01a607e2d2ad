// Benchmark of the relaxations: one energy and force evaluation of the 192-atom garnet by the
// plain sums and by the pair list, steepest descent of the garnet, with the cell of LiFePO4, and
// a 7-image nudged elastic band of a Li vacancy hop along b in a 2x1x2 LiFePO4 supercell.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "bench_support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-property.hpp"
#include "quorix-rx-neb.hpp"
#include "quorix-rx-pairs.hpp"
#include "quorix-rx-sd.hpp"
#include "quorix-rx.hpp"

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

// Processor seconds per evaluation of energy and forces, plain and by a list made anew each time,
// and the largest difference of the two relative to the largest value.
void bench_evaluation(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    constexpr int kRepeats = 20;
    const long n = cell->total;
    std::vector<double> plain(3 * n), listed(3 * n);
    std::vector<double*> plain_rows(n), listed_rows(n);
    for (long i = 0; i < n; i++) plain_rows[i] = &plain[3 * i], listed_rows[i] = &listed[3 * i];
    double plain_energy = 0, listed_energy = 0;
    double start = cpu_seconds();
    for (int r = 0; r < kRepeats; r++) {
        plain_energy = quorix_cell_calculate_total_energy(cell, ppt);
        quorix_cell_calculate_force(plain_rows.data(), cell, ppt);
    }
    const double plain_seconds = (cpu_seconds() - start) / kRepeats;
    start = cpu_seconds();
    for (int r = 0; r < kRepeats; r++) QuorixRxPairs().energy_and_force(cell, ppt, listed_energy, listed_rows.data());
    const double listed_seconds = (cpu_seconds() - start) / kRepeats;
    double largest = 0, difference = 0;
    for (size_t c = 0; c < plain.size(); c++) {
        largest = std::max(largest, std::fabs(plain[c]));
        difference = std::max(difference, std::fabs(listed[c] - plain[c]));
    }
    std::printf("energy and forces, garnet: plain %.2f ms, pair list (built each time) %.2f ms; energy difference "
                "%.1e eV, largest force difference %.1e of the largest force\n",
                1e3 * plain_seconds, 1e3 * listed_seconds, std::fabs(listed_energy - plain_energy),
                difference / largest);
}

void bench_sd_run(const char* label, const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, long step_p) {
    const auto start = bench::Clock::now();
    const double cpu_start = cpu_seconds();
    long steps = 0;
    bool converged = false;
    double parameters[3] = {};
    {
        bench::QuietStdout quiet;
        quorix_ptr<QUORIX_RX_SD, quorix_rx_sd_free> state(quorix_rx_sd_new(cell, ppt));
        state->step_p = step_p;
        quorix_rx_sd_run(state.get());
        steps = state->step;
        converged = state->converged;
        std::copy(state->cell->parameter, state->cell->parameter + 3, parameters);
    }
    std::printf("rx-sd %s (%ld atoms), step_p %ld, f_conv 0.005: %ld steps, %.2f s (processor %.2f s), converged %s, "
                "a b c %.3f %.3f %.3f\n",
                label, cell->total, step_p, steps, bench::seconds_since(start), cpu_seconds() - cpu_start,
                converged ? "yes" : "no", parameters[0], parameters[1], parameters[2]);
}

void bench_sd() {
    const CellPtr garnet = read_cell("Li7La3Zr2O12_tetragonal_P1_pymatgen.cif");
    const PropertyPtr garnet_ppt = garnet ? property_of(garnet.get()) : nullptr;
    if (!garnet_ppt) return;
    bench_evaluation(garnet.get(), garnet_ppt.get());
    bench_sd_run("garnet", garnet.get(), garnet_ppt.get(), 0);
    const CellPtr lfp = read_cell("LiFePO4_COD4001848_occupancy.cif");
    const PropertyPtr lfp_ppt = lfp ? property_of(lfp.get()) : nullptr;
    if (lfp_ppt) bench_sd_run("LiFePO4", lfp.get(), lfp_ppt.get(), 10);
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
