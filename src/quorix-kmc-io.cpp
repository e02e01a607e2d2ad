// Kinetic Monte Carlo pipeline: run settings and log files, result structures, and the run from a
// CIF and its cube.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "quorix-cube.hpp"
#include "quorix-gh-network.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-write.hpp"
#include "quorix-kmc-state.hpp"
#include "quorix-kmc.hpp"
#include "quorix-la.hpp"

namespace {

constexpr double kDefaultTemperature = 300.0;  // K
constexpr long kDefaultStepLimit = 10000000;
constexpr long kDefaultStepLog = 10000;
constexpr double kSupercellReach = 25.0;    // A: default supercell spans at least this along each axis
constexpr double kShownOccupancy = 0.0005;  // sites below this are left out of the occupancy structure
// A simulation takes about 20 kB per site with the default cutoff: this bounds it near 4 GB.
constexpr double kMaxSites = 200000;

// A log that will replace nothing but an earlier regular file; null after printing why.
FILE* create_log(QuorixResultFile& file, const std::string& name) {
    std::error_code error;
    const bool blocked = std::filesystem::exists(name, error) && !std::filesystem::is_regular_file(name, error);
    const QuorixOpen opened = blocked ? QuorixOpen::failed : file.open(name.c_str());
    if (opened == QuorixOpen::failed) std::fprintf(stderr, "Error: unable to create log file %s.\n", name.c_str());
    return opened == QuorixOpen::ok ? file.get() : nullptr;
}

bool commit_logs(QuorixKmcState& state) {
    return state.log_file.commit() && state.xyz_file.commit() &&
           (state.elements_name.empty() || state.elements_file.commit());
}

QUORIX_ATOM site_atom(const QUORIX_GRAPH* graph, long v, double occ) {
    QUORIX_ATOM atom{};
    quorix_copy_bounded(atom.name, graph->v[v].name, sizeof atom.name);
    quorix_copy_bounded(atom.type, graph->type, sizeof atom.type);
    atom.os = graph->os;
    std::memcpy(atom.x, graph->v[v].x, sizeof atom.x);
    atom.occ = occ;
    return atom;
}

// A cell on the graph's lattice holding the given atoms.
QUORIX_CELL* cell_of_atoms(const double a[3][3], const char* name, const std::vector<QUORIX_ATOM>& atoms) {
    CellPtr cell(quorix_cell_new(0));
    if (!cell) return nullptr;
    std::memcpy(cell->a, a, sizeof cell->a);
    quorix_copy_bounded(cell->name, name, sizeof cell->name);
    cell->Z = 1;
    if (!atoms.empty() && quorix_cell_replace_atoms(cell.get(), atoms.data(), static_cast<long>(atoms.size())))
        return nullptr;
    quorix_cell_update_fractional(cell.get());
    return cell.release();
}

// ---------------------------------------------------------------- pipeline steps

long count_conducting(const QUORIX_CELL* cell, const char* type, int os) {
    long count = 0;
    for (long i = 0; i < cell->total; i++)
        if (cell->atom[i].os == os && std::strncmp(cell->atom[i].type, type, sizeof cell->atom[i].type) == 0) count++;
    return count;
}

void choose_supercell(const QUORIX_CELL* cell, const int* given, int* counts) {
    for (int i = 0; i < 3; i++) {
        counts[i] = given ? given[i] : 0;
        if (counts[i] < 1)
            counts[i] = static_cast<int>(std::ceil(kSupercellReach / quorix_vector3_double_length(cell->a[i])));
    }
    std::printf("Message: supercell [%d, %d, %d]\n", counts[0], counts[1], counts[2]);
}

// The supercell site graph of traced half-paths and their structure; null after printing why.
QUORIX_GRAPH* supergraph_of(QuorixSiteNetwork& network, QUORIX_CELL* cell, const QUORIX_PROPERTY* property,
                            const int* counts) {
    if (!quorix_site_network_connect(network, cell, property)) return nullptr;
    const QUORIX_GRAPH* graph = network.graph.get();
    const double sites = static_cast<double>(graph->total_v) * counts[0] * counts[1] * counts[2];
    if (sites > kMaxSites) {
        std::fprintf(stderr, "Error: a %d x %d x %d supercell of %ld sites is too large.\n", counts[0], counts[1],
                     counts[2], graph->total_v);
        return nullptr;
    }
    QUORIX_GRAPH* super = quorix_graph_new_supergraph(graph, counts);
    if (!super) std::fprintf(stderr, "Error: quorix_graph_new_supergraph() returns NULL.\n");
    return super;
}

int write_structure(QUORIX_CELL* cell, const std::string& name, const char* maker) {
    if (!cell) {
        std::fprintf(stderr, "Error: %s() returns NULL.\n", maker);
        return 1;
    }
    const CellPtr owned(cell);
    if (quorix_cell_export_cif_to_file(name.c_str(), cell, nullptr)) {
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
        return 1;
    }
    return 0;
}

struct KmcFiles {
    std::string log, xyz, elements, init, occ;
    explicit KmcFiles(const std::string& cif)
        : log(cif + ".kmc.log.txt"),
          xyz(cif + ".kmc.xyz.txt"),
          elements(cif + ".kmc.xyz"),
          init(cif + ".kmc.init.cif"),
          occ(cif + ".kmc.cif") {}
};

// Reads the structure, its parameter set and landscape, and builds the simulation; null after
// printing why. Nothing is written.
QUORIX_KMC* kmc_from_files(const char* cif_name, const char* cube_name, const char* type, int os, const int* supercell,
                           double sf, double cutoff, const char* dir_symcards, const char* dir_unitary,
                           const char* dir_binary, CellPtr& cell, int* counts) {
    cell.reset(quorix_cell_import_cif_structure(cif_name, dir_symcards, dir_unitary));
    if (!cell) return nullptr;
    if (count_conducting(cell.get(), type, os) == 0) {
        std::fprintf(stderr, "Error: %s holds no %s%d%c ion to move.\n", cif_name, type, std::abs(os), os < 0 ? '-' : '+');
        return nullptr;
    }
    const PropertyPtr property(quorix_property_import_from_cell(cell.get(), type, os, sf, dir_unitary, dir_binary));
    if (!property) {
        std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
        return nullptr;
    }
    QUORIX_CUBE* read_cube = nullptr;
    const int cube_read = quorix_cube_import_from_file(&read_cube, nullptr, cube_name, 1, nullptr);
    CubePtr cube(read_cube);
    if (cube_read || !cube) {
        std::fprintf(stderr, "Error: quorix_cube_calculate_from_cell() returns NULL.\n");
        return nullptr;
    }
    QuorixSiteNetwork network;
    if (!quorix_site_network_same_ion(cube_name, type, os) ||
        !quorix_site_network_same_cell(cell.get(), cube.get(), cif_name, cube_name) ||
        !quorix_site_network_trace(network, cube.get()))
        return nullptr;
    cube.reset();
    choose_supercell(cell.get(), supercell, counts);
    GraphPtr super(supergraph_of(network, cell.get(), property.get(), counts));
    if (!super) return nullptr;
    QUORIX_KMC* kmc = quorix_kmc_new(super.get(), property.get(), cutoff);
    if (!kmc) {
        std::fprintf(stderr, "Error: quorix_kmc_new() returns NULL.\n");
        return nullptr;
    }
    super.release();
    return kmc;
}

}  // namespace

