// --gh on the Li+ landscape of the tetragonal garnet Li7La3Zr2O12 on a 192^3 grid: time and
// peak memory of the whole command (cube and CIF read, path grid, half-paths, Hessian at the
// sites, site graph, percolation, files), in a child process so that the peak is its own; then
// the percolation step alone on supercell graphs of growing size, to show it near-linear.
#include <cmath>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "bench_support.hpp"
#include "quorix-gh-network.hpp"
#include "quorix-gh-percolation.hpp"

namespace {

const std::string kData = QUORIX_DATA_DIR;

struct Landscape {
    std::string cif, cube;
};

// The garnet's landscape written by quorix.x --gen-cube at the given resolution (not timed).
Landscape landscape(const std::filesystem::path& dir, const char* resolution) {
    const std::string name = "garnet_" + std::string(resolution);
    Landscape files{(dir / (name + ".cif")).string(), (dir / (name + ".cif.cube")).string()};
    std::filesystem::copy_file(QUORIX_SOURCE_DIR "/tests/data/Li7La3Zr2O12_tetragonal_P1_pymatgen.cif", files.cif,
                               std::filesystem::copy_options::overwrite_existing);
    const std::string command =
        kData + "/quorix.x --gen-cube " + files.cif + " Li 1 0 " + resolution + " > /dev/null";
    if (std::system(command.c_str()) != 0) std::exit(1);
    return files;
}

int run_command(const Landscape& files) {
    const auto start = bench::Clock::now();
    int failed = 0;
    {
        bench::QuietStdout quiet;
        failed = quorix_graph_network_calculate_from_file_export_full(
            files.cif.c_str(), files.cube.c_str(), "Li", 1, -0.1, 1, (kData + "/database_symcards.dat").c_str(),
            (kData + "/database_unitary.dat").c_str(), (kData + "/database_binary.dat").c_str());
    }
    const double seconds = bench::seconds_since(start);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double processor = usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
                             1e-6 * (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    const double grid_points = 192.0 * 192.0 * 192.0;
    std::printf("RESULT --gh 192^3: %.1f s wall, %.1f s processor, peak RSS %.0f MiB = %.0f bytes per grid point\n",
                seconds, processor, bench::peak_megabytes(), bench::peak_megabytes() * 1048576.0 / grid_points);
    return failed;
}

// Percolation of the s x s x s supercell graph of a small landscape's graph, timed.
void percolation_scaling(const Landscape& files) {
    QuorixSiteNetwork network;
    {
        bench::QuietStdout quiet;
        if (!quorix_site_network_from_files(network, files.cif.c_str(), files.cube.c_str(), "Li", 1, true,
                                            (kData + "/database_symcards.dat").c_str(),
                                            (kData + "/database_unitary.dat").c_str(),
                                            (kData + "/database_binary.dat").c_str()))
            std::exit(1);
    }
    for (int s : {1, 2, 4, 8}) {
        const int counts[3] = {s, s, s};
        const GraphPtr super(quorix_graph_new_supergraph(network.graph.get(), counts));
        if (!super) std::exit(1);
        const std::clock_t start = std::clock();  // processor time: the machine is shared
        const auto levels = quorix_graph_percolation(super.get(), INFINITY);
        const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        std::printf("RESULT percolation %dx%dx%d: %ld sites, %ld hops, %.4f s processor, %.0f ns per hop, 3D barrier %.4f eV\n", s,
                    s, s, super->total_v, super->total_e / 2, seconds, seconds * 1e9 / (super->total_e / 2.0),
                    levels[2].found ? levels[2].en - network.en_min : -1.0);
    }
}

}  // namespace

int main() {
    const auto dir = std::filesystem::temp_directory_path() / ("bench_gh_" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const Landscape fine = landscape(dir, "0.07");
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) std::exit(run_command(fine));
    int status = 0;
    waitpid(child, &status, 0);
    percolation_scaling(landscape(dir, "0.3"));
    std::filesystem::remove_all(dir);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
}
