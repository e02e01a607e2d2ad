// Integer lattice of cell translations, kept as a reduced basis: the translations of the closed
// walks of a migration network, whose rank is the dimension in which the network conducts.
#pragma once

#include <array>
#include <utility>

namespace quorix_lattice {

using Translation = std::array<long, 3>;

// a / b rounded towards minus infinity (b non-zero).
inline long floor_div(long a, long b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

// Rows in echelon form: row k, when present, has its first non-zero entry at k.
struct EchelonLattice {
    Translation row[3]{};
    bool present[3]{};

    void add(Translation v) {
        for (int k = 0; k < 3; k++) {
            if (v[k] == 0) continue;
            if (!present[k]) {
                if (v[k] < 0)
                    for (long& x : v) x = -x;
                row[k] = v;
                present[k] = true;
                return;
            }
            // Euclid on column k between the stored row and v leaves the gcd in the row and 0 in v.
            while (v[k] != 0) {
                const long f = row[k][k] / v[k];
                for (int d = 0; d < 3; d++) row[k][d] -= f * v[d];
                std::swap(row[k], v);
            }
            if (row[k][k] < 0)
                for (long& x : row[k]) x = -x;
        }
    }

    void add(const EchelonLattice& other) {
        for (int k = 0; k < 3; k++)
            if (other.present[k]) add(other.row[k]);
    }

    // Hermite normal form: entries above each pivot brought into [0, pivot).
    void reduce() {
        for (int k = 0; k < 3; k++)
            for (int j = k + 1; j < 3; j++) {
                if (!present[k] || !present[j]) continue;
                const long f = floor_div(row[k][j], row[j][j]);
                for (int d = 0; d < 3; d++) row[k][d] -= f * row[j][d];
            }
    }

    int rank() const { return present[0] + present[1] + present[2]; }

    // True when v lies outside the real span of the lattice.
    bool extended_by(const Translation& v) const {
        EchelonLattice wider = *this;
        wider.add(v);
        return wider.rank() > rank();
    }
};

}  // namespace quorix_lattice
