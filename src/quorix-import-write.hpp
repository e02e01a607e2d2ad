// CIF writer: the asymmetric unit of a cell under its symmetry (P1 when none is given).
#pragma once

#include "quorix.hpp"

QUORIX_TEXT* quorix_cell_export_cif_to_text(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry);
int quorix_cell_export_cif_to_file(const char* filename, QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry);
