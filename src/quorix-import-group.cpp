// Symmetry operations compared up to a lattice translation: dropping repeats, and the closure test.
#include "quorix-import-group.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <vector>

namespace {

constexpr double kTolerance = 1e-3;

using RotationKey = std::array<long, 9>;
using CardsByRotation = std::map<RotationKey, std::vector<int>>;  // card indices by rounded rotation

RotationKey key_of(const double r[3][3]) {
    RotationKey key;
    for (int k = 0; k < 9; k++) key[k] = std::lround(r[k / 3][k % 3]);
    return key;
}

bool same_operation(const double r[3][3], const double t[3], const QUORIX_CARD& card) {
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++)
            if (std::fabs(r[i][j] - card.r_f[i][j]) > kTolerance) return false;
        const double d = t[i] - card.t_f[i];
        if (std::fabs(d - std::round(d)) > kTolerance) return false;
    }
    return true;
}

// Whether the product a*b (first b, then a) is among the cards with its rotation.
bool product_listed(const QUORIX_CARD& a, const QUORIX_CARD& b, const QUORIX_SYMMETRY& symmetry,
                    const CardsByRotation& by_rotation) {
    double r[3][3], t[3];
    for (int i = 0; i < 3; i++) {
        t[i] = a.t_f[i];
        for (int j = 0; j < 3; j++) {
            r[i][j] = 0;
            for (int k = 0; k < 3; k++) r[i][j] += a.r_f[i][k] * b.r_f[k][j];
            t[i] += a.r_f[i][j] * b.t_f[j];
        }
    }
    const auto found = by_rotation.find(key_of(r));
    if (found == by_rotation.end()) return false;
    for (int k : found->second)
        if (same_operation(r, t, symmetry.card[k])) return true;
    return false;
}

}  // namespace

void quorix_symmetry_drop_repeats(QUORIX_SYMMETRY* symmetry) {
    if (!symmetry || !symmetry->card) return;
    CardsByRotation kept_by_rotation;
    int kept = 0;
    for (int k = 0; k < symmetry->total; k++) {
        const QUORIX_CARD& card = symmetry->card[k];
        std::vector<int>& same_rotation = kept_by_rotation[key_of(card.r_f)];
        if (std::any_of(same_rotation.begin(), same_rotation.end(),
                        [&](int j) { return same_operation(card.r_f, card.t_f, symmetry->card[j]); }))
            continue;
        same_rotation.push_back(kept);
        if (kept != k) symmetry->card[kept] = card;
        kept++;
    }
    symmetry->total = kept;
}

bool quorix_symmetry_is_group(const QUORIX_SYMMETRY* symmetry) {
    if (!symmetry || !symmetry->card) return true;
    CardsByRotation by_rotation;
    for (int k = 0; k < symmetry->total; k++) by_rotation[key_of(symmetry->card[k].r_f)].push_back(k);
    for (int a = 0; a < symmetry->total; a++)
        for (int b = 0; b < symmetry->total; b++)
            if (!product_listed(symmetry->card[a], symmetry->card[b], *symmetry, by_rotation)) return false;
    return true;
}
