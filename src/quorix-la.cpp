// Fixed-size linear algebra: 3-vectors, 3x3 matrices, the symmetric eigensolver, integer helpers.
#include "quorix-la.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

// ---------------------------------------------------------------- vectors

void quorix_vector3_double_print(const double* v) { std::printf(" %11.6f %11.6f %11.6f\n", v[0], v[1], v[2]); }

void quorix_vector3_double_copy(double* out, const double* in) { std::memmove(out, in, 3 * sizeof(double)); }

void quorix_vector3_double_sum3(double* sum, const double* x, double a, const double* y, double b, const double* z,
                                double c) {
    double r[3];
    for (int i = 0; i < 3; i++) r[i] = x[i] * a + y[i] * b + z[i] * c;
    quorix_vector3_double_copy(sum, r);
}

void quorix_vector3_double_sum2(double* sum, const double* x, double a, const double* y, double b) {
    double r[3];
    for (int i = 0; i < 3; i++) r[i] = x[i] * a + y[i] * b;
    quorix_vector3_double_copy(sum, r);
}

double quorix_vector3_double_dot(const double* a, const double* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void quorix_vector3_double_cross(double* p, const double* a, const double* b) {
    const double r[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
    quorix_vector3_double_copy(p, r);
}

double quorix_vector3_double_distance(const double* a, const double* b) {
    const double d[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
    return quorix_vector3_double_length(d);
}

double quorix_vector3_double_length(const double* v) { return std::sqrt(quorix_vector3_double_dot(v, v)); }

void quorix_vector3_double_normalize(double* out, const double* in) {
    const double length = quorix_vector3_double_length(in);
    for (int i = 0; i < 3; i++) out[i] = in[i] / length;
}

void quorix_vector3_double_project_parallel(double* out, const double* in, const double* t) {
    const double scale = quorix_vector3_double_dot(in, t) / quorix_vector3_double_dot(t, t);
    const double r[3] = {t[0] * scale, t[1] * scale, t[2] * scale};
    quorix_vector3_double_copy(out, r);
}

void quorix_vector3_double_project_perpendicular(double* out, const double* in, const double* t) {
    double parallel[3];
    quorix_vector3_double_project_parallel(parallel, in, t);
    for (int i = 0; i < 3; i++) out[i] = in[i] - parallel[i];
}

void quorix_vector3_double_complement1(double* u, const double* a, const double* b) {
    double p[3];
    quorix_vector3_double_cross(p, a, b);
    quorix_vector3_double_normalize(u, p);
}

void quorix_vector3_double_complement2(double* u, double* v, const double* a) {
    // Start from the coordinate axis least aligned with a, so the cross product is well conditioned.
    int axis = 0;
    for (int i = 1; i < 3; i++)
        if (std::fabs(a[i]) < std::fabs(a[axis])) axis = i;
    double e[3] = {0.0, 0.0, 0.0};
    e[axis] = 1.0;
    quorix_vector3_double_complement1(u, a, e);
    quorix_vector3_double_complement1(v, a, u);
}

// ---------------------------------------------------------------- double matrices

void quorix_matrix33_double_multiply_vector3(double* res, const double m[3][3], const double* v) {
    double r[3];
    for (int i = 0; i < 3; i++) r[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    quorix_vector3_double_copy(res, r);
}

void quorix_matrix33_double_print(const double m[3][3]) {
    for (int i = 0; i < 3; i++) quorix_vector3_double_print(m[i]);
}

void quorix_matrix33_double_transpose(double m[3][3]) {
    for (int i = 0; i < 3; i++)
        for (int j = i + 1; j < 3; j++) std::swap(m[i][j], m[j][i]);
}

void quorix_matrix33_double_copy(double out[3][3], const double in[3][3]) {
    std::memmove(out, in, 9 * sizeof(double));
}

double quorix_matrix33_double_determinant(const double m[3][3]) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

void quorix_lattice_reciprocal(const double a[3][3], double b[3][3], double width[3]) {
    const double volume = quorix_matrix33_double_determinant(a);
    for (int k = 0; k < 3; k++) {
        double normal[3];
        quorix_vector3_double_cross(normal, a[(k + 1) % 3], a[(k + 2) % 3]);
        for (int c = 0; c < 3; c++) b[k][c] = normal[c] / volume;
        width[k] = std::fabs(volume) / quorix_vector3_double_length(normal);
    }
}

void quorix_matrix33_double_swap_row(double m[3][3], int i, int j) {
    for (int k = 0; k < 3; k++) std::swap(m[i][k], m[j][k]);
}

void quorix_matrix33_double_swap_col(double m[3][3], int i, int j) {
    for (int k = 0; k < 3; k++) std::swap(m[k][i], m[k][j]);
}

void quorix_matrix33_double_multiplication(double out[3][3], const double in1[3][3], const double in2[3][3]) {
    double r[3][3];
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) r[i][j] = in1[i][0] * in2[0][j] + in1[i][1] * in2[1][j] + in1[i][2] * in2[2][j];
    quorix_matrix33_double_copy(out, r);
}

// Gaussian elimination with full pivoting; the pivot rows end up as rows 0, 1, ... in the
// original column order and are not touched by later steps, so the first `rank` rows span
// the row space.
int quorix_matrix33_double_compute_rank(double m[3][3]) {
    constexpr double kTiny = 1e-6;
    for (int top = 0; top < 3; top++) {
        int pivot_row = top;
        int pivot_col = 0;
        double largest = -1.0;
        for (int i = top; i < 3; i++)
            for (int j = 0; j < 3; j++)
                if (std::fabs(m[i][j]) > largest) {
                    largest = std::fabs(m[i][j]);
                    pivot_row = i;
                    pivot_col = j;
                }
        if (!(largest >= kTiny)) return top;
        quorix_matrix33_double_swap_row(m, top, pivot_row);
        const double pivot = m[top][pivot_col];
        for (int j = 0; j < 3; j++) m[top][j] /= pivot;
        for (int i = top + 1; i < 3; i++) {
            const double factor = m[i][pivot_col];
            for (int j = 0; j < 3; j++) m[i][j] -= factor * m[top][j];
        }
    }
    return 3;
}

int quorix_matrix33_double_rank(const double m[3][3]) {
    double copy[3][3];
    quorix_matrix33_double_copy(copy, m);
    return quorix_matrix33_double_compute_rank(copy);
}

void quorix_matrix33_double_diagonal(double m[3][3], const double* d) {
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) m[i][j] = i == j ? d[i] : 0.0;
}

void quorix_matrix33_double_round(double m[3][3]) {
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) m[i][j] = std::round(m[i][j]);
}

void quorix_matrix33_double_symmetrize(double m[3][3]) {
    for (int i = 0; i < 3; i++)
        for (int j = i + 1; j < 3; j++) m[i][j] = m[j][i] = 0.5 * (m[i][j] + m[j][i]);
}

void quorix_matrix33_double_round_to_int(int mi[3][3], const double m[3][3]) {
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) mi[i][j] = static_cast<int>(std::lround(m[i][j]));
}