QUORIX_KMC* quorix_kmc_new_from_file(const char* cif_name, const char* cube_name, const char* type, int os,
                                     const int* supercell, double sf, double cutoff, const char* dir_symcards,
                                     const char* dir_unitary, const char* dir_binary) {
    if (!cif_name || !cube_name || !type) return nullptr;
    CellPtr cell;
    int counts[3];
    return kmc_from_files(cif_name, cube_name, type, os, supercell, sf, cutoff, dir_symcards, dir_unitary, dir_binary,
                          cell, counts);
}

// ---------------------------------------------------------------- settings and logs

int quorix_kmc_init(QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc)) return 1;
    kmc->t_total = 0.0;
    if (kmc->temperature <= 0.0) kmc->temperature = kDefaultTemperature;
    if (kmc->t_limit == 0.0 && kmc->step_limit == 0) {
        kmc->t_limit = -0.1;
        kmc->step_limit = -1;
    }
    if (kmc->t_limit < 0.0) kmc->t_limit = 0.0;
    if (kmc->step_limit < 0) kmc->step_limit = kDefaultStepLimit;
    if (kmc->step_log < 1 || kmc->step_log > kmc->step_limit) kmc->step_log = kDefaultStepLog;
    QuorixKmcState& state = *kmc->state;
    if (!(kmc->log = create_log(state.log_file, kmc->logname)) ||
        !(kmc->xyz = create_log(state.xyz_file, kmc->xyzname)))
        return 1;
    if (!state.elements_name.empty() && !(state.xyz_elements = create_log(state.elements_file, state.elements_name)))
        return 1;
    return quorix_kmc_reset(kmc);
}

