// Nudged elastic band with a climbing image, the improved tangent and a FIRE optimiser.
#include "quorix-rx-neb.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-write.hpp"
#include "quorix-la.hpp"
#include "quorix-rx-pairs.hpp"
#include "quorix-rx.hpp"

namespace {

// Forces of the pair model are half of dE/dr per ordered pair, in e^2/A^2.
constexpr double kForceToEv = 2 * kQuorixEvPerUnit;
// The highest image starts to climb once no band force exceeds this (eV/A): climbing from a
// band far from the path can run away from it.
constexpr double kClimbStart = 0.5;
// Largest lattice-vector difference of two cells taken as the same cell, A.
constexpr double kSameCell = 1e-3;

// FIRE parameters (time in units of A * sqrt(amu / eV) with unit masses).
struct Fire {
    double dt = 0.1;
    double alpha = 0.1;
    long positive = 0;
    static constexpr double kDtMax = 1.0;
    static constexpr double kMaxMove = 0.2;  // A, the whole move of one step
    std::vector<double> v;

    // One step: x += move, from the forces f (both of the same length).
    void step(std::vector<double>& x, const std::vector<double>& f) {
        if (v.size() != f.size()) v.assign(f.size(), 0);
        double power = 0, f_norm = 0, v_norm = 0;
        for (size_t n = 0; n < f.size(); n++) {
            power += f[n] * v[n];
            f_norm += f[n] * f[n];
            v_norm += v[n] * v[n];
        }
        f_norm = std::sqrt(f_norm);
        v_norm = std::sqrt(v_norm);
        if (power > 0) {
            for (size_t n = 0; n < f.size(); n++)
                v[n] = (1 - alpha) * v[n] + (f_norm > 0 ? alpha * f[n] / f_norm * v_norm : 0);
            if (positive > 5) {
                dt = std::min(dt * 1.1, kDtMax);
                alpha *= 0.99;
            }
            positive++;
        } else {
            std::fill(v.begin(), v.end(), 0.0);
            alpha = 0.1;
            dt *= 0.5;
            positive = 0;
        }
        double move_norm = 0;
        for (size_t n = 0; n < f.size(); n++) {
            v[n] += dt * f[n];
            move_norm += dt * v[n] * dt * v[n];
        }
        move_norm = std::sqrt(move_norm);
        const double scale = move_norm > kMaxMove ? kMaxMove / move_norm : 1.0;
        for (size_t n = 0; n < f.size(); n++) x[n] += dt * v[n] * scale;
    }
};

QuorixNebSettings resolved(QuorixNebSettings settings) {
    if (settings.f_conv <= 0) settings.f_conv = 0.005;
    if (settings.k <= 0) settings.k = 0.5;
    if (settings.step_log == 0) settings.step_log = 50;
    return settings;
}

std::vector<double> positions_of(const QUORIX_CELL* cell) {
    std::vector<double> x(3 * cell->total);
    for (long i = 0; i < cell->total; i++)
        for (int k = 0; k < 3; k++) x[3 * i + k] = cell->atom[i].x[k];
    return x;
}

void set_positions(QUORIX_CELL* cell, const std::vector<double>& x) {
    for (long i = 0; i < cell->total; i++)
        for (int k = 0; k < 3; k++) cell->atom[i].x[k] = x[3 * i + k];
    quorix_cell_update_coordinate_fractional(cell);
}

// Infinite when a force is not a number, so that a band that blew up never counts as converged.
double largest_atom_force(const std::vector<double>& f) {
    double largest = 0;
    for (size_t n = 0; n + 2 < f.size(); n += 3) {
        const double length = std::sqrt(f[n] * f[n] + f[n + 1] * f[n + 1] + f[n + 2] * f[n + 2]);
        if (std::isnan(length)) return INFINITY;
        largest = std::max(largest, length);
    }
    return largest;
}

// The shortest periodic vector from x_from to an image of x_to, from their fractional
// coordinates; `translation` gets the lattice translation of that image of x_to.
void shortest_vector(double* out, const QUORIX_CELL* cell, const double* from_f, const double* to_f,
                     int* translation = nullptr) {
    double base[3];
    for (int k = 0; k < 3; k++) base[k] = (to_f[k] - from_f[k]) - std::round(to_f[k] - from_f[k]);
    double best = -1;
    for (int l = -1; l <= 1; l++)
        for (int m = -1; m <= 1; m++)
            for (int p = -1; p <= 1; p++) {
                double v[3];
                quorix_vector3_double_sum3(v, cell->a[0], base[0] + l, cell->a[1], base[1] + m, cell->a[2],
                                           base[2] + p);
                const double length = quorix_vector3_double_length(v);
                if (best < 0 || length < best) {
                    best = length;
                    quorix_vector3_double_copy(out, v);
                    const int n[3] = {l, m, p};
                    if (translation)
                        for (int k = 0; k < 3; k++)
                            translation[k] = n[k] - static_cast<int>(std::round(to_f[k] - from_f[k]));
                }
            }
}

bool same_species(const QUORIX_ATOM& a, const QUORIX_ATOM& b) {
    return a.os == b.os && std::strncmp(a.type, b.type, sizeof(a.type)) == 0;
}

// The atoms of `cell` in the order of `reference`, each moved by the lattice translation that
// takes it nearest to its partner (an atom already nearest keeps its coordinates to the last
// digit): pairs of the same species are taken shortest first.
CellPtr matched_to(const QUORIX_CELL* reference, const QUORIX_CELL* cell) {
    struct Candidate {
        double d;
        long i, j;
    };
    std::vector<Candidate> candidates;
    std::vector<double> vectors;  // shortest vector of every candidate
    for (long i = 0; i < reference->total; i++)
        for (long j = 0; j < cell->total; j++) {
            if (!same_species(reference->atom[i], cell->atom[j])) continue;
            double v[3];
            shortest_vector(v, reference, reference->atom[i].x_f, cell->atom[j].x_f);
            candidates.push_back({quorix_vector3_double_length(v), i, j});
        }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate& a, const Candidate& b) { return a.d < b.d; });
    CellPtr matched(quorix_cell_copy(reference));
    if (!matched) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return nullptr;
    }
    std::vector<char> taken_i(reference->total, 0), taken_j(cell->total, 0);
    for (const Candidate& c : candidates) {
        if (taken_i[c.i] || taken_j[c.j]) continue;
        taken_i[c.i] = taken_j[c.j] = 1;
        double v[3];
        int n[3];
        shortest_vector(v, reference, reference->atom[c.i].x_f, cell->atom[c.j].x_f, n);
        QUORIX_ATOM& atom = matched->atom[c.i];
        atom = cell->atom[c.j];
        for (int k = 0; k < 3; k++)
            if (n[k] != 0)
                for (int d = 0; d < 3; d++) atom.x[d] += n[k] * reference->a[k][d];
    }
    quorix_cell_update_coordinate_fractional(matched.get());
    return matched;
}

