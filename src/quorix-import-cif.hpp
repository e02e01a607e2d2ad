// CIF reader: a line-oriented reader for the CIFs that structure databases export.
#pragma once

#include "quorix-import-cif-fields.hpp"
#include "quorix-import-cif-os.hpp"
#include "quorix-import-cif-text.hpp"
#include "quorix.hpp"

#include <string>

int quorix_cell_import_cif_from_file(QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry, const char* cif,
                                     const char* dir_symcards, const char* dir_unitary);
int quorix_cell_import_cif_from_text(QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry, QUORIX_TEXT* text,
                                     const char* dir_symcards, const char* dir_unitary);
// The structure of a CIF file without its symmetry; null after one Error line.
QUORIX_CELL* quorix_cell_import_cif_structure(const char* cif, const char* dir_symcards, const char* dir_unitary);
// The file of image i of a series named base: "base.i.cif".
std::string quorix_cells_image_name(const char* base, int i);
// The images base.0.cif .. base.(total-1).cif of a series; null after one Error line.
QUORIX_CELL** quorix_cells_import_cif_from_file(const char* filename, int total, const char* dir_symcard,
                                                const char* dir_unitary);