// ---------------------------------------------------------------- result structures

QUORIX_CELL* quorix_kmc_export_to_cell(const QUORIX_KMC* kmc) {
    if (!quorix_kmc_usable(kmc)) return nullptr;
    std::vector<QUORIX_ATOM> atoms;
    for (long v = 0; v < kmc->graph->total_v; v++)
        if (kmc->kv[v].init) atoms.push_back(site_atom(kmc->graph, v, 1.0));
    return cell_of_atoms(kmc->graph->a, "kmc-initial", atoms);
}

QUORIX_CELL* quorix_kmc_export_occ_to_cell(const QUORIX_KMC* kmc, const QUORIX_CELL* supercell_cell) {
    if (!quorix_kmc_usable(kmc) || !supercell_cell || (supercell_cell->total > 0 && !supercell_cell->atom))
        return nullptr;
    const QUORIX_GRAPH* graph = kmc->graph;
    std::vector<QUORIX_ATOM> atoms;
    for (long i = 0; i < supercell_cell->total; i++) {
        const QUORIX_ATOM& atom = supercell_cell->atom[i];
        if (atom.os != graph->os || std::strncmp(atom.type, graph->type, sizeof atom.type) != 0) atoms.push_back(atom);
    }
    for (long v = 0; v < graph->total_v; v++) {
        const double occ = kmc->t_total > 0.0 ? kmc->kv[v].t / kmc->t_total : 0.0;
        if (occ >= kShownOccupancy) atoms.push_back(site_atom(graph, v, occ));
    }
    return cell_of_atoms(supercell_cell->a, supercell_cell->name, atoms);
}

// ---------------------------------------------------------------- pipeline

double quorix_kmc_calculate_conductivity_from_file(const char* cif_name, const char* cube_name, const char* type,
                                                   int os, const int* supercell, double sf, double temperature,
                                                   double t_limit, long step_limit, long step_log, double cutoff,
                                                   const char* dir_symcards, const char* dir_unitary,
                                                   const char* dir_binary) {
    constexpr double kFailure = -0.1;
    if (!cif_name || !cube_name || !type) return kFailure;
    const KmcFiles files(cif_name);
    CellPtr cell;
    int counts[3];
    KmcPtr kmc(kmc_from_files(cif_name, cube_name, type, os, supercell, sf, cutoff, dir_symcards, dir_unitary,
                              dir_binary, cell, counts));
    if (!kmc) return kFailure;
    kmc->temperature = temperature;
    kmc->t_limit = t_limit;
    kmc->step_limit = step_limit;
    kmc->step_log = step_log;
    quorix_copy_bounded(kmc->logname, files.log.c_str(), sizeof kmc->logname);
    quorix_copy_bounded(kmc->xyzname, files.xyz.c_str(), sizeof kmc->xyzname);
    kmc->state->elements_name = files.elements;
    if (quorix_kmc_init(kmc.get())) {
        std::fprintf(stderr, "Error: quorix_kmc_init() returns non-zero.\n");
        return kFailure;
    }
    if (write_structure(quorix_kmc_export_to_cell(kmc.get()), files.init, "quorix_kmc_export_to_cell")) return kFailure;
    if (quorix_kmc_calculate_conductivity(kmc.get())) {
        std::fprintf(stderr, "Error: quorix_kmc_calculate_conductivity() returns non-zero.\n");
        return kFailure;
    }
    const CellPtr super(quorix_cell_supercell(cell.get(), counts));
    if (!super) {
        std::fprintf(stderr, "Error: quorix_cell_supercell() returns NULL.\n");
        return kFailure;
    }
    if (write_structure(quorix_kmc_export_occ_to_cell(kmc.get(), super.get()), files.occ,
                        "quorix_kmc_export_occ_to_cell") ||
        !commit_logs(*kmc->state))
        return kFailure;
    return kmc->conductivity[3];
}
