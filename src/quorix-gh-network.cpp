// Site graph of a structure and its landscape cube file. The path-finding grid is freed once the
// half-paths hold copies of their dots, and the Hessian is computed only where sites may lie, so
// the peak memory is that of the grid rather than that of the full derivative set.
#include "quorix-gh-network.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "quorix-cube.hpp"
#include "quorix-fft.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"

// Derivative set whose grids hold values only at chosen points: the energy and the Hessian there,
// computed exactly as the full set computes them, one grid at a time. The site graph reads no
// other value. The arrays are allocated zero-filled and only the sampled points are written, so
// the system backs with memory the pages written and not the whole grids.
class QuorixSampledFft {
public:
    QuorixSampledFft() = default;
    QuorixSampledFft(const QuorixSampledFft&) = delete;
    QuorixSampledFft& operator=(const QuorixSampledFft&) = delete;
    ~QuorixSampledFft() {
        for (QUORIX_FFTCUBE& grid : grids_) std::free(grid.value);
    }

    bool build(const QUORIX_CUBE* cube, const std::vector<long>& points) {
        FftcubePtr en(quorix_fftcube_new_from_cube(cube));
        if (!en) return failed("quorix_fftcube_new_from_cube");
        if (!allocate(en.get())) {
            std::fprintf(stderr, "Error: unable to allocate the sampled derivative grids.\n");
            return false;
        }
        sample(grids_[0], en.get(), points);
        FftcubePtr spectrum(quorix_fftcube_dft(en.get(), 1));
        en.reset();
        if (!spectrum) return failed("quorix_fftcube_dft");
        for (int i = 0; i < 3; i++)
            for (int j = 0; j < 3; j++) {
                const int sub[2] = {i, j};
                FftcubePtr derived(quorix_fftcube_differentiate_dft(spectrum.get(), 2, sub));
                if (!derived) return failed("quorix_fftcube_differentiate_dft");
                const FftcubePtr grid(quorix_fftcube_dft(derived.get(), 0));
                if (!grid) return failed("quorix_fftcube_dft");
                sample(grids_[4 + 3 * i + j], grid.get(), points);
            }
        fft_.en = &grids_[0];
        for (int d = 0; d < 3; d++) fft_.f[d] = &grids_[1 + d];
        for (int i = 0; i < 3; i++)
            for (int j = 0; j < 3; j++) fft_.k[i][j] = &grids_[4 + 3 * i + j];
        return true;
    }

    const QUORIX_FFT* fft() const { return &fft_; }

private:
    static bool failed(const char* callee) {
        std::fprintf(stderr, "Error: %s() returns NULL.\n", callee);
        return false;
    }

    bool allocate(const QUORIX_FFTCUBE* like) {
        const long total = like->n[0] * like->n[1] * like->n[2];
        for (QUORIX_FFTCUBE& grid : grids_) {
            std::memcpy(grid.n, like->n, sizeof grid.n);
            std::memcpy(grid.a, like->a, sizeof grid.a);
            std::memcpy(grid.a_i, like->a_i, sizeof grid.a_i);
            grid.value = static_cast<fftw_complex*>(std::calloc(total, sizeof(fftw_complex)));
            if (!grid.value) return false;
        }
        return true;
    }

    static void sample(QUORIX_FFTCUBE& to, const QUORIX_FFTCUBE* from, const std::vector<long>& points) {
        for (long p : points) std::memcpy(to.value[p], from->value[p], sizeof(fftw_complex));
    }

    QUORIX_FFTCUBE grids_[13]{};  // energy, three gradients (left zero), nine second derivatives
    QUORIX_FFT fft_{};
};

