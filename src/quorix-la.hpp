// Fixed-size linear algebra: 3-vectors, 3x3 matrices (row-major), a closed-form symmetric
// eigensolver, small solvers, rotations, integer helpers and the uniform random number.
// Results go to the first argument; where inputs are copied first it may alias an input.
#pragma once

void quorix_vector3_double_print(const double* v);
void quorix_vector3_double_copy(double* out, const double* in);
void quorix_vector3_double_sum3(double* sum, const double* x, double a, const double* y, double b, const double* z,
                                double c);
void quorix_vector3_double_sum2(double* sum, const double* x, double a, const double* y, double b);
double quorix_vector3_double_dot(const double* a, const double* b);
void quorix_vector3_double_cross(double* p, const double* a, const double* b);
double quorix_vector3_double_distance(const double* a, const double* b);
double quorix_vector3_double_length(const double* v);
void quorix_vector3_double_normalize(double* out, const double* in);
void quorix_vector3_double_project_parallel(double* out, const double* in, const double* t);
void quorix_vector3_double_project_perpendicular(double* out, const double* in, const double* t);
void quorix_vector3_double_complement1(double* u, const double* a, const double* b);
void quorix_vector3_double_complement2(double* u, double* v, const double* a);

void quorix_matrix33_double_multiply_vector3(double* res, const double m[3][3], const double* v);
void quorix_matrix33_double_print(const double m[3][3]);
void quorix_matrix33_double_transpose(double m[3][3]);
void quorix_matrix33_double_copy(double out[3][3], const double in[3][3]);
double quorix_matrix33_double_determinant(const double m[3][3]);
void quorix_matrix33_double_swap_row(double m[3][3], int i, int j);
void quorix_matrix33_double_swap_col(double m[3][3], int i, int j);
void quorix_matrix33_double_multiplication(double out[3][3], const double in1[3][3], const double in2[3][3]);
int quorix_matrix33_double_compute_rank(double m[3][3]);  // destroys its argument
int quorix_matrix33_double_rank(const double m[3][3]);
void quorix_matrix33_double_diagonal(double m[3][3], const double* d);
void quorix_matrix33_double_round(double m[3][3]);
void quorix_matrix33_double_symmetrize(double m[3][3]);
void quorix_matrix33_double_round_to_int(int mi[3][3], const double m[3][3]);
void quorix_matrix33_int_convert_to_double(double m[3][3], const int mi[3][3]);

// Eigenvalues ascending; vec[k] (a row) is the unit eigenvector of eig[k].
void quorix_matrix33_double_eigenvalue_symmetric(double* eig, const double m[3][3]);
int quorix_matrix33_double_eigensolver_symmetric(double* eig, double vec[3][3], const double m[3][3]);

// LU factors with partial pivoting: lu holds L (unit diagonal, below) and U; row i of lu is row perm[i] of m.
int quorix_matrix33_double_lusolver(double lu[3][3], int* perm, const double m[3][3]);
int quorix_matrix33_double_linearsolver(double* x, const double m[3][3], const double* b);
int quorix_matrix33_double_svdsolver(double* x, const double m[3][3], const double* b);

// Reciprocal vectors b[k] of the lattice rows a (a[k] . b[l] = delta_kl) and the widths of the
// cell across each pair of faces (1 / |b[k]|).
void quorix_lattice_reciprocal(const double a[3][3], double b[3][3], double width[3]);

void quorix_matrix33_double_rotation_simple(double m[3][3], int axis, double angle);
void quorix_matrix33_double_rotation_euler(double m[3][3], const double* angle);
void quorix_matrix33_double_rotation_random(double m[3][3]);

void quorix_matrix33_int_multiply_vector3(int* res, const int m[3][3], const int* v);
void quorix_matrix33_int_multiplication(int out[3][3], const int in1[3][3], const int in2[3][3]);
void quorix_matrix33_int_transpose(int m[3][3]);
void quorix_matrix33_int_copy(int out[3][3], const int in[3][3]);
int quorix_matrix33_int_determinant(const int m[3][3]);

double quorix_random();
long quorix_mod_long(long a, long b);
int quorix_gcd(int a, int b);
int quorix_lcm(int a, int b);