long nearest_atom(const QUORIX_CELL* cell, const double* x_f) {
    long nearest = 0;
    double best = -1;
    for (long i = 0; i < cell->total; i++) {
        double v[3];
        shortest_vector(v, cell, x_f, cell->atom[i].x_f);
        const double d = quorix_vector3_double_length(v);
        if (best < 0 || d < best) best = d, nearest = i;
    }
    return nearest;
}

struct Evaluation {
    std::vector<double> force;  // eV/A
    double energy = 0;
};

// Energy and forces in eV/A over a pair list that counts the pairs of fixed atoms too.
int energy_and_force_ev(Evaluation& out, QuorixRxPairs& pairs, const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    if (!cell || cell->total <= 0 || !ppt) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    out.force.assign(3 * cell->total, 0);
    std::vector<double*> rows(cell->total);
    for (long i = 0; i < cell->total; i++) rows[i] = &out.force[3 * i];
    if (pairs.energy_and_force(cell, ppt, out.energy, rows.data()) != 0) return 1;
    for (double& c : out.force) c *= kForceToEv;
    return 0;
}

// Components that do not move: every component of an `ignored` atom, and those of `settings`.
std::vector<char> fixed_components(const QUORIX_CELL* cell, const QuorixNebSettings& settings) {
    std::vector<char> fixed(3 * cell->total, 0);
    for (long i = 0; i < cell->total; i++)
        for (int k = 0; k < 3; k++) fixed[3 * i + k] = quorix_component_fixed(cell, settings.fixed, i, k);
    return fixed;
}

void zero_fixed(std::vector<double>& v, const std::vector<char>& fixed) {
    for (size_t n = 0; n < v.size(); n++)
        if (fixed[n]) v[n] = 0;
}