namespace {

// The graph takes only species, oxidation state and mass from the parameter set: a fixed
// screening factor spares the automatic search.
constexpr double kFixedScreeningFactor = 1.0;
// Largest difference of a lattice vector of a landscape from the structure's, relative to its length.
constexpr double kCellTolerance = 1e-3;
// Degrees from a right angle beyond which the axes of a cell count as oblique for the grid.
constexpr double kObliqueAngle = 30.0;

// How many times `vector` of a landscape holds the structure's `unit`, or 0 when it is no whole
// multiple of it. A landscape of shared conducting sites is computed on a supercell.
long whole_multiple(const double* vector, const double* unit) {
    const double length = quorix_vector3_double_length(unit);
    const double ratio = quorix_vector3_double_length(vector) / length;
    if (!(ratio >= 0.5 && ratio < 1e6)) return 0;  // also NaN from a degenerate cell
    const long m = std::lround(ratio);
    for (int k = 0; k < 3; k++)
        if (!(std::fabs(vector[k] - m * unit[k]) <= kCellTolerance * m * length)) return 0;
    return m;
}

// The cell angle furthest from a right angle, in degrees.
double most_oblique_angle(const QUORIX_CELL* cell) {
    double most = 90.0;
    for (const double angle : cell->angle)
        if (std::fabs(angle - 90.0) > std::fabs(most - 90.0)) most = angle;
    return most;
}

// Points every half-path at copies of its dots, so that the grid can go.
void detach_halves(QUORIX_FPHALF_LIST* halves, std::vector<QUORIX_FPDOT>& dots) {
    long total = 0;
    for (long h = 0; h < halves->total; h++) total += halves->half[h].total;
    dots.clear();
    dots.reserve(total);
    for (long h = 0; h < halves->total; h++)
        for (long d = 0; d < halves->half[h].total; d++) {
            dots.push_back(*halves->half[h].dot[d]);
            halves->half[h].dot[d] = &dots.back();
        }
}

// Linear grid indices of the minima the half-paths end in: the sites are among them.
std::vector<long> half_path_minima(const QUORIX_FPHALF_LIST* halves, const long* n) {
    std::vector<long> points;
    for (long h = 0; h < halves->total; h++) {
        const QUORIX_FPHALF& half = halves->half[h];
        const QUORIX_FPDOT* end = half.dot[half.total - 1];
        if (end->type == FP_MIN) points.push_back((end->x_i[0] * n[1] + end->x_i[1]) * n[2] + end->x_i[2]);
    }
    return points;
}

CubePtr read_landscape(const char* path, bool periodic) {
    QUORIX_CUBE* cube = nullptr;
    const int failed = quorix_cube_import_from_file(&cube, nullptr, path, periodic ? 1 : 0, nullptr);
    CubePtr owned(cube);
    if (failed || !owned) {
        std::fprintf(stderr, "Error: quorix_cube_import_from_file() returns non-zero.\n");
        return nullptr;
    }
    return owned;
}

}  // namespace

QuorixSiteNetwork::QuorixSiteNetwork() = default;
QuorixSiteNetwork::~QuorixSiteNetwork() = default;

bool quorix_site_network_same_ion(const char* cube_name, const char* type, int os) {
    char landscape_type[3] = "";
    int landscape_os = 0;
    if (!quorix_cube_read_conducting(cube_name, landscape_type, landscape_os) ||
        (std::strcmp(landscape_type, type) == 0 && landscape_os == os))
        return true;
    std::fprintf(stderr, "Error: the landscape %s is that of %s%d%c, not of %s%d%c.\n", cube_name, landscape_type,
                 std::abs(landscape_os), landscape_os < 0 ? '-' : '+', type, std::abs(os), os < 0 ? '-' : '+');
    return false;
}

bool quorix_site_network_same_cell(const QUORIX_CELL* cell, const QUORIX_CUBE* cube, const char* cif_name,
                                   const char* cube_name) {
    long multiple[3];
    for (int i = 0; i < 3; i++) multiple[i] = whole_multiple(cube->a[i], cell->a[i]);
    if (multiple[0] == 1 && multiple[1] == 1 && multiple[2] == 1) return true;
    if (multiple[0] > 0 && multiple[1] > 0 && multiple[2] > 0)
        std::fprintf(stderr,
                     "Error: the landscape %s spans a %ld x %ld x %ld supercell of the structure %s; give the CIF of "
                     "that supercell (--gen-cube writes the one it used beside its input, named *_assigned.cif).\n",
                     cube_name, multiple[0], multiple[1], multiple[2], cif_name);
    else
        std::fprintf(stderr, "Error: the structure %s and the landscape %s do not describe the same cell.\n", cif_name,
                     cube_name);
    return false;
}

