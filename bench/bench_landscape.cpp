// Site-energy landscape of real structures (conducting ion Li+): the fast calculation against
// the plain loop over every atom and every image of the fixed box, both timed in the same run,
// and their values compared voxel by voxel. Where the plain loop would take too long it is run
// on an even sample of the voxels and its time scaled to all computed voxels.
//
// Usage: bench_landscape [resolution [name]]   (default 0.1 A; only the structures whose label
// contains `name`)
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "../tests/unit/test_landscape_oracle.hpp"
#include "bench_support.hpp"
#include "quorix-cube.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-property.hpp"

namespace {

// Processor time of this process: the machine is shared, so wall time would count other jobs.
double cpu_seconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

std::string database(const char* name) { return std::string(QUORIX_DATA_DIR) + "/" + name; }

// Plain-loop iterations above which only a sample of the voxels is computed by it.
constexpr double kFullOracleLimit = 2e9;
// Runs shorter than this are repeated and their mean taken.
constexpr double kShortestTiming = 0.5;

double wall_seconds() { return std::chrono::duration<double>(bench::Clock::now().time_since_epoch()).count(); }

// Mean time of run() on the given clock, repeated until kShortestTiming has passed.
template <class Run>
double mean_seconds(Run run, double (*clock)() = cpu_seconds) {
    const double start = clock();
    int runs = 0;
    do {
        run();
        runs++;
    } while (clock() - start < kShortestTiming);
    return (clock() - start) / runs;
}

struct Result {
    long voxels = 0;
    QuorixLandscapeWork fast_work;
    double fast_seconds = 0;     // processor time, one thread
    double threaded_seconds = 0;  // wall time, a thread per core
    double threaded_processor_seconds = 0;  // the same run, processor time of all threads together
    double plain_seconds = 0;  // scaled to all computed voxels when sampled
    long plain_distances = 0;
    long sample_step = 1;
    double max_difference = 0;
};

// Plain loop on every `step`-th voxel; its time is scaled to the voxels the fast run computed.
void run_plain_sample(const quorix_oracle::Host& host, const QUORIX_CUBE* fast, long step, Result& result) {
    const long total = fast->n[0] * fast->n[1] * fast->n[2];
    long sampled = 0;
    const double start = cpu_seconds();
    for (long index = 0; index < total; index += step) {
        const long i = index / (fast->n[1] * fast->n[2]), j = index / fast->n[2] % fast->n[1], k = index % fast->n[2];
        double r[3];
        quorix_oracle::voxel_position(fast, i, j, k, r);
        const double value = quorix_oracle::energy_at(host, r);
        result.max_difference = std::max(result.max_difference, std::fabs(value - fast->en[i][j][k]));
        sampled++;
    }
    result.plain_seconds = (cpu_seconds() - start) * static_cast<double>(result.fast_work.voxels) / sampled;
}

void run_plain_full(const quorix_oracle::Host& host, QUORIX_SYMMETRY* symmetry, const QUORIX_CUBE* fast,
                    Result& result) {
    CubePtr plain;
    result.plain_seconds = mean_seconds([&] { plain.reset(quorix_oracle::landscape(host, symmetry, fast->n)); });
    for (long i = 0; i < fast->n[0]; i++)
        for (long j = 0; j < fast->n[1]; j++)
            for (long k = 0; k < fast->n[2]; k++)
                result.max_difference =
                    std::max(result.max_difference, std::fabs(plain->en[i][j][k] - fast->en[i][j][k]));
}

bool compare_on(const char* label, const std::string& path, double resolution) {
    Result result;
    CellPtr cell;
    SymmetryPtr symmetry;
    PropertyPtr ppt;
    CubePtr fast;
    {
        const bench::QuietStdout quiet;
        QUORIX_CELL* c = nullptr;
        QUORIX_SYMMETRY* s = nullptr;
        if (quorix_cell_import_cif_from_file(&c, &s, path.c_str(), database("database_symcards.dat").c_str(),
                                             database("database_unitary.dat").c_str()))
            return false;
        cell.reset(c);
        symmetry.reset(s);
        ppt.reset(quorix_property_import_from_cell(cell.get(), "Li", 1, -1.0, database("database_unitary.dat").c_str(),
                                                   database("database_binary.dat").c_str()));
        if (!ppt) return false;
        const auto calculate = [&] {
            quorix_cube_free(quorix_cube_calculate(cell.get(), symmetry.get(), ppt.get(), resolution, 1));
        };
        setenv("QUORIX_THREADS", "1", 1);
        fast.reset(
            quorix_cube_calculate_counted(cell.get(), symmetry.get(), ppt.get(), resolution, 1, &result.fast_work));
        if (!fast) return false;
        result.fast_seconds = mean_seconds(calculate);
        unsetenv("QUORIX_THREADS");
        result.threaded_seconds = mean_seconds(calculate, wall_seconds);
        result.threaded_processor_seconds = mean_seconds(calculate);
    }
    const quorix_oracle::Host host(cell.get(), ppt.get(), true);
    long host_atoms = 0;
    for (long i = 0; i < cell->total; i++) host_atoms += std::strcmp(cell->atom[i].type, "Li") != 0;
    const long images = (2L * host.box[0] + 1) * (2L * host.box[1] + 1) * (2L * host.box[2] + 1);
    result.voxels = fast->n[0] * fast->n[1] * fast->n[2];
    result.plain_distances = result.fast_work.voxels * host_atoms * images;
    if (static_cast<double>(result.plain_distances) <= kFullOracleLimit) {
        run_plain_full(host, symmetry.get(), fast.get(), result);
    } else {
        result.sample_step = static_cast<long>(std::ceil(result.plain_distances / kFullOracleLimit)) | 1;
        run_plain_sample(host, fast.get(), result.sample_step, result);
    }
    std::printf("| %s | %ld x %ld x %ld = %ld | %ld | %ld | %ld | %ld | %.3f s | %.3f s%s | %.0fx | %.3f s / %.3f s | "
                "%.1e |\n",
                label, fast->n[0], fast->n[1], fast->n[2], result.voxels, result.fast_work.voxels,
                result.fast_work.terms, result.fast_work.distances, result.plain_distances, result.fast_seconds,
                result.plain_seconds, result.sample_step > 1 ? " (sampled)" : "",
                result.plain_seconds / result.fast_seconds, result.threaded_seconds, result.threaded_processor_seconds,
                result.max_difference);
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const double resolution = argc > 1 ? std::atof(argv[1]) : 0.1;
    if (!(resolution > 0)) {
        std::fprintf(stderr, "usage: bench_landscape [resolution [name]]\n");
        return 1;
    }
    const std::string source = QUORIX_SOURCE_DIR;
    const struct {
        const char* label;
        std::string path;
    } structures[] = {
        {"Li2O", source + "/examples/Li2O.cif"},
        {"LiFePO4", source + "/examples/LiFePO4.cif"},
        {"Li7La3Zr2O12 (P1, 192 atoms)", source + "/tests/data/Li7La3Zr2O12_tetragonal_P1_pymatgen.cif"},
    };
    std::printf("resolution %.3f A, conducting ion Li+ (ignored in the host)\n\n", resolution);
    std::printf(
        "| structure | voxels | computed | pair terms | distances (fast) | distances (plain) | fast, one thread | "
        "plain | speed-up | fast, all cores (wall / processor) | max difference (eV) |\n|---|---|---|---|---|---|---|---|---|---|---|\n");
    const std::string only = argc > 2 ? argv[2] : "";
    for (const auto& s : structures)
        if (std::string(s.label).find(only) != std::string::npos && !compare_on(s.label, s.path, resolution)) {
            std::fprintf(stderr, "bench_landscape: %s failed\n", s.label);
            return 1;
        }
    return 0;
}
