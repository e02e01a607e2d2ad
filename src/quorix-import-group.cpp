// Closure test of a list of symmetry operations.
#include "quorix-import-group.hpp"

#include <cmath>

namespace {

constexpr double kTolerance = 1e-3;

bool same_operation(const double r[3][3], const double t[3], const QUORIX_CARD& card) {
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++)
            if (std::fabs(r[i][j] - card.r_f[i][j]) > kTolerance) return false;
        const double d = t[i] - card.t_f[i];
        if (std::fabs(d - std::round(d)) > kTolerance) return false;
    }
    return true;
}

// The product a*b: first b, then a.
bool product_listed(const QUORIX_CARD& a, const QUORIX_CARD& b, const QUORIX_SYMMETRY& symmetry) {
    double r[3][3], t[3];
    for (int i = 0; i < 3; i++) {
        t[i] = a.t_f[i];
        for (int j = 0; j < 3; j++) {
            r[i][j] = 0;
            for (int k = 0; k < 3; k++) r[i][j] += a.r_f[i][k] * b.r_f[k][j];
            t[i] += a.r_f[i][j] * b.t_f[j];
        }
    }
    for (int k = 0; k < symmetry.total; k++)
        if (same_operation(r, t, symmetry.card[k])) return true;
    return false;
}

}  // namespace

bool quorix_symmetry_is_group(const QUORIX_SYMMETRY* symmetry) {
    if (!symmetry || !symmetry->card) return true;
    for (int a = 0; a < symmetry->total; a++)
        for (int b = 0; b < symmetry->total; b++)
            if (!product_listed(symmetry->card[a], symmetry->card[b], *symmetry)) return false;
    return true;
}