bool quorix_site_network_trace(QuorixSiteNetwork& network, const QUORIX_CUBE* cube) {
    FpcubePtr grid(quorix_fpcube_new_from_cube(cube));
    if (!grid) {
        std::fprintf(stderr, "Error: quorix_fpcube_new_from_cube() returns NULL.\n");
        return false;
    }
    network.halves.reset(quorix_fphalf_list_new_from_fpcube(grid.get()));
    if (!network.halves) {
        std::fprintf(stderr, "Error: quorix_fphalf_list_new_from_fpcube() returns NULL.\n");
        return false;
    }
    detach_halves(network.halves.get(), network.dots);
    grid.reset();
    network.fft = std::make_unique<QuorixSampledFft>();
    return network.fft->build(cube, half_path_minima(network.halves.get(), cube->n));
}

bool quorix_site_network_connect(QuorixSiteNetwork& network, QUORIX_CELL* cell, const QUORIX_PROPERTY* property) {
    if (!network.halves || !network.fft) return false;
    network.graph.reset(quorix_graph_new_filled(network.halves.get(), network.fft->fft(), cell, property));
    network.fft.reset();
    if (!network.graph) {
        std::fprintf(stderr, "Error: quorix_graph_new_filled() returns NULL.\n");
        return false;
    }
    network.en_min = INFINITY;
    for (long v = 0; v < network.graph->total_v; v++) network.en_min = std::fmin(network.en_min, network.graph->v[v].en);
    return true;
}

bool quorix_site_network_from_files(QuorixSiteNetwork& network, const char* cif, const char* cube_path,
                                    const char* type, int os, bool periodic, const char* dir_symcards,
                                    const char* dir_unitary, const char* dir_binary) {
    CellPtr cell(quorix_cell_import_cif_structure(cif, dir_symcards, dir_unitary));
    if (!cell) return false;
    const PropertyPtr property(
        quorix_property_import_from_cell(cell.get(), type, os, kFixedScreeningFactor, dir_unitary, dir_binary));
    if (!property) {
        std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
        return false;
    }
    CubePtr cube = read_landscape(cube_path, periodic);
    if (!cube || !quorix_site_network_same_ion(cube_path, type, os) ||
        !quorix_site_network_same_cell(cell.get(), cube.get(), cif, cube_path) ||
        !quorix_site_network_trace(network, cube.get()))
        return false;
    cube.reset();
    if (network.halves->total == 0) {
        // The grid's neighbours are the steps along the cell axes: in a cell whose axes meet far
        // from a right angle they miss saddles that a setting nearer a right angle shows.
        const double angle = most_oblique_angle(cell.get());
        if (std::fabs(angle - 90.0) > kObliqueAngle)
            std::fprintf(stderr,
                         "Error: the landscape has no saddle point, hence no hop between sites; its grid steps "
                         "along cell axes that meet at %.1f degrees, which can hide saddles: give the structure in "
                         "a setting with angles nearer 90 degrees (hexagonal axes for a rhombohedral lattice).\n",
                         angle);
        else
            std::fprintf(stderr, "Error: the landscape has no saddle point, hence no hop between sites.\n");
        return false;
    }
    if (!quorix_site_network_connect(network, cell.get(), property.get())) return false;
    if (network.graph->total_v == 0) {
        std::fprintf(stderr, "Error: no minimum of the landscape is reached from a saddle point.\n");
        return false;
    }
    return true;
}

double quorix_site_network_saddle_cap(const QuorixSiteNetwork& network, double barrier_max) {
    return barrier_max > 0.0 ? network.en_min + barrier_max : INFINITY;
}
