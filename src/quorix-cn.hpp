// Coordination of one centre atom: its neighbours within 10 A listed by distance with a running
// coordination number and a radial density, grouped into shells; and the coordination judged
// by bond valence, neighbours ordered by the valence of their bond.
#pragma once

#include "quorix.hpp"

QUORIX_CN* quorix_cn_new();
void quorix_cn_free(QUORIX_CN* cn);
QUORIX_CN_MIX* quorix_cn_mix_new();
void quorix_cn_mix_free(QUORIX_CN_MIX* cn_mix);
QUORIX_CN_BV* quorix_cn_bv_new();
void quorix_cn_bv_free(QUORIX_CN_BV* cn_bv);

// Neighbours of species (type_c, os_c) around `atom`.
QUORIX_CN* quorix_cn_new_from_cell(QUORIX_CELL* cell, QUORIX_ATOM* atom, const char* type_c, int os_c, double rds_tiny);
// Neighbours among all counter-ions of `atom` (and atoms of oxidation state 0).
QUORIX_CN_MIX* quorix_cn_mix_new_from_cell(QUORIX_CELL* cell, QUORIX_ATOM* atom, double rds_tiny);
// Bonds of `atom` with its counter-ions within the pair cutoffs of `ppt`, strongest first;
// `bvs` is the bond valence sum of the atom's site.
QUORIX_CN_BV* quorix_cn_bv_new_from_cell(QUORIX_CELL* cell, QUORIX_ATOM* atom, QUORIX_PROPERTY* ppt, double bvs);

int quorix_cn_calculate_shell(QUORIX_CN* cn, double rds_tiny);
int quorix_cn_mix_calculate_shell(QUORIX_CN_MIX* cn_mix, double rds_tiny);
int quorix_cn_calculate_shell_with_sensitivity(QUORIX_CN* cn, double sensitivity);

int quorix_cn_calculate(QUORIX_CELL* cell, const char* name, double rds_tiny);
int quorix_cn_calculate_by_name(QUORIX_CELL* cell, const char* name, const char* type_c, int os_c, double rds_tiny);
int quorix_cn_calculate_by_type(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* type, int os,
                                const char* type_c, int os_c, double rds_tiny);
int quorix_cn_calculate_by_bv(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* name, const char* dir_unitary,
                              const char* dir_binary);

void quorix_cn_print_shell(QUORIX_CN* cn);
void quorix_cn_mix_print(QUORIX_CN_MIX* cn_mix);
void quorix_cn_print_datapoint(QUORIX_CN* cn);
void quorix_cn_bv_print(QUORIX_CN_BV* cn_bv);

// Hoppe's (1979) effective coordination number of the bonds of a record from their lengths and
// occupancies, summed over the coordinating species; 0 for a record without bonds.
double quorix_cn_bv_effective_cn(const QUORIX_CN_BV* cn_bv);

#include "quorix-alloc.hpp"

using CnPtr = quorix_ptr<QUORIX_CN, quorix_cn_free>;
using CnMixPtr = quorix_ptr<QUORIX_CN_MIX, quorix_cn_mix_free>;
using CnBvPtr = quorix_ptr<QUORIX_CN_BV, quorix_cn_bv_free>;