void quorix_matrix33_int_convert_to_double(double m[3][3], const int mi[3][3]) {
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) m[i][j] = mi[i][j];
}

// ---------------------------------------------------------------- symmetric eigenproblem

void quorix_matrix33_double_eigenvalue_symmetric(double* eig, const double m[3][3]) {
    const double p1 = m[0][1] * m[0][1] + m[0][2] * m[0][2] + m[1][2] * m[1][2];
    if (p1 < 1e-11) {
        double d[3] = {m[0][0], m[1][1], m[2][2]};
        std::sort(d, d + 3);
        quorix_vector3_double_copy(eig, d);
        return;
    }
    const double q = (m[0][0] + m[1][1] + m[2][2]) / 3.0;
    const double p = std::sqrt(
        ((m[0][0] - q) * (m[0][0] - q) + (m[1][1] - q) * (m[1][1] - q) + (m[2][2] - q) * (m[2][2] - q) + 2.0 * p1) /
        6.0);
    double b[3][3];
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) b[i][j] = (m[i][j] - (i == j ? q : 0.0)) / p;
    const double r = quorix_matrix33_double_determinant(b) / 2.0;
    double phi;
    if (r <= -1.0)
        phi = 1.04719755;
    else if (r >= 1.0)
        phi = 0.0;
    else
        phi = std::acos(r) / 3.0;
    eig[2] = q + 2.0 * p * std::cos(phi);
    eig[0] = q + 2.0 * p * std::cos(phi + 2.0943951);
    eig[1] = 3.0 * q - eig[0] - eig[2];
}