// The energy and the forces of free components in eV/A.
int evaluate(Evaluation& out, QuorixRxPairs& pairs, const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt,
             const std::vector<char>& fixed, long* evaluations) {
    if (evaluations) (*evaluations)++;
    if (energy_and_force_ev(out, pairs, cell, ppt) != 0) {
        std::fprintf(stderr, "Error: quorix_cell_calculate_force_ev() returns non-zero.\n");
        return 1;
    }
    zero_fixed(out.force, fixed);
    return 0;
}

double distance(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (size_t n = 0; n < a.size(); n++) sum += (a[n] - b[n]) * (a[n] - b[n]);
    return std::sqrt(sum);
}

std::vector<double> normalized(std::vector<double> t) {
    double norm = 0;
    for (double c : t) norm += c * c;
    norm = std::sqrt(norm);
    if (norm > 0)
        for (double& c : t) c /= norm;
    return t;
}

// The improved tangent at interior image i: towards the higher neighbour, mixed at extrema.
std::vector<double> tangent(const std::vector<std::vector<double>>& x, const std::vector<double>& e, size_t i) {
    const double up = e[i + 1] - e[i], down = e[i - 1] - e[i];
    double w_plus, w_minus;
    if (up > 0 && down < 0) {
        w_plus = 1, w_minus = 0;
    } else if (up < 0 && down > 0) {
        w_plus = 0, w_minus = 1;
    } else {
        const double large = std::max(std::fabs(up), std::fabs(down)), small = std::min(std::fabs(up), std::fabs(down));
        const bool next_higher = e[i + 1] > e[i - 1];
        w_plus = next_higher ? large : small;
        w_minus = next_higher ? small : large;
    }
    std::vector<double> t(x[i].size());
    for (size_t n = 0; n < t.size(); n++) t[n] = w_plus * (x[i + 1][n] - x[i][n]) + w_minus * (x[i][n] - x[i - 1][n]);
    return normalized(std::move(t));
}

// The band force of interior image i from its true force: the perpendicular part plus the
// spring along the improved tangent; or, for the climbing image, the force with its part along
// the chord between its neighbours reversed (the chord does not turn as the image climbs, so
// the image cannot run away from the band).
std::vector<double> band_force(const std::vector<std::vector<double>>& x, const std::vector<double>& e,
                               const std::vector<double>& f, size_t i, bool climbing, double k) {
    std::vector<double> t;
    if (climbing) {
        t.resize(x[i].size());
        for (size_t n = 0; n < t.size(); n++) t[n] = x[i + 1][n] - x[i - 1][n];
        t = normalized(std::move(t));
    } else {
        t = tangent(x, e, i);
    }
    double parallel = 0;
    for (size_t n = 0; n < t.size(); n++) parallel += f[n] * t[n];
    const double spring = climbing ? 0 : k * (distance(x[i + 1], x[i]) - distance(x[i], x[i - 1]));
    const double along = climbing ? -2 * parallel : spring - parallel;
    std::vector<double> out(f.size());
    for (size_t n = 0; n < f.size(); n++) out[n] = f[n] + along * t[n];
    return out;
}

// Log files of a run; closed on every path.
class NebLogs {
public:
    NebLogs(const char* name, int images, bool enabled) {
        if (!enabled) return;
        profile_ = std::fopen((std::string(name) + ".neb-log.txt").c_str(), "wb");
        for (int i = 0; i < images; i++) {
            char path[1024];
            std::snprintf(path, sizeof(path), "%s.neb-log.%d.txt", name, i);
            per_image_.push_back(std::fopen(path, "wb"));
        }
        if (profile_) std::fprintf(profile_, "# step, energy of every image relative to the first (eV)\r\n");
        for (FILE* f : per_image_)
            if (f) std::fprintf(f, "# step, energy (eV), reaction coordinate (A), largest force (eV/A)\r\n");
    }
    ~NebLogs() {
        if (profile_) std::fclose(profile_);
        for (FILE* f : per_image_)
            if (f) std::fclose(f);
    }
    bool ok() const {
        return profile_ && std::none_of(per_image_.begin(), per_image_.end(), [](FILE* f) { return !f; });
    }
    void write(const QuorixNebBand& band) {
        std::fprintf(profile_, "%8ld", band.steps);
        for (double e : band.energy) std::fprintf(profile_, " %12.6f", e - band.energy.front());
        std::fprintf(profile_, "\r\n");
        std::fflush(profile_);
        for (size_t i = 0; i < per_image_.size(); i++) {
            std::fprintf(per_image_[i], "%8ld %14.6f %10.5f %10.6f\r\n", band.steps, band.energy[i],
                         band.coordinate[i], band.force_max[i]);
            std::fflush(per_image_[i]);
        }
    }

private:
    FILE* profile_ = nullptr;
    std::vector<FILE*> per_image_;
};

