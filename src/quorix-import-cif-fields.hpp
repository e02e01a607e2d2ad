// CIF fields: atom-site columns of the atom loop, oxidation numbers of the type loop, lattice.
#pragma once

#include "quorix.hpp"

int quorix_cell_import_cif_read_atom_name(QUORIX_ATOM* atom, char*** content, int row, int col);
int quorix_cell_import_cif_read_atom_type(QUORIX_ATOM* atom, char*** content, int row, int col);
int quorix_cell_import_cif_read_atom_typeos(QUORIX_ATOM* atom, char*** atm, int atm_r, int atm_c, char*** typ,
                                            int typ_r, int typ_c);
int quorix_cell_import_cif_read_atom(QUORIX_ATOM* atom, char*** content, int row, int col);
int quorix_cell_import_cif_read_atom_constraint(QUORIX_ATOM* atom, char*** content, int row, int col);
int quorix_cell_import_cif_read_lattice(QUORIX_CELL* cell, char** content, long row);

int quorix_atom_name_to_type(QUORIX_ATOM* atom, int total);
