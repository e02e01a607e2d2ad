// Hops per second of the kinetic Monte Carlo on the garnet's default supercell (Li 90 % occupied,
// landscape of the full structure), with the rate tree and with the plain running-sum scan from
// the same seed, then the default run of 10^7 hops; with the default Coulomb cutoff of 5 A and
// without interaction; then the time to build the simulation on larger supercells. Arguments:
// [resolution [hops [short]]] ("short" skips the default runs and the larger supercells).
#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "bench_support.hpp"
#include "quorix-kmc-state.hpp"
#include "quorix-kmc.hpp"

namespace {

const std::string kData = QUORIX_DATA_DIR;

std::string db(const char* name) { return kData + "/" + name; }

// The garnet with every Li site 90 % occupied, and the landscape of the full structure.
bool prepare(const std::filesystem::path& dir, const std::string& resolution, std::string& cif, std::string& cube) {
    const std::string full = (dir / "garnet.cif").string();
    std::filesystem::copy_file(std::string(QUORIX_SOURCE_DIR) + "/tests/data/Li7La3Zr2O12_tetragonal_P1_pymatgen.cif",
                               full, std::filesystem::copy_options::overwrite_existing);
    const std::string command = kData + "/quorix.x --gen-cube " + full + " Li 1 0 " + resolution + " > /dev/null";
    if (std::system(command.c_str()) != 0) return false;
    std::ifstream in(full);
    std::stringstream text;
    text << in.rdbuf();
    cif = (dir / "garnet-li90.cif").string();
    cube = full + ".cube";
    std::ofstream(cif) << std::regex_replace(text.str(), std::regex(R"((Li\+ +Li\d+ +1 .*) 1\.0)"), "$1 0.9");
    return true;
}

QUORIX_KMC* built(const std::string& cif, const std::string& cube, double cutoff, const int* supercell = nullptr) {
    const bench::QuietStdout quiet;
    return quorix_kmc_new_from_file(cif.c_str(), cube.c_str(), "Li", 1, supercell, -1.0, cutoff,
                                    db("database_symcards.dat").c_str(), db("database_unitary.dat").c_str(),
                                    db("database_binary.dat").c_str());
}

QUORIX_KMC* simulation(const std::string& cif, const std::string& cube, long hops, double temperature, double cutoff) {
    QUORIX_KMC* kmc = built(cif, cube, cutoff);
    if (!kmc) return nullptr;
    const bench::QuietStdout quiet;
    kmc->temperature = temperature;
    kmc->step_limit = hops;
    kmc->step_log = 10000;
    std::snprintf(kmc->logname, sizeof kmc->logname, "%s.kmc.log.txt", cif.c_str());
    std::snprintf(kmc->xyzname, sizeof kmc->xyzname, "%s.kmc.xyz.txt", cif.c_str());
    if (quorix_kmc_init(kmc)) {
        quorix_kmc_free(kmc);
        return nullptr;
    }
    return kmc;
}

struct Timing {
    double seconds = 0.0;
    double msd = 0.0;
    long step = 0;
};

// Seeded reset and run: processor time of the hops, and the final mean squared displacement.
Timing timed_run(QUORIX_KMC* kmc, bool linear) {
    quorix_kmc_set_linear_scan(kmc, linear);
    std::srand(2024);
    Timing timing;
    {
        const bench::QuietStdout quiet;
        const std::clock_t start = std::clock();
        if (quorix_kmc_reset(kmc) || quorix_kmc_run(kmc)) return timing;
        timing.seconds = double(std::clock() - start) / CLOCKS_PER_SEC;
    }
    timing.step = kmc->step + std::max(10000L, static_cast<long>(kmc->step_limit * 0.01));  // with equilibration
    for (long o = 0; o < kmc->graph->total_v; o++) {
        if (!kmc->kv[o].init) continue;
        double d[3];
        quorix_kmc_displacement(kmc, o, d);
        timing.msd += d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    }
    return timing;
}

void print_sizes(const QUORIX_KMC* kmc) {
    double neighbours = 0.0, saddles = 0.0, ions = 0.0;
    for (long v = 0; v < kmc->graph->total_v; v++) {
        neighbours += kmc->kv[v].total_v;
        saddles += kmc->kv[v].total_e;
        ions += kmc->kv[v].occupied;
    }
    const double sites = double(kmc->graph->total_v);
    std::printf("sites %ld, hops %ld, ions %.0f; per site: %.1f sites and %.1f saddles within the cutoff\n",
                kmc->graph->total_v, kmc->graph->total_e, ions, neighbours / sites, saddles / sites);
}

// Processor time of building the simulation (landscape graph, supercell, neighbour tables) on
// s x s x s supercells, with and without the Coulomb cutoff: the difference is the tables.
void time_tables(const std::string& cif, const std::string& cube) {
    for (const int s : {2, 4, 8}) {
        const int supercell[3] = {s, s, s};
        double seconds[2];
        long sites = 0, hops = 0;
        for (const double cutoff : {0.0, 5.0}) {
            const std::clock_t start = std::clock();
            QUORIX_KMC* kmc = built(cif, cube, cutoff, supercell);
            seconds[cutoff > 0.0] = double(std::clock() - start) / CLOCKS_PER_SEC;
            if (kmc) sites = kmc->graph->total_v, hops = kmc->graph->total_e;
            quorix_kmc_free(kmc);
        }
        std::printf("%d x %d x %d: %ld sites, %ld hops, built in %.2f s without the cutoff, %.2f s with 5 A\n", s, s, s,
                    sites, hops, seconds[0], seconds[1]);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string resolution = argc > 1 ? argv[1] : "0.2";
    const long hops = argc > 2 ? std::atol(argv[2]) : 1000000;
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / "quorix_bench_kmc";
    std::filesystem::create_directories(dir);
    std::string cif, cube;
    if (!prepare(dir, resolution, cif, cube)) return 1;

    const bool full_runs = !(argc > 3 && std::string(argv[3]) == "short");
    for (const double cutoff : {5.0, 0.0}) {
        QUORIX_KMC* kmc = simulation(cif, cube, hops, 600.0, cutoff);
        if (!kmc) return 1;
        std::printf("== Coulomb cutoff %.1f A\n", cutoff);
        print_sizes(kmc);
        const Timing tree = timed_run(kmc, false);
        kmc->step_limit = hops / 100;
        const Timing scan = timed_run(kmc, true);
        kmc->step_limit = hops / 100;
        const Timing tree_short = timed_run(kmc, false);
        std::printf("tree:   %ld hops in %.2f s, %.0f hops/s\n", tree.step, tree.seconds, tree.step / tree.seconds);
        std::printf("scan:   %ld hops in %.2f s, %.0f hops/s\n", scan.step, scan.seconds, scan.step / scan.seconds);
        std::printf("same seed, %ld hops: sum of squared displacements %.9g (tree) and %.9g (scan)\n", scan.step,
                    tree_short.msd, scan.msd);
        if (full_runs) {
            kmc->step_limit = 10000000;
            const Timing full = timed_run(kmc, false);
            std::printf("default run: %ld hops in %.2f s, %.0f hops/s\n", full.step, full.seconds,
                        full.step / full.seconds);
        }
        quorix_kmc_free(kmc);
    }
    if (full_runs) time_tables(cif, cube);
    std::filesystem::remove_all(dir);
    return 0;
}