int write_images(const QuorixNebBand& band, const char* name, bool quiet) {
    for (size_t i = 0; i < band.images.size(); i++) {
        char path[1024];
        std::snprintf(path, sizeof(path), "%s.neb.%zu.cif", name, i);
        QUORIX_CELL* cell = band.images[i].get();
        int status;
        if (quiet) {
            TextPtr text(quorix_cell_export_cif_to_text(cell, nullptr));
            status = !text || quorix_text_export_to_file(text.get(), path) != 0;
        } else {
            status = quorix_cell_export_cif_to_file(path, cell, nullptr);
        }
        if (status != 0) {
            std::fprintf(stderr, "Error: unable to write %s\n", path);
            return 1;
        }
    }
    return 0;
}

// Energy of image i above the first; differences below the printed precision print as 0.
double relative_energy(const QuorixNebBand& band, size_t i) {
    const double e = band.energy[i] - band.energy[0];
    return std::fabs(e) < 5e-7 ? 0.0 : e;
}

void print_profile(const QuorixNebBand& band) {
    std::printf("NEB: %5s %10s %14s %16s\n", "image", "s (A)", "E - E0 (eV)", "max force (eV/A)");
    for (size_t i = 0; i < band.images.size(); i++)
        std::printf("NEB: %5zu %10.5f %14.6f %16.6f%s\n", i, band.coordinate[i], relative_energy(band, i),
                    band.force_max[i], static_cast<int>(i) == band.climbing ? "  climbing" : "");
    const double highest = *std::max_element(band.energy.begin(), band.energy.end());
    std::printf("NEB: barrier = %f eV\n", highest - band.energy.front());
}

}  // namespace

bool quorix_neb_images_compatible(const QUORIX_CELL* a, const QUORIX_CELL* b) {
    if (!a || !b || a->total <= 0 || !a->atom || !b->atom) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return false;
    }
    if (a->total != b->total) {
        std::fprintf(stderr, "Error: images hold different numbers of atoms (%ld and %ld).\n", a->total, b->total);
        return false;
    }
    for (int r = 0; r < 3; r++)
        for (int k = 0; k < 3; k++)
            if (std::fabs(a->a[r][k] - b->a[r][k]) > kSameCell) {
                std::fprintf(stderr, "Error: images have different cells.\n");
                return false;
            }
    std::vector<char> used(b->total, 0);
    for (long i = 0; i < a->total; i++) {
        long match = -1;
        for (long j = 0; j < b->total && match < 0; j++)
            if (!used[j] && same_species(a->atom[i], b->atom[j])) match = j;
        if (match < 0) {
            std::fprintf(stderr, "Error: images hold different species (%s%d of the first is missing).\n",
                         a->atom[i].type, a->atom[i].os);
            return false;
        }
        used[match] = 1;
    }
    return true;
}

int quorix_cell_calculate_force_ev(std::vector<double>& force, const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    QuorixRxPairs pairs(true);
    Evaluation out;
    if (energy_and_force_ev(out, pairs, cell, ppt) != 0) return 1;
    force = std::move(out.force);
    return 0;
}

int quorix_neb_band_interpolate(QuorixNebBand& band, const QUORIX_CELL* first, const QUORIX_CELL* last, int total) {
    if (total < 3) {
        std::fprintf(stderr, "Error: a band needs at least 3 images, %d given.\n", total);
        return 1;
    }
    if (!quorix_neb_images_compatible(first, last)) return 1;
    const CellPtr end = matched_to(first, last);
    if (!end) return 1;
    band = QuorixNebBand{};
    for (int n = 0; n < total; n++) {
        CellPtr image(quorix_cell_copy(first));
        if (!image) {
            std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
            return 1;
        }
        const double t = static_cast<double>(n) / (total - 1);
        for (long i = 0; i < first->total; i++)
            for (int k = 0; k < 3; k++)
                image->atom[i].x[k] = (1 - t) * first->atom[i].x[k] + t * end->atom[i].x[k];
        quorix_cell_update_coordinate_fractional(image.get());
        band.images.push_back(std::move(image));
    }
    return 0;
}

