// Neighbour list of the mobile atoms in a fixed framework.
#include "quorix-rx-neighbour.hpp"

#include <algorithm>
#include <cmath>

#include "quorix-images.hpp"
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

struct Translation {
    double v[3];
};

// Every lattice translation shorter than `length`.
std::vector<Translation> translations_within(const QUORIX_CELL* cell, const Reciprocal& rec, double length) {
    int images[3];
    for (int k = 0; k < 3; k++) images[k] = static_cast<int>(std::ceil(length / rec.width[k]));
    std::vector<Translation> translations;
    quorix_for_each_image(cell->a, images, [&](const QuorixImage& image) {
        Translation t;
        for (int k = 0; k < 3; k++) t.v[k] = image.shift[k];
        if (t.v[0] * t.v[0] + t.v[1] * t.v[1] + t.v[2] * t.v[2] <= length * length) translations.push_back(t);
    });
    return translations;
}

}  // namespace

int QuorixNeighbourList::build(const QUORIX_CELL* cell, const std::vector<char>& mobile, double* const* x) {
    if (!quorix_cell_lattice_usable(cell)) return 1;
    const Reciprocal rec = reciprocal_of(cell);
    const double range = reach_ + skin_;
    // Taken to its nearest image by rounding its fractional coordinates, a difference of two
    // positions is at most half the longest diagonal of the cell long.
    double half_diagonal = 0;
    for (int diagonal = 0; diagonal < 4; diagonal++) {
        double v[3];
        for (int k = 0; k < 3; k++)
            v[k] = cell->a[0][k] + (diagonal & 1 ? -1 : 1) * cell->a[1][k] + (diagonal & 2 ? -1 : 1) * cell->a[2][k];
        half_diagonal = std::max(half_diagonal, 0.5 * quorix_vector3_double_length(v));
    }
    const std::vector<Translation> translations = translations_within(cell, rec, range + half_diagonal);

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
            if (j == i || (mobile[j] && j < i)) continue;
            double between[3];
            for (int k = 0; k < 3; k++) between[k] = x[j][k] - x[i][k];
            double fraction[3];
            for (int k = 0; k < 3; k++)
                fraction[k] = std::round(rec.b[k][0] * between[0] + rec.b[k][1] * between[1] + rec.b[k][2] * between[2]);
            for (int k = 0; k < 3; k++)
                between[k] -= fraction[0] * cell->a[0][k] + fraction[1] * cell->a[1][k] + fraction[2] * cell->a[2][k];
            for (const Translation& t : translations) {
                Entry entry{{between[0] + t.v[0], between[1] + t.v[1], between[2] + t.v[2]}, j, mobile[j] != 0};
                if (entry.r[0] * entry.r[0] + entry.r[1] * entry.r[1] + entry.r[2] * entry.r[2] <= range * range)
                    entries_.push_back(entry);
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
