// Landscapes of a structure: from a cell with its parameter set, built from the databases and
// written to a cube file, and on an assigned supercell when the conducting sites are partial.
#include <cstdio>

#include "quorix-cube.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-write.hpp"

QUORIX_CUBE* quorix_cube_calculate_from_cell(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                             const char* type, int os, double resolution, int ignore_conducting) {
    if (!cell) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    SymmetryPtr identity;
    if (!symmetry) {
        identity.reset(quorix_symmetry_new_p1());
        if (!identity) {
            std::fprintf(stderr, "Error: quorix_symmetry_new_p1() returns NULL.\n");
            return nullptr;
        }
        symmetry = identity.get();
    }
    if (ppt && type) ppt->conducting = quorix_property_find_index(ppt, type, os);
    QUORIX_CUBE* cube = quorix_cube_calculate(cell, symmetry, ppt, resolution, ignore_conducting);
    if (!cube) std::fprintf(stderr, "Error: quorix_cube_calculate() returns NULL.\n");
    return cube;
}

int quorix_cube_calculate_from_cell_and_write_to_file(const char* path_cube, QUORIX_CELL* cell,
                                                      QUORIX_SYMMETRY* symmetry, const char* type, int os, double sf,
                                                      double resolution, int ignore_conducting, int once,
                                                      const char* dir_unitary, const char* dir_binary) {
    const PropertyPtr ppt(quorix_property_import_from_cell(cell, type, os, sf, dir_unitary, dir_binary));
    if (!ppt) {
        std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
        return 1;
    }
    const CubePtr cube(
        quorix_cube_calculate_from_cell(cell, symmetry, ppt.get(), type, os, resolution, ignore_conducting));
    if (!cube) {
        std::fprintf(stderr, "Error: quorix_cube_calculate_from_cell() returns NULL.\n");
        return 1;
    }
    if (quorix_cube_export_to_file(cube.get(), cell, ppt.get(), path_cube, once)) {
        std::fprintf(stderr, "Error: quorix_cube_export_to_file() returns non-zero.\n");
        return 1;
    }
    return 0;
}

int quorix_cube_calculate_from_cell_and_write_to_file_assign_partial_occ(
    const char* path_cube, const char* path_cif, QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* type, int os,
    double sf, double resolution, int ignore_conducting, int once, const char* dir_unitary, const char* dir_binary) {
    CellPtr assigned;
    if (quorix_cell_partial_occ_at_conducting_site(cell, type, os)) {
        std::printf(
            "Message: partial occupancy at conducting sites detected. Cube will be generated based on an asigned "
            "supercell.\n");
        const CellPtr super(quorix_cell_supercell_default(cell));
        if (!super) {
            std::printf("Messge: quorix_cell_supercell_default() returns NULL.\n");
            return 1;
        }
        assigned.reset(quorix_cell_assign_partial_occ_at_conducting_site(super.get(), type, os));
        if (!assigned) {
            std::fprintf(stderr, "Error: quorix_cell_assign_partial_occ_at_conducting_site() returns NULL.\n");
            return 1;
        }
        if (quorix_cell_export_cif_to_file(path_cif, assigned.get(), nullptr)) {
            std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
            return 1;
        }
        cell = assigned.get();
        symmetry = nullptr;
    }
    if (quorix_cube_calculate_from_cell_and_write_to_file(path_cube, cell, symmetry, type, os, sf, resolution,
                                                          ignore_conducting, once, dir_unitary, dir_binary)) {
        std::fprintf(stderr, "Error: quorix_cube_calculate_from_cell_and_write_to_file() returns non-zero.\n");
        return 1;
    }
    return 0;
}