int quorix_neb_band_from_images(QuorixNebBand& band, QUORIX_CELL* const* cells, int total) {
    if (!cells || total < 3) {
        std::fprintf(stderr, "Error: a band needs at least 3 images, %d given.\n", total);
        return 1;
    }
    band = QuorixNebBand{};
    CellPtr first(quorix_cell_copy(cells[0]));
    if (!first) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return 1;
    }
    band.images.push_back(std::move(first));
    for (int n = 1; n < total; n++) {
        if (!quorix_neb_images_compatible(cells[0], cells[n])) return 1;
        CellPtr image = matched_to(band.images.back().get(), cells[n]);
        if (!image) return 1;
        band.images.push_back(std::move(image));
    }
    return 0;
}

int quorix_neb_relax_image(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, const QuorixNebSettings& settings,
                           long* force_evaluations) {
    const QuorixNebSettings s = resolved(settings);
    if (!cell || cell->total <= 0 || !cell->atom) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    std::vector<double> x = positions_of(cell);
    const std::vector<char> fixed = fixed_components(cell, s);
    QuorixRxPairs pairs(true);
    Fire fire;
    Evaluation now;
    for (long step = 0;; step++) {
        if (evaluate(now, pairs, cell, ppt, fixed, force_evaluations) != 0) return 1;
        if (largest_atom_force(now.force) <= s.f_conv) return 0;
        if (s.step_limit > 0 && step >= s.step_limit) {
            std::printf("Warning: step limit reached without achieving convergence.\n");
            return 0;
        }
        fire.step(x, now.force);
        set_positions(cell, x);
    }
}

int quorix_neb_band_relax(QuorixNebBand& band, const QUORIX_PROPERTY* ppt, const QuorixNebSettings& settings,
                          const char* name) {
    const QuorixNebSettings s = resolved(settings);
    const size_t total = band.images.size();
    if (total < 3 || !ppt || !name) {
        std::fprintf(stderr, "Error: QuorixNebBand has not been properly initialized.\n");
        return 1;
    }
    std::vector<std::vector<double>> x(total), f(total);
    band.energy.assign(total, 0);
    band.coordinate.assign(total, 0);
    band.force_max.assign(total, 0);
    for (size_t i = 0; i < total; i++) x[i] = positions_of(band.images[i].get());
    const std::vector<char> fixed = fixed_components(band.images[0].get(), s);
    for (size_t i = 1; i + 1 < total; i++) {
        for (size_t n = 0; n < fixed.size(); n++)
            if (fixed[n]) x[i][n] = x[0][n];
        set_positions(band.images[i].get(), x[i]);
    }
    std::vector<QuorixRxPairs> pairs(total, QuorixRxPairs(true));
    // The ends stay where they are: their energies and forces are found once.
    for (size_t i : {size_t{0}, total - 1}) {
        Evaluation end;
        if (evaluate(end, pairs[i], band.images[i].get(), ppt, fixed, &band.force_evaluations) != 0) return 1;
        band.energy[i] = end.energy;
        band.force_max[i] = largest_atom_force(end.force);
    }
    NebLogs logs(name, static_cast<int>(total), s.step_log > 0);
    if (s.step_log > 0 && !logs.ok()) {
        std::fprintf(stderr, "Error: unable to open the log files of %s\n", name);
        return 1;
    }
    std::printf("NEB: images=%zu; step_limit=%ld; f_conv=%f; k=%f\n", total, s.step_limit, s.f_conv, s.k);
    Fire fire;
    bool climbing = false;
    std::vector<double> moving, forces;
    for (band.steps = 0;; band.steps++) {
        for (size_t i = 1; i + 1 < total; i++) {
            Evaluation now;
            if (evaluate(now, pairs[i], band.images[i].get(), ppt, fixed, &band.force_evaluations) != 0) return 1;
            band.energy[i] = now.energy;
            f[i] = std::move(now.force);
        }
        const int highest = static_cast<int>(std::max_element(band.energy.begin() + 1, band.energy.end() - 1) -
                                             band.energy.begin());
        // Band forces of the interior images; the largest of them.
        auto assemble = [&]() {
            forces.clear();
            for (size_t i = 1; i + 1 < total; i++) {
                const bool climbs = climbing && static_cast<int>(i) == highest;
                std::vector<double> g = band_force(x, band.energy, f[i], i, climbs, s.k);
                zero_fixed(g, fixed);
                band.force_max[i] = largest_atom_force(g);
                forces.insert(forces.end(), g.begin(), g.end());
            }
            return *std::max_element(band.force_max.begin() + 1, band.force_max.end() - 1);
        };
        double largest = assemble();
        if (!climbing && largest <= std::max(kClimbStart, s.f_conv)) {
            climbing = true;
            largest = assemble();
        }
        for (size_t i = 1; i < total; i++) band.coordinate[i] = band.coordinate[i - 1] + distance(x[i], x[i - 1]);
        band.climbing = climbing ? highest : -1;
        band.converged = climbing && largest <= s.f_conv;
        const bool limit = s.step_limit > 0 && band.steps >= s.step_limit;
        if (s.step_log > 0 && (band.steps % s.step_log == 0 || band.converged || limit)) {
            logs.write(band);
            std::printf("NEB: step=%5ld; barrier=%10.6f; f_max=%10.6f; climbing=%d\n", band.steps,
                        band.energy[highest] - band.energy[0], largest, band.climbing);
            if (!band.converged && !limit && write_images(band, name, true) != 0) return 1;
        }
        if (band.converged) break;
        if (limit) {
            std::printf("Warning: step limit reached without achieving convergence.\n");
            break;
        }
        moving.clear();
        for (size_t i = 1; i + 1 < total; i++) moving.insert(moving.end(), x[i].begin(), x[i].end());
        fire.step(moving, forces);
        for (size_t i = 1; i + 1 < total; i++) {
            const size_t offset = (i - 1) * x[i].size();
            std::copy(moving.begin() + offset, moving.begin() + offset + x[i].size(), x[i].begin());
            set_positions(band.images[i].get(), x[i]);
        }
    }
    if (band.converged) std::printf("NEB: convergence reached after %ld steps.\n", band.steps);
    print_profile(band);
    return write_images(band, name, false);
}

