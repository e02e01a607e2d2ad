// Spectral derivatives of a landscape on its periodic grid, and its critical points.
#pragma once

#include "quorix-alloc.hpp"
#include "quorix.hpp"

// Complex grids (quorix-fft.cpp). Derivatives run along the lattice directions, in units of
// distance along each lattice vector; for non-orthogonal cells this is not a Cartesian gradient.
QUORIX_FFTCUBE* quorix_fftcube_new(const long* n);
QUORIX_FFTCUBE* quorix_fftcube_copy(const QUORIX_FFTCUBE* fftcube);
void quorix_fftcube_free(QUORIX_FFTCUBE* fftcube);
QUORIX_FFTCUBE* quorix_fftcube_new_from_cube(const QUORIX_CUBE* cube);
QUORIX_CUBE* quorix_cube_new_from_fftcube(const QUORIX_FFTCUBE* fftcube, int option);
// forward 1: forward transform scaled by 1/N; forward 0: unscaled backward transform.
QUORIX_FFTCUBE* quorix_fftcube_dft(const QUORIX_FFTCUBE* fftcube, int forward);
// Multiplies a forward spectrum by the factors of an order 0, 1 or 2 derivative along sub[0] (and sub[1]).
QUORIX_FFTCUBE* quorix_fftcube_differentiate_dft(const QUORIX_FFTCUBE* spectrum, int order, const int* sub);
QUORIX_FFTCUBE* quorix_fftcube_differentiate(const QUORIX_FFTCUBE* fftcube, int order, const int* sub);

// The energy with its gradient and all nine second derivatives.
QUORIX_FFT* quorix_fft_new();
void quorix_fft_free(QUORIX_FFT* fft);
QUORIX_FFT* quorix_fft_new_from_cube(const QUORIX_CUBE* cube);
bool quorix_fft_complete(const QUORIX_FFT* fft);  // energy and all twelve derivative grids present
QUORIX_FFTCUBE* quorix_fft_laplacian(const QUORIX_FFT* fft);     // sum of squared diagonal curvatures
QUORIX_FFTCUBE* quorix_fft_slope(const QUORIX_FFT* fft);         // gradient length
QUORIX_FFTCUBE* quorix_fft_discriminant(const QUORIX_FFT* fft);  // Hessian determinant

// Critical points (quorix-fft-dot.cpp).
QUORIX_FFTDOT* quorix_fftdot_new(long count);
void quorix_fftdot_free(QUORIX_FFTDOT* dot);
QUORIX_FFTDOT_LIST* quorix_fftdot_list_new(long count);
void quorix_fftdot_list_free(QUORIX_FFTDOT_LIST* list);
// Reduces x_i modulo the grid in place, then fills the dot at that grid point and classifies it.
int quorix_fftdot_read_from_fft(QUORIX_FFTDOT* dot, const QUORIX_FFT* fft, long* x_i);
void quorix_fftdot_determine_type(QUORIX_FFTDOT* dot, const QUORIX_FFT* fft);
QUORIX_FFTDOT_LIST* quorix_fftdot_list_new_from_fft(const QUORIX_FFT* fft);
void quorix_fftdot_list_sort(QUORIX_FFTDOT_LIST* list);
int quorix_fftdot_list_merge_near(QUORIX_FFTDOT_LIST* list);
int quorix_fftdot_list_filter(QUORIX_FFTDOT_LIST* list, double en_cap);
QUORIX_TEXT* quorix_fftdot_list_export_to_text(const QUORIX_FFTDOT_LIST* list);
void quorix_fftdot_print(const QUORIX_FFTDOT* dot);
void quorix_fftdot_list_print(const QUORIX_FFTDOT_LIST* list);

// Marker structure and result files (quorix-fft-export.cpp).
QUORIX_CELL* quorix_fftdot_list_export_to_cell(const QUORIX_FFTDOT_LIST* list);
// Writes "<name>.fft.cif" and "<name>.fft.txt"; en_cap > 0 drops points above the lowest + en_cap.
int quorix_fft_analyze_export_to_file(const QUORIX_CUBE* cube, double en_cap, const char* name);
// Writes the gradient, curvature, laplacian and slope grids as "<name>.fft.*.cube".
int quorix_fft_analyze_export_cubes_to_file(const QUORIX_CUBE* cube, const char* name);

using FftcubePtr = quorix_ptr<QUORIX_FFTCUBE, quorix_fftcube_free>;
using FftPtr = quorix_ptr<QUORIX_FFT, quorix_fft_free>;
using FftdotListPtr = quorix_ptr<QUORIX_FFTDOT_LIST, quorix_fftdot_list_free>;
