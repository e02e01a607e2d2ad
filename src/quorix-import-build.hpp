// Building the parameter set of a structure: reading and estimating the records, the derived
// constants, fractional charges, the screening factor found from the stress, and the cores.
#pragma once

#include <functional>

#include "quorix.hpp"

// The parameter set of the species of `cell` (and the conducting ion, when given), built by
// quorix_property_update; NULL with a message on failure.
QUORIX_PROPERTY* quorix_property_import_from_cell(QUORIX_CELL* cell, const char* conducting_type, int conducting_os,
                                                  double sf, const char* dir_unitary, const char* dir_binary);
// Runs the build steps in order, from the parameter files to the quadratic cores.
int quorix_property_update(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell, const char* dir_unitary, const char* dir_binary);

int quorix_property_calculate_effective_b(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell);
int quorix_property_binary_derived(QUORIX_PROPERTY* ppt);
int quorix_property_calculate_fractional_charge(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell);
int quorix_property_calculate_screening_factor(QUORIX_PROPERTY* ppt, QUORIX_CELL* cell);
int quorix_property_binary_pseudopotential(QUORIX_PROPERTY* ppt);

// Mean diagonal stress of a cell at screening factor sf, written to *p; 0 on success.
using QuorixPressureAt = std::function<int(double sf, double* p)>;

// Steps ppt->sf up while the pressure is positive and down while it is not, halving the step
// at each change of direction; falls back to 0.75 when the search leaves 0.55-1.0 or does not settle.
int quorix_property_search_screening_factor(QUORIX_PROPERTY* ppt, const QuorixPressureAt& pressure);