int quorix_neb_vacancy_hop_ends(const QUORIX_CELL* cell, const double* from_f, const double* to_f, CellPtr& first,
                                CellPtr& last) {
    if (!cell || cell->total < 2 || !cell->atom || !from_f || !to_f) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return 1;
    }
    const long from = nearest_atom(cell, from_f), to = nearest_atom(cell, to_f);
    if (from == to) {
        std::fprintf(stderr, "Error: the two ends of the hop are the same atom.\n");
        return 1;
    }
    first.reset(quorix_cell_new(cell->total - 1));
    if (!first) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return 1;
    }
    std::memcpy(first->a, cell->a, sizeof(cell->a));
    std::memcpy(first->parameter, cell->parameter, sizeof(cell->parameter));
    std::memcpy(first->angle, cell->angle, sizeof(cell->angle));
    first->Z = cell->Z;
    for (long i = 0, n = 0; i < cell->total; i++)
        if (i != to) first->atom[n++] = cell->atom[i];
    last.reset(quorix_cell_copy(first.get()));
    if (!last) {
        std::fprintf(stderr, "Error: quorix_cell_copy() returns NULL.\n");
        return 1;
    }
    QUORIX_ATOM& moved = last->atom[from < to ? from : from - 1];
    quorix_vector3_double_copy(moved.x, cell->atom[to].x);
    quorix_vector3_double_copy(moved.x_f, cell->atom[to].x_f);
    return 0;
}

int quorix_cell_relax_neb(const QUORIX_CELL* first, const QUORIX_CELL* last, int total, const QUORIX_PROPERTY* ppt,
                          const QuorixNebSettings& settings, const char* name) {
    QuorixNebBand band;
    if (quorix_neb_band_interpolate(band, first, last, total) != 0) return 1;
    if (settings.relax) {
        CellPtr ends[2] = {CellPtr(quorix_cell_copy(first)), matched_to(first, last)};
        for (CellPtr& end : ends)
            if (!end || quorix_neb_relax_image(end.get(), ppt, settings, &band.force_evaluations) != 0) return 1;
        const long evaluations = band.force_evaluations;
        if (quorix_neb_band_interpolate(band, ends[0].get(), ends[1].get(), total) != 0) return 1;
        band.force_evaluations = evaluations;
    }
    return quorix_neb_band_relax(band, ppt, settings, name);
}

int quorix_cell_relax_neb_images(QUORIX_CELL* const* cells, int total, const QUORIX_PROPERTY* ppt,
                                 const QuorixNebSettings& settings, const char* name) {
    QuorixNebBand band;
    if (quorix_neb_band_from_images(band, cells, total) != 0) return 1;
    if (settings.relax)
        for (int i : {0, total - 1})
            if (quorix_neb_relax_image(band.images[i].get(), ppt, settings, &band.force_evaluations) != 0) return 1;
    return quorix_neb_band_relax(band, ppt, settings, name);
}
