// Neighbour list of the mobile atoms in a fixed framework.
#include "quorix-rx-neighbour.hpp"

#include <cmath>

#include "quorix-import-atom.hpp"
#include "quorix-la.hpp"

namespace {

// Reciprocal vectors b_k (a_k . b_l = delta_kl) and the widths of the cell across each pair of faces.
struct Reciprocal {
    double b[3][3];
    double width[3];
};

Reciprocal reciprocal_of(const QUORIX_CELL* cell) {
    Reciprocal rec{};
    const double volume = quorix_matrix33_double_determinant(cell->a);
    for (int k = 0; k < 3; k++) {
        double normal[3];
        quorix_vector3_double_cross(normal, cell->a[(k + 1) % 3], cell->a[(k + 2) % 3]);
        for (int c = 0; c < 3; c++) rec.b[k][c] = normal[c] / volume;
        rec.width[k] = std::fabs(volume) / quorix_vector3_double_length(normal);
    }
    return rec;
}

}  // namespace

int QuorixNeighbourList::build(const QUORIX_CELL* cell, const std::vector<char>& mobile, double* const* x) {
    if (!quorix_cell_lattice_usable(cell)) return 1;
    const Reciprocal rec = reciprocal_of(cell);
    const double range = reach_ + skin_;
    int images[3];
    for (int k = 0; k < 3; k++) images[k] = static_cast<int>(std::ceil(range / rec.width[k])) + 1;

    mobile_.clear();
    first_.assign(1, 0);
    entries_.clear();
    reference_.assign(3 * cell->total, 0.0);
    for (long j = 0; j < cell->total; j++)
        for (int k = 0; k < 3; k++) reference_[3 * j + k] = x[j][k];

    for (long i = 0; i < cell->total; i++) {
        if (!mobile[i]) continue;
        mobile_.push_back(i);
        for (long j = 0; j < cell->total; j++) {
            if (j == i) continue;
            double between[3];
            int nearest[3];  // the lattice translation that brings j closest to i
            for (int k = 0; k < 3; k++) between[k] = x[j][k] - x[i][k];
            for (int k = 0; k < 3; k++)
                nearest[k] = -static_cast<int>(std::lround(quorix_vector3_double_dot(rec.b[k], between)));
            for (int l = nearest[0] - images[0]; l <= nearest[0] + images[0]; l++)
                for (int m = nearest[1] - images[1]; m <= nearest[1] + images[1]; m++)
                    for (int p = nearest[2] - images[2]; p <= nearest[2] + images[2]; p++) {
                        Entry entry{{}, j, mobile[j] != 0};
                        quorix_vector3_double_sum3(entry.r, cell->a[0], l, cell->a[1], m, cell->a[2], p);
                        for (int k = 0; k < 3; k++) entry.r[k] += between[k];
                        if (quorix_vector3_double_dot(entry.r, entry.r) <= range * range) entries_.push_back(entry);
                    }
        }
        first_.push_back(entries_.size());
    }
    builds_++;
    return 0;
}

bool QuorixNeighbourList::needs_refresh(double* const* x) const {
    const double limit = 0.25 * skin_ * skin_;
    for (const long i : mobile_) {
        double moved = 0;
        for (int k = 0; k < 3; k++) moved += (x[i][k] - reference_[3 * i + k]) * (x[i][k] - reference_[3 * i + k]);
        if (moved > limit) return true;
    }
    return false;
}

int QuorixNeighbourList::refresh(const QUORIX_CELL* cell, const std::vector<char>& mobile, double* const* x) {
    return needs_refresh(x) ? build(cell, mobile, x) : 0;
}