// Null space of (m - eig*I) for each distinct eigenvalue. A computed eigenvalue carries the
// rounding of the closed form, so on stiff matrices the elimination can leave a tiny third
// pivot; the first two pivot rows still span the row space and give the eigenvector.
int quorix_matrix33_double_eigensolver_symmetric(double* eig, double vec[3][3], const double m[3][3]) {
    double s[3][3];
    quorix_matrix33_double_copy(s, m);
    quorix_matrix33_double_symmetrize(s);
    quorix_matrix33_double_eigenvalue_symmetric(eig, s);
    int k = 0;
    while (k < 3) {
        double shifted[3][3];
        quorix_matrix33_double_copy(shifted, s);
        for (int i = 0; i < 3; i++) shifted[i][i] -= eig[k];
        const int rank = quorix_matrix33_double_compute_rank(shifted);
        if (rank >= 2) {
            quorix_vector3_double_complement1(vec[k], shifted[0], shifted[1]);
            k += 1;
        } else if (rank == 1) {
            double u[3], v[3];
            quorix_vector3_double_complement2(u, v, shifted[0]);
            quorix_vector3_double_copy(vec[k], u);
            if (k + 1 < 3) quorix_vector3_double_copy(vec[k + 1], v);
            k += 2;
        } else {
            const double e[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
            for (; k < 3; k++) quorix_vector3_double_copy(vec[k], e[k]);
        }
    }
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            if (!std::isfinite(vec[i][j])) return 1;
    return 0;
}

// ---------------------------------------------------------------- solvers

int quorix_matrix33_double_lusolver(double lu[3][3], int* perm, const double m[3][3]) {
    quorix_matrix33_double_copy(lu, m);
    for (int i = 0; i < 3; i++) perm[i] = i;
    for (int col = 0; col < 3; col++) {
        int pivot = col;
        for (int i = col + 1; i < 3; i++)
            if (std::fabs(lu[i][col]) > std::fabs(lu[pivot][col])) pivot = i;
        if (pivot != col) {
            quorix_matrix33_double_swap_row(lu, col, pivot);
            std::swap(perm[col], perm[pivot]);
        }
        if (!(std::fabs(lu[col][col]) >= 1e-6)) return 1;
        for (int i = col + 1; i < 3; i++) {
            lu[i][col] /= lu[col][col];
            for (int j = col + 1; j < 3; j++) lu[i][j] -= lu[i][col] * lu[col][j];
        }
    }
    return 0;
}

int quorix_matrix33_double_linearsolver(double* x, const double m[3][3], const double* b) {
    double lu[3][3];
    int perm[3];
    if (quorix_matrix33_double_lusolver(lu, perm, m)) return 1;
    double y[3];
    for (int i = 0; i < 3; i++) {
        y[i] = b[perm[i]];
        for (int j = 0; j < i; j++) y[i] -= lu[i][j] * y[j];
    }
    for (int i = 2; i >= 0; i--) {
        for (int j = i + 1; j < 3; j++) y[i] -= lu[i][j] * y[j];
        y[i] /= lu[i][i];
    }
    quorix_vector3_double_copy(x, y);
    return 0;
}

// x = V diag(1/lambda) V^T m^T b over the eigenpairs of m^T m whose singular value is not negligible.
int quorix_matrix33_double_svdsolver(double* x, const double m[3][3], const double* b) {
    double mt[3][3], mtm[3][3];
    quorix_matrix33_double_copy(mt, m);
    quorix_matrix33_double_transpose(mt);
    quorix_matrix33_double_multiplication(mtm, mt, m);
    double eig[3], vec[3][3];
    if (quorix_matrix33_double_eigensolver_symmetric(eig, vec, mtm)) return 1;
    double mtb[3];
    quorix_matrix33_double_multiply_vector3(mtb, mt, b);
    double r[3] = {0.0, 0.0, 0.0};
    for (int k = 0; k < 3; k++) {
        if (!(eig[k] > -1e-6)) {
            std::fprintf(stderr, "Error: negative eigenvalue.\n");
            return 1;
        }
        const double singular = eig[k] > 0.0 ? std::sqrt(eig[k]) : 0.0;
        if (singular < 1e-6) continue;
        const double weight = quorix_vector3_double_dot(vec[k], mtb) / eig[k];
        for (int i = 0; i < 3; i++) r[i] += weight * vec[k][i];
    }
    quorix_vector3_double_copy(x, r);
    return 0;
}

// ---------------------------------------------------------------- rotations

void quorix_matrix33_double_rotation_simple(double m[3][3], int axis, double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const int i = (axis + 1) % 3;
    const int j = (axis + 2) % 3;
    for (int r = 0; r < 3; r++)
        for (int col = 0; col < 3; col++) m[r][col] = r == col ? 1.0 : 0.0;
    m[i][i] = c;
    m[i][j] = -s;
    m[j][i] = s;
    m[j][j] = c;
}

void quorix_matrix33_double_rotation_euler(double m[3][3], const double* angle) {
    double r0[3][3], r1[3][3], r2[3][3];
    quorix_matrix33_double_rotation_simple(r0, 0, angle[0]);
    quorix_matrix33_double_rotation_simple(r1, 1, angle[1]);
    quorix_matrix33_double_rotation_simple(r2, 2, angle[2]);
    quorix_matrix33_double_multiplication(m, r0, r1);
    quorix_matrix33_double_multiplication(m, m, r2);
}

void quorix_matrix33_double_rotation_random(double m[3][3]) {
    const double angle[3] = {6.2831853 * quorix_random(), std::acos(2.0 * quorix_random() - 1.0),
                             6.2831853 * quorix_random()};
    quorix_matrix33_double_rotation_euler(m, angle);
}

// ---------------------------------------------------------------- integer matrices

void quorix_matrix33_int_multiply_vector3(int* res, const int m[3][3], const int* v) {
    int r[3];
    for (int i = 0; i < 3; i++) r[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    std::memmove(res, r, sizeof(r));
}

void quorix_matrix33_int_multiplication(int out[3][3], const int in1[3][3], const int in2[3][3]) {
    int r[3][3];
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) r[i][j] = in1[i][0] * in2[0][j] + in1[i][1] * in2[1][j] + in1[i][2] * in2[2][j];
    std::memmove(out, r, sizeof(r));
}

void quorix_matrix33_int_transpose(int m[3][3]) {
    for (int i = 0; i < 3; i++)
        for (int j = i + 1; j < 3; j++) std::swap(m[i][j], m[j][i]);
}

void quorix_matrix33_int_copy(int out[3][3], const int in[3][3]) { std::memmove(out, in, 9 * sizeof(int)); }

int quorix_matrix33_int_determinant(const int m[3][3]) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// ---------------------------------------------------------------- scalars

double quorix_random() { return std::rand() / 2147483647.0; }

long quorix_mod_long(long a, long b) { return ((a % b) + b) % b; }

int quorix_gcd(int a, int b) {
    a = std::abs(a);
    b = std::abs(b);
    while (b != 0) {
        const int r = a % b;
        a = b;
        b = r;
    }
    return a;
}

int quorix_lcm(int a, int b) { return static_cast<int>(std::labs(static_cast<long>(a) * b) / quorix_gcd(a, b)); }
