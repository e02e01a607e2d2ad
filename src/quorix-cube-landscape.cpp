// Bond-valence site-energy landscape: the energy of one probe ion of the conducting species at
// every voxel of a grid over the cell, in the fixed field of the other ions.
//
// Each voxel sums, over the atoms and their lattice images in a fixed box, a Morse term with
// every counter-ion within the pair cutoff and a screened Coulomb term with every like-charged
// ion within 10 A. The sum is made over the same images and in the same order as that plain
// loop, but each block of neighbouring voxels first keeps only the images that can reach it,
// so a voxel tests a few hundred images instead of the whole box.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "quorix-cube-fill.hpp"
#include "quorix-cube-probe.hpp"
#include "quorix-cube.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-symmetry.hpp"

namespace {

using quorix_landscape::ProbeField;

char sign_of(int os) { return os >= 0 ? '+' : '-'; }

// ---------------------------------------------------------------- parameter check

bool species_usable(const QUORIX_PROPERTY_UNITARY& u, int k) {
    if (!(u.q * u.os > 0)) {
        std::fprintf(stderr, "Error: incorrect q at [%d](%s%d%c) q=%f\n", k, u.type, std::abs(u.os), sign_of(u.os),
                     u.q);
        return false;
    }
    if (!(u.rc > 0)) {
        std::fprintf(stderr, "Error: incorrect rc at[%d](%s%d%c) rc=%f\n", k, u.type, std::abs(u.os), sign_of(u.os),
                     u.rc);
        return false;
    }
    return true;
}

bool pair_usable(const QUORIX_PROPERTY_BINARY& p, int cation) {
    const struct {
        const char* name;
        double value;
    } tests[] = {{"cutoff", p.cutoff}, {"b", p.b}, {"d0", p.d0}, {"rmin", p.rmin}};
    for (const auto& test : tests) {
        if (test.value > 0 && std::isfinite(test.value)) continue;  // an infinite cutoff has no image box
        std::fprintf(stderr, "Error: incorrect %s at [%d](%s%d%c)-(%s%d%c) %s=%f\n", test.name, cation, p.type1,
                     std::abs(p.os1), sign_of(p.os1), p.type2, std::abs(p.os2), sign_of(p.os2), test.name, test.value);
        return false;
    }
    return true;
}

// ---------------------------------------------------------------- one landscape

// Marks the ions of the conducting species as ignored when asked to; prints which.
void mark_ignored(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, int ignore_conducting) {
    for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = false;
    const int c = ppt->conducting;
    if (!ignore_conducting) {
        std::printf("Message: no ion is ignored during cube generation.\n");
        return;
    }
    std::printf("Message: ignoring all %s%d%c ions during cube generation.\n", ppt->type[c], std::abs(ppt->os[c]),
                sign_of(ppt->os[c]));
    for (long i = 0; i < cell->total; i++)
        if (quorix_atom_is_species(cell->atom[i], ppt->type[c], ppt->os[c])) cell->atom[i].ignored = true;
}

void clear_ignored(QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = false;
}

bool has_zero_oxidation_state(const QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++) {
        if (cell->atom[i].os != 0) continue;
        std::fprintf(stderr, "Error: oxidation state is zero where atom[%ld]: %s0+.\n", i, cell->atom[i].type);
        return true;
    }
    return false;
}

// A cube over the cell with the grid for this resolution and the operations in grid form.
QUORIX_CUBE* new_landscape_grid(const QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, double resolution) {
    long n[3];
    quorix_cube_choose_grid(cell, resolution, n);
    if (quorix_symmetry_fill_card_discrete(symmetry, n)) {
        std::printf("Error: quorix_symmetry_fill_card_discrete() returns non-zero.\n");
        return nullptr;
    }
    QUORIX_CUBE* cube = quorix_cube_new(n);
    if (!cube) {
        std::fprintf(stderr, "Error: quorix_cube_new() returns NULL.\n");
        return nullptr;
    }
    for (int k = 0; k < 3; k++)
        for (int c = 0; c < 3; c++) {
            cube->a[k][c] = cell->a[k][c];
            cube->a_i[k][c] = cell->a[k][c] / static_cast<double>(n[k]);
        }
    return cube;
}

QUORIX_CUBE* calculate(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt, double resolution,
                       int ignore_conducting, QuorixLandscapeWork& work) {
    if (quorix_cube_validate_property(ppt)) {
        std::fprintf(stderr, "Error: quorix_cube_validate_property() returns non-zero.\n");
        return nullptr;
    }
    if (!cell || !cell->atom || cell->total <= 0) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (has_zero_oxidation_state(cell) || !quorix_cell_lattice_usable(cell)) return nullptr;
    if (!(resolution > 0) || !std::isfinite(resolution)) {
        std::fprintf(stderr, "Error: resolution %f is not a positive length.\n", resolution);
        return nullptr;
    }
    CubePtr cube(new_landscape_grid(cell, symmetry, resolution));
    if (!cube) return nullptr;
    mark_ignored(cell, ppt, ignore_conducting);
    ProbeField field;
    const bool built = field.build(cell, ppt);
    clear_ignored(cell);
    if (!built) return nullptr;
    quorix_landscape::fill_landscape(cube.get(), symmetry, field, work);
    std::printf("Message: cube has been generated successfully.\n");
    return cube.release();
}

}  // namespace

int quorix_cube_validate_property(const QUORIX_PROPERTY* ppt) {
    if (!ppt || ppt->total <= 0 || !ppt->uni || !ppt->bin || !ppt->type || !ppt->os) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    const int c = ppt->conducting;
    if (c < 0 || c >= ppt->total) {
        std::fprintf(stderr, "Error: conducting species not correctly specified.\n");
        return 1;
    }
    const int os_c = ppt->os[c];
    for (int k = 0; k < ppt->total; k++)
        if (static_cast<long>(ppt->os[k]) * os_c > 0 && !species_usable(ppt->uni[k], k)) return 1;
    for (int k = 0; k < ppt->total; k++) {
        if (static_cast<long>(ppt->os[k]) * os_c >= 0) continue;
        const int cation = os_c > 0 ? c : k;
        const int anion = os_c > 0 ? k : c;
        if (!pair_usable(ppt->bin[cation][anion], cation)) return 1;
    }
    return 0;
}

QUORIX_CUBE* quorix_cube_calculate(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                   double resolution, int ignore_conducting) {
    QuorixLandscapeWork work;
    return calculate(cell, symmetry, ppt, resolution, ignore_conducting, work);
}

QUORIX_CUBE* quorix_cube_calculate_counted(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                           double resolution, int ignore_conducting, QuorixLandscapeWork* work) {
    QuorixLandscapeWork counted;
    return calculate(cell, symmetry, ppt, resolution, ignore_conducting, work ? *work : counted);
}
