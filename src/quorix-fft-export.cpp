// Critical points as marker atoms and a table, and the derivative grids as cube files.
#include <cstdio>
#include <cstring>

#include "quorix-alloc.hpp"
#include "quorix-cube.hpp"
#include "quorix-fft.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-write.hpp"

namespace {

struct Marker {
    const char* name;
    const char* element;
};

Marker marker_of(fftdot_type type) {
    switch (type) {
        case FFT_MIN: return {"MIN", "Li"};
        case FFT_SD1: return {"SD1", "Na"};
        case FFT_SD2: return {"SD2", "K"};
        case FFT_MAX: return {"MAX", "Rb"};
        default: return {"ERR", "Cs"};
    }
}

// "<name><suffix>" in a path buffer of 1024 characters.
struct OutputPath {
    char text[1024];
    OutputPath(const char* name, const char* format, int i = 0, int j = 0) {
        char suffix[64];
        std::snprintf(suffix, sizeof(suffix), format, i, j);
        std::snprintf(text, sizeof(text), "%s%s", name, suffix);
    }
};

bool refuse_missing_cube(const QUORIX_CUBE* cube, const char* name) {
    if (!cube) {
        std::fprintf(stderr, "Error: QUORIX_CUBE has not been initialized properly.\n");
        return true;
    }
    if (!name) {
        std::fprintf(stderr, "Error: no output name given.\n");
        return true;
    }
    return false;
}

bool write_real_part(const QUORIX_FFTCUBE* grid, const OutputPath& path) {
    CubePtr cube(quorix_cube_new_from_fftcube(grid, FFTCUBE_REAL));
    if (!cube) {
        std::fprintf(stderr, "Error: quorix_cube_new_from_fftcube() returns NULL.\n");
        return false;
    }
    if (quorix_cube_export_to_file(cube.get(), nullptr, nullptr, path.text, 1)) {
        std::fprintf(stderr, "Error: quorix_cube_export_to_file() returns NULL.\n");
        return false;
    }
    return true;
}

// A grid derived from the whole set (laplacian, slope), written as a cube.
bool write_derived(const QUORIX_FFT* fft, QUORIX_FFTCUBE* (*derive)(const QUORIX_FFT*), const char* failure,
                   const OutputPath& path) {
    FftcubePtr grid(derive(fft));
    if (!grid) {
        std::fprintf(stderr, "%s", failure);
        return false;
    }
    return write_real_part(grid.get(), path);
}

}  // namespace

QUORIX_CELL* quorix_fftdot_list_export_to_cell(const QUORIX_FFTDOT_LIST* list) {
    if (!list || (list->total > 0 && !list->dot)) {
        std::fprintf(stderr, "Error: QUORIX_FFTDOT_LIST has not been properly initialized.\n");
        return nullptr;
    }
    QUORIX_CELL* cell = quorix_cell_new(list->total);
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return nullptr;
    }
    std::memcpy(cell->a, list->a, sizeof(cell->a));
    for (long p = 0; p < list->total; p++) {
        QUORIX_ATOM& atom = cell->atom[p];
        const Marker marker = marker_of(list->dot[p].type);
        quorix_copy_bounded(atom.name, marker.name, sizeof(atom.name));
        quorix_copy_bounded(atom.type, marker.element, sizeof(atom.type));
        atom.os = 1;
        atom.occ = 1.0;
        std::memcpy(atom.x, list->dot[p].x, sizeof(atom.x));
    }
    quorix_cell_update_fractional(cell);
    return cell;
}

int quorix_fft_analyze_export_to_file(const QUORIX_CUBE* cube, double en_cap, const char* name) {
    if (refuse_missing_cube(cube, name)) return 1;
    FftPtr fft(quorix_fft_new_from_cube(cube));
    if (!fft) {
        std::fprintf(stderr, "Error: quorix_fft_new_from_cube() returns NULL.\n");
        return 1;
    }
    FftdotListPtr list(quorix_fftdot_list_new_from_fft(fft.get()));
    if (!list) {
        std::fprintf(stderr, "Error: quorix_fftdot_list_new_from_fft() returns NULL.\n");
        return 1;
    }
    fft.reset();  // the thirteen grids are no longer needed
    if (en_cap > 0.0 && quorix_fftdot_list_filter(list.get(), en_cap)) {
        std::fprintf(stderr, "Error: quorix_fftdot_list_filter() returns non-zero.\n");
        return 1;
    }
    CellPtr cell(quorix_fftdot_list_export_to_cell(list.get()));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_fftdot_list_export_to_cell() returns NULL.\n");
        return 1;
    }
    TextPtr text(quorix_fftdot_list_export_to_text(list.get()));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_fftdot_list_export_to_text() returns NULL.\n");
        return 1;
    }
    if (quorix_cell_export_cif_to_file(OutputPath(name, ".fft.cif").text, cell.get(), nullptr)) {
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
        return 1;
    }
    if (quorix_text_export_to_file(text.get(), OutputPath(name, ".fft.txt").text)) {
        std::fprintf(stderr, "Error: quorix_text_export_to_file() returns non-zero.\n");
        return 1;
    }
    return 0;
}

int quorix_fft_analyze_export_cubes_to_file(const QUORIX_CUBE* cube, const char* name) {
    if (refuse_missing_cube(cube, name)) return 1;
    FftPtr fft(quorix_fft_new_from_cube(cube));
    if (!fft) {
        std::fprintf(stderr, "Error: quorix_fft_new_from_cube() returns NULL.\n");
        return 1;
    }
    for (int d = 0; d < 3; d++) {
        if (!write_real_part(fft->f[d], OutputPath(name, ".fft.f%d.cube", d))) return 1;
        for (int j = 0; j < 3; j++)
            if (!write_real_part(fft->k[d][j], OutputPath(name, ".fft.k%d%d.cube", d, j))) return 1;
    }
    if (!write_derived(fft.get(), quorix_fft_laplacian, "Error: quorix_fft_laplacian() returns NULL.\n",
                       OutputPath(name, ".fft.laplacian.cube")))
        return 1;
    return write_derived(fft.get(), quorix_fft_slope, "Error: quorix_fft_slope() returns NULL.\n",
                         OutputPath(name, ".fft.slope.cube"))
               ? 0
               : 1;
}
