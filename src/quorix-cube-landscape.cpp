// Bond-valence site-energy landscape: the energy of one probe ion of the conducting species at
// every voxel of a grid over the cell, in the fixed field of the other ions.
//
// Each voxel sums, over the atoms and their lattice images in a fixed box, a Morse term with
// every counter-ion within the pair cutoff and a screened Coulomb term with every like-charged
// ion within 10 A. The sum is made over the same images and in the same order as that plain
// loop, but each block of neighbouring voxels first keeps only the images that can reach it,
// so a voxel tests a few hundred images instead of the whole box.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "quorix-cube.hpp"
#include "quorix-images.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-symmetry.hpp"
#include "quorix-import-write.hpp"
#include "quorix-la.hpp"
#include "quorix-threads.hpp"

namespace {

constexpr double kEnergyCap = 999.9;     // eV: the value at and next to an ion
constexpr double kUnfilled = 1e-7;       // a voxel this close to 0 is still to be computed
constexpr double kMinimumRange = 10.0;   // A: the image box reaches at least this far
constexpr long kGridMultiple = 24;       // such grids are mapped onto themselves by every operation
constexpr long kMaxVoxels = 7529536;     // 196^3
// Beyond this many steps of 24 an axis would be cut back by the size cap even with both other
// axes at their minimum of 24 (24 * 24 * 13080 > kMaxVoxels), so clamping there changes nothing
// and keeps every count and product representable.
constexpr double kMaxAxisSteps = 545;
constexpr double kBlockEdge = 0.8;              // A: edge of the voxel blocks sharing one image list

char sign_of(int os) { return os >= 0 ? '+' : '-'; }

bool same_species(const QUORIX_ATOM& atom, const char* type, int os) {
    return atom.os == os && std::strncmp(atom.type, type, sizeof atom.type) == 0;
}

// ---------------------------------------------------------------- parameter check

bool species_usable(const QUORIX_PROPERTY_UNITARY& u, int k) {
    if (!(u.q * u.os > 0)) {
        std::fprintf(stderr, "Error: incorrect q at [%d](%s%d%c) q=%f\n", k, u.type, std::abs(u.os), sign_of(u.os),
                     u.q);
        return false;
    }
    if (!(u.rc > 0)) {
        std::fprintf(stderr, "Error: incorrect rc at[%d](%s%d%c) rc=%f\n", k, u.type, std::abs(u.os), sign_of(u.os),
                     u.rc);
        return false;
    }
    return true;
}

bool pair_usable(const QUORIX_PROPERTY_BINARY& p, int cation) {
    const struct {
        const char* name;
        double value;
    } tests[] = {{"cutoff", p.cutoff}, {"b", p.b}, {"d0", p.d0}, {"rmin", p.rmin}};
    for (const auto& test : tests) {
        if (test.value > 0) continue;
        std::fprintf(stderr, "Error: incorrect %s at [%d](%s%d%c)-(%s%d%c) %s=%f\n", test.name, cation, p.type1,
                     std::abs(p.os1), sign_of(p.os1), p.type2, std::abs(p.os2), sign_of(p.os2), test.name, test.value);
        return false;
    }
    return true;
}

// ---------------------------------------------------------------- grid

double axis_length(const QUORIX_CELL* cell, int k) { return quorix_vector3_double_length(cell->a[k]); }


}  // namespace

// The tests of the loop always cut an axis of the largest count. A count that is not a number
// (a degenerate cell) becomes one step of 24.
void quorix_cube_choose_grid(const QUORIX_CELL* cell, double resolution, long* n) {
    for (int k = 0; k < 3; k++) {
        const double steps = std::ceil(axis_length(cell, k) / resolution / kGridMultiple);
        n[k] = static_cast<long>(steps >= kMaxAxisSteps ? kMaxAxisSteps : steps >= 1 ? steps : 1) * kGridMultiple;
    }
    while (n[0] * n[1] * n[2] > kMaxVoxels) {
        if (n[0] < n[1]) {
            if (n[1] >= n[2])
                n[1] -= kGridMultiple;
            else
                n[2] -= kGridMultiple;
        } else {
            if (n[0] >= n[2])
                n[0] -= kGridMultiple;
            else
                n[2] -= kGridMultiple;
        }
    }
}

namespace {

// The point i step[0] + j step[1] + k step[2].
void grid_point(const double step[3][3], double i, double j, double k, double r[3]) {
    for (int c = 0; c < 3; c++) r[c] = i * step[0][c] + j * step[1][c] + k * step[2][c];
}

// Centre of the parallelepiped of grid points with indices from lo to hi, and the largest
// distance from it to one of them, which is the distance to a corner.
double box_radius(const double step[3][3], const double lo[3], const double hi[3], double centre[3]) {
    grid_point(step, 0.5 * (lo[0] + hi[0]), 0.5 * (lo[1] + hi[1]), 0.5 * (lo[2] + hi[2]), centre);
    double radius = 0;
    for (int corner = 0; corner < 8; corner++) {
        double r[3];
        grid_point(step, (corner & 1 ? hi : lo)[0], (corner & 2 ? hi : lo)[1], (corner & 4 ? hi : lo)[2], r);
        radius = std::max(radius, quorix_vector3_double_distance(r, centre));
    }
    return radius;
}

// ---------------------------------------------------------------- field of the host ions

// erfc(x) from Taylor polynomials of degree 6 about the midpoints of intervals 1/64 wide: several
// times cheaper than the library function, and within 1e-16 of it (the remainder is below
// (1/128)^7 / 7! * max|erfc^(7)| = 5e-17). Built as far as the calculation needs; beyond x = 27
// erfc is below the smallest double.
class ErfcTable {
public:
    // Tabulates erfc on [0, x_end), x_end at most 27.
    void cover(double x_end) {
        constexpr double kTwoOverSqrtPi = 1.1283791670955126;
        if (!(x_end > 0)) return;
        intervals_ = static_cast<int>(std::min(x_end, kEnd) * kPerUnit) + 1;
        coefficients_.resize(intervals_ * kTerms);
        for (int interval = 0; interval < intervals_; interval++) {
            const double m = (interval + 0.5) / kPerUnit;
            const double gauss = kTwoOverSqrtPi * std::exp(-m * m);
            double* c = &coefficients_[interval * kTerms];
            c[0] = std::erfc(m);
            // erfc^(n)(m) = -(2/sqrt(pi)) (-1)^(n-1) H_(n-1)(m) exp(-m^2), Hermite polynomials H.
            double h_previous = 0, h = 1, factorial = 1;
            for (int n = 1; n < kTerms; n++) {
                factorial *= n;
                c[n] = (n % 2 ? -1.0 : 1.0) * gauss * h / factorial;
                const double h_next = 2 * m * h - 2 * (n - 1) * h_previous;
                h_previous = h;
                h = h_next;
            }
        }
    }

    double operator()(double x) const {
        const double scaled = x * kPerUnit;
        if (!(scaled >= 0 && scaled < intervals_)) return std::erfc(x);
        const int interval = static_cast<int>(scaled);
        const double t = (scaled - interval - 0.5) / kPerUnit;
        const double* c = &coefficients_[interval * kTerms];
        // Estrin's scheme: a shorter chain of dependent operations than Horner's.
        const double t2 = t * t;
        return (c[0] + c[1] * t) + t2 * ((c[2] + c[3] * t) + t2 * ((c[4] + c[5] * t) + t2 * c[6]));
    }

private:
    static constexpr double kEnd = 27;
    static constexpr int kPerUnit = 64;
    static constexpr int kTerms = 7;
    int intervals_ = 0;
    std::vector<double> coefficients_;
};

// What one host atom adds to the probe's energy: a bonding term with a counter-ion or a screened
// Coulomb term with a like-charged ion, each replaced by its quadratic core at short range.
struct HostTerm {
    double reach;          // no contribution beyond this distance
    double reach_squared;  // slightly above reach^2, for the test before the square root
    double occ;
    double core, a2, a1, a0;      // quadratic core below `core`, from the cation-first pair record
    double qq, inv_sigma, shift;  // Coulomb terms only
    double d0, rmin, b, en_s;     // bonding terms only
};

// One lattice image of a host atom: l a0 + m a1 + p a2 + x.
struct HostImage {
    double x[3];
    uint32_t term;
};

// Images of the host atoms that may reach the voxels of one block, by kind of term.
struct Candidates {
    std::vector<uint32_t> coulomb;
    std::vector<uint32_t> bonding;
};

// Images of one kind found within reach of a voxel: their terms and squared distances (the first
// `count` entries).
struct NearImages {
    std::vector<uint32_t> term;
    std::vector<double> d_squared;
    size_t count = 0;
};

// Working memory of one thread's energy_at calls.
struct ProbeScratch {
    NearImages coulomb, bonding;
};

class ProbeField {
public:
    // false (message printed) when an atom's species is missing from the parameter set.
    bool build(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt);

    // The images that may lie within reach of some point of the ball (centre, radius).
    void gather(const double centre[3], double radius, Candidates& out) const;

    // Energy in eV at r, capped at 999.9, from the candidate images of its block.
    double energy_at(const double r[3], const Candidates& candidates, ProbeScratch& scratch,
                     QuorixLandscapeWork& work) const;

private:
    // A term kept apart from the others: images within reach, found without branching, are
    // summed in a second loop whose only test is the short-range core.
    struct Kind {
        std::vector<HostTerm> terms;
        std::vector<HostImage> images;

        void gather(const double centre[3], double radius, std::vector<uint32_t>& out) const;
        // Images of `candidates` within reach of r.
        void select(const double r[3], const std::vector<uint32_t>& candidates, NearImages& near) const;
        // Sum of energy(term, d) * occupancy over the near images.
        template <class Energy>
        double sum(const NearImages& near, Energy energy) const;
    };

    bool add_term(const QUORIX_ATOM& atom, const QUORIX_PROPERTY* ppt);
    static void add_images(Kind& kind, const QUORIX_CELL* cell, const std::vector<const QUORIX_ATOM*>& atoms,
                           const int box[3]);

    Kind coulomb_, bonding_;
    std::vector<const QUORIX_ATOM*> coulomb_atoms_, bonding_atoms_;
    ErfcTable erfc_;
};

bool ProbeField::add_term(const QUORIX_ATOM& atom, const QUORIX_PROPERTY* ppt) {
    const int c = ppt->conducting;
    const int s = quorix_property_find_index(ppt, atom.type, atom.os);
    if (s < 0) {
        std::fprintf(stderr, "Error: quorix_property_find_index() returns negative value.\n");
        return false;
    }
    const QUORIX_PROPERTY_BINARY& pair = ppt->os[c] < 0 ? ppt->bin[s][c] : ppt->bin[c][s];
    HostTerm term{};
    term.occ = atom.occ;
    const bool coulomb = static_cast<long>(ppt->os[c]) * atom.os > 0;
    term.reach = coulomb ? kQuorixCoulombReach : pair.cutoff;
    term.core = coulomb ? pair.r_cc : pair.r_bc;
    term.a2 = pair.a2;
    term.a1 = pair.a1;
    term.a0 = pair.a0;
    term.d0 = pair.d0;
    term.rmin = pair.rmin;
    term.b = pair.b;
    term.en_s = pair.en_s;
    term.reach_squared = term.reach * term.reach * (1.0 + 1e-9);
    if (coulomb) {
        const double sigma = ppt->sf * (ppt->uni[c].rc + ppt->uni[s].rc);
        term.qq = ppt->uni[c].q * ppt->uni[s].q;
        term.inv_sigma = 1.0 / sigma;
        term.shift = quorix_energy_coulombic_unshifted(kQuorixCoulombReach, term.qq, sigma);
    }
    (coulomb ? coulomb_ : bonding_).terms.push_back(term);
    (coulomb ? coulomb_atoms_ : bonding_atoms_).push_back(&atom);
    return true;
}

// Keeps, of the images in the box, those that come within reach of the cell itself, where all
// voxels lie.
void ProbeField::add_images(Kind& kind, const QUORIX_CELL* cell, const std::vector<const QUORIX_ATOM*>& atoms,
                            const int box[3]) {
    const double lo[3] = {0, 0, 0}, hi[3] = {1, 1, 1};
    double centre[3];
    const double radius = box_radius(cell->a, lo, hi, centre);
    for (uint32_t t = 0; t < kind.terms.size(); t++) {
        const double limit = kind.terms[t].reach + radius + 1e-6;
        if (!(limit >= 0)) continue;
        quorix_for_each_image(cell->a, box, [&](const QuorixImage& translation) {
            HostImage image{{}, t};
            for (int c = 0; c < 3; c++) image.x[c] = translation.shift[c] + atoms[t]->x[c];
            if (quorix_vector3_double_distance(image.x, centre) <= limit) kind.images.push_back(image);
        });
    }
}

bool ProbeField::build(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt) {
    for (long i = 0; i < cell->total; i++)
        if (!cell->atom[i].ignored && !add_term(cell->atom[i], ppt)) return false;
    double range = kMinimumRange;
    for (int i = 0; i < ppt->total; i++)
        for (int j = 0; j < ppt->total; j++) range = std::max(range, ppt->bin[i][j].cutoff);
    int box[3];
    for (int k = 0; k < 3; k++) box[k] = static_cast<int>(range / axis_length(cell, k) + 2.0);
    double x_end = 0;
    for (const HostTerm& term : coulomb_.terms) x_end = std::max(x_end, kQuorixCoulombReach * term.inv_sigma);
    erfc_.cover(x_end);
    add_images(coulomb_, cell, coulomb_atoms_, box);
    add_images(bonding_, cell, bonding_atoms_, box);
    return true;
}

void ProbeField::Kind::gather(const double centre[3], double radius, std::vector<uint32_t>& out) const {
    out.clear();
    for (uint32_t index = 0; index < images.size(); index++) {
        const double limit = terms[images[index].term].reach + radius + 1e-6;
        if (limit >= 0 && quorix_vector3_double_distance(images[index].x, centre) <= limit) out.push_back(index);
    }
}

void ProbeField::gather(const double centre[3], double radius, Candidates& out) const {
    coulomb_.gather(centre, radius, out.coulomb);
    bonding_.gather(centre, radius, out.bonding);
}

void ProbeField::Kind::select(const double r[3], const std::vector<uint32_t>& candidates, NearImages& near) const {
    near.term.resize(candidates.size());
    near.d_squared.resize(candidates.size());
    size_t count = 0;
    for (const uint32_t index : candidates) {
        const HostImage& image = images[index];
        const double dx = image.x[0] - r[0], dy = image.x[1] - r[1], dz = image.x[2] - r[2];
        const double d_squared = dx * dx + dy * dy + dz * dz;
        near.term[count] = image.term;
        near.d_squared[count] = d_squared;
        count += d_squared <= terms[image.term].reach_squared;
    }
    near.count = count;
}

template <class Energy>
double ProbeField::Kind::sum(const NearImages& near, Energy energy) const {
    double total = 0;
    for (size_t n = 0; n < near.count; n++) {
        const HostTerm& term = terms[near.term[n]];
        const double d = std::sqrt(near.d_squared[n]);
        if (d <= term.reach) total += energy(term, d) * term.occ;
    }
    return total;
}

double ProbeField::energy_at(const double r[3], const Candidates& candidates, ProbeScratch& scratch,
                             QuorixLandscapeWork& work) const {
    coulomb_.select(r, candidates.coulomb, scratch.coulomb);
    bonding_.select(r, candidates.bonding, scratch.bonding);
    const double coulomb =
        coulomb_.sum(scratch.coulomb, [this](const HostTerm& t, double d) {
            return d > t.core ? erfc_(d * t.inv_sigma) * (t.qq / d) - t.shift
                              : quorix_pseudopotential_energy_coulombic(d, t.a2, t.a1, t.a0);
        });
    const double bonding = bonding_.sum(scratch.bonding, [](const HostTerm& t, double d) {
        return d > t.core ? quorix_energy_bonding_with_energy_shift(d, t.d0, t.rmin, t.b, t.en_s)
                          : quorix_pseudopotential_energy_bonding(d, t.a2, t.a1, t.a0);
    });
    work.voxels++;
    work.distances += static_cast<long>(candidates.coulomb.size() + candidates.bonding.size());
    work.terms += static_cast<long>(scratch.coulomb.count + scratch.bonding.count);
    const double energy = (bonding + coulomb) * kQuorixEvPerUnit;
    return energy > kEnergyCap ? kEnergyCap : energy;
}

// Candidate images per block of voxels. The grid is visited slab by slab along the first axis,
// so only the blocks of the current slab are kept, each built when first needed.
class BlockCandidates {
public:
    BlockCandidates(const QUORIX_CUBE* cube, const ProbeField& field) : cube_(cube), field_(field) {
        for (int k = 0; k < 3; k++) {
            const double step = quorix_vector3_double_length(cube->a_i[k]);
            edge_[k] = std::clamp(static_cast<long>(kBlockEdge / step + 0.5), 1L, cube->n[k]);
            count_[k] = (cube->n[k] + edge_[k] - 1) / edge_[k];
        }
        lists_.resize(count_[1] * count_[2]);
        built_.assign(lists_.size(), false);
    }

    const Candidates& at(const long x[3]) {
        const long slab = x[0] / edge_[0];
        if (slab != slab_) {
            slab_ = slab;
            std::fill(built_.begin(), built_.end(), false);
        }
        const long b[3] = {slab, x[1] / edge_[1], x[2] / edge_[2]};
        const long index = b[1] * count_[2] + b[2];
        if (!built_[index]) {
            double lo[3], hi[3];
            for (int k = 0; k < 3; k++) {
                lo[k] = static_cast<double>(b[k] * edge_[k]);
                hi[k] = static_cast<double>(std::min((b[k] + 1) * edge_[k], cube_->n[k]) - 1);
            }
            double centre[3];
            const double radius = box_radius(cube_->a_i, lo, hi, centre);
            field_.gather(centre, radius, lists_[index]);
            built_[index] = true;
        }
        return lists_[index];
    }

private:
    const QUORIX_CUBE* cube_;
    const ProbeField& field_;
    long edge_[3];
    long count_[3];
    long slab_ = -1;
    std::vector<Candidates> lists_;
    std::vector<bool> built_;
};

// The operations in grid form, y = r_i x + t_i brought into the grid. The fill writes every voxel
// once or more, all over the grid, and is most of the time of a high-symmetry landscape, so the
// rows of the cube are looked up directly and the wrap into the grid is a table look-up rather
// than a division or a branch.
class GridImages {
public:
    GridImages(QUORIX_CUBE* cube, const QUORIX_SYMMETRY* symmetry) : cube_(cube) {
        for (int c = 0; c < symmetry->total; c++) {
            const QUORIX_CARD& card = symmetry->card[c];
            Operation op{};
            for (int i = 0; i < 3; i++) {
                for (int j = 0; j < 3; j++) op.r[i][j] = card.r_i[i][j];
                op.t[i] = card.t_i[i];
            }
            operations_.push_back(op);
        }
        rows_.reserve(cube->n[0] * cube->n[1]);
        for (long i = 0; i < cube->n[0]; i++)
            for (long j = 0; j < cube->n[1]; j++) rows_.push_back(cube->en[i][j]);
        for (int i = 0; i < 3; i++) {
            const long n = cube->n[i];
            wrapped_[i].resize(2 * kWrapReach * n);
            for (long v = -kWrapReach * n; v < kWrapReach * n; v++)
                wrapped_[i][v + kWrapReach * n] = quorix_mod_long(v, n);
        }
    }

    // Gives `energy` to every image of voxel x that holds no positive value yet.
    void fill(const long x[3], double energy) const {
        for (const Operation& op : operations_) {
            long y[3];
            for (int i = 0; i < 3; i++)
                y[i] = wrap(op.r[i][0] * x[0] + op.r[i][1] * x[1] + op.r[i][2] * x[2] + op.t[i], i);
            double& value = rows_[y[0] * cube_->n[1] + y[1]][y[2]];
            if (value <= kUnfilled) value = energy;
        }
    }

private:
    struct Operation {
        long r[3][3];
        long t[3];
    };

    // Rotation entries are -1, 0 or 1 and translations at most one grid length, so images fall
    // within four grid lengths of the grid; anything else takes the division.
    static constexpr long kWrapReach = 4;

    long wrap(long v, int i) const {
        const long index = v + kWrapReach * cube_->n[i];
        if (index >= 0 && index < static_cast<long>(wrapped_[i].size())) return wrapped_[i][index];
        return quorix_mod_long(v, cube_->n[i]);
    }

    QUORIX_CUBE* cube_;
    std::vector<Operation> operations_;
    std::vector<double*> rows_;
    std::vector<long> wrapped_[3];
};

// The energy of voxels, with the block lists and scratch of one thread.
class VoxelWorker {
public:
    VoxelWorker(const QUORIX_CUBE* cube, const ProbeField& field) : cube_(cube), field_(field), blocks_(cube, field) {}

    double energy(const long x[3]) {
        double r[3];
        grid_point(cube_->a_i, static_cast<double>(x[0]), static_cast<double>(x[1]), static_cast<double>(x[2]), r);
        return field_.energy_at(r, blocks_.at(x), scratch_, work);
    }

    QuorixLandscapeWork work;

private:
    const QUORIX_CUBE* cube_;
    const ProbeField& field_;
    BlockCandidates blocks_;
    ProbeScratch scratch_;
};

void add_work(QuorixLandscapeWork& total, const QuorixLandscapeWork& part) {
    total.voxels += part.voxels;
    total.distances += part.distances;
    total.terms += part.terms;
}

// Grid indices of the voxel at position `index` of the visiting order (last axis fastest).
void voxel_of(const QUORIX_CUBE* cube, long index, long x[3]) {
    x[2] = index % cube->n[2];
    x[1] = index / cube->n[2] % cube->n[1];
    x[0] = index / (cube->n[2] * cube->n[1]);
}

void clear_values(QUORIX_CUBE* cube) {
    for (long i = 0; i < cube->n[0]; i++)
        for (long j = 0; j < cube->n[1]; j++) std::fill(cube->en[i][j], cube->en[i][j] + cube->n[2], 0.0);
}

// The voxels the visit computes when no energy lies within 1e-7 of 0: the first voxel of every
// orbit, in visiting order. Found by the visit itself with a mark for the energy; the cube is
// cleared afterwards.
std::vector<long> orbit_firsts(QUORIX_CUBE* cube, const GridImages& images) {
    constexpr double kMark = 1.0;
    std::vector<long> firsts;
    long x[3], index = 0;
    for (x[0] = 0; x[0] < cube->n[0]; x[0]++)
        for (x[1] = 0; x[1] < cube->n[1]; x[1]++)
            for (x[2] = 0; x[2] < cube->n[2]; x[2]++, index++) {
                if (!(std::fabs(cube->en[x[0]][x[1]][x[2]]) <= kUnfilled)) continue;
                firsts.push_back(index);
                images.fill(x, kMark);
            }
    clear_values(cube);
    return firsts;
}

// Energies of the voxels at the given visiting positions, shared out in contiguous runs among
// `threads` threads (each run keeps the block lists of its slabs warm).
std::vector<double> energies_of(const QUORIX_CUBE* cube, const ProbeField& field, const std::vector<long>& voxels,
                                unsigned threads, QuorixLandscapeWork& work) {
    std::vector<double> energies(voxels.size());
    std::vector<QuorixLandscapeWork> works(threads);
    const auto run = [&](unsigned part) {
        VoxelWorker worker(cube, field);
        const size_t begin = voxels.size() * part / threads, end = voxels.size() * (part + 1) / threads;
        for (size_t v = begin; v < end; v++) {
            long x[3];
            voxel_of(cube, voxels[v], x);
            energies[v] = worker.energy(x);
        }
        works[part] = worker.work;
    };
    quorix_run_parts(threads, run);
    for (const QuorixLandscapeWork& part : works) add_work(work, part);
    return energies;
}

// Visits the voxels in order; one still empty is computed and its value given to all its images
// under the operations that do not hold a positive value yet (the identity fills the voxel itself).
// With several threads the first voxels of the orbits, which the visit computes in any case, are
// computed beforehand in parallel; the visit then takes their energies and computes only the
// voxels left empty by an energy within 1e-7 of 0, so the cube is the same as without threads.
void fill_landscape(QUORIX_CUBE* cube, const QUORIX_SYMMETRY* symmetry, const ProbeField& field,
                    QuorixLandscapeWork& work) {
    constexpr long kVoxelsPerThread = 4096;  // fewer distinct voxels per thread are not worth a thread
    const GridImages images(cube, symmetry);
    const long voxels = cube->n[0] * cube->n[1] * cube->n[2];
    const unsigned threads = static_cast<unsigned>(
        std::min<long>(quorix_thread_count(), voxels / std::max(1, symmetry->total) / kVoxelsPerThread));
    std::vector<long> firsts;
    std::vector<double> energies;
    if (threads > 1) {
        firsts = orbit_firsts(cube, images);
        energies = energies_of(cube, field, firsts, threads, work);
    }
    VoxelWorker worker(cube, field);
    size_t next = 0;
    long x[3], index = 0;
    for (x[0] = 0; x[0] < cube->n[0]; x[0]++)
        for (x[1] = 0; x[1] < cube->n[1]; x[1]++)
            for (x[2] = 0; x[2] < cube->n[2]; x[2]++, index++) {
                if (!(std::fabs(cube->en[x[0]][x[1]][x[2]]) <= kUnfilled)) continue;
                while (next < firsts.size() && firsts[next] < index) next++;
                const bool precomputed = next < firsts.size() && firsts[next] == index;
                images.fill(x, precomputed ? energies[next] : worker.energy(x));
            }
    add_work(work, worker.work);
}

// Marks the ions of the conducting species as ignored when asked to; prints which.
void mark_ignored(QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, int ignore_conducting) {
    for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = false;
    const int c = ppt->conducting;
    if (!ignore_conducting) {
        std::printf("Message: no ion is ignored during cube generation.\n");
        return;
    }
    std::printf("Message: ignoring all %s%d%c ions during cube generation.\n", ppt->type[c], std::abs(ppt->os[c]),
                sign_of(ppt->os[c]));
    for (long i = 0; i < cell->total; i++)
        if (same_species(cell->atom[i], ppt->type[c], ppt->os[c])) cell->atom[i].ignored = true;
}

void clear_ignored(QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = false;
}

bool has_zero_oxidation_state(const QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++) {
        if (cell->atom[i].os != 0) continue;
        std::fprintf(stderr, "Error: oxidation state is zero where atom[%ld]: %s0+.\n", i, cell->atom[i].type);
        return true;
    }
    return false;
}

// A cube over the cell with the grid for this resolution and the operations in grid form.
QUORIX_CUBE* new_landscape_grid(const QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, double resolution) {
    long n[3];
    quorix_cube_choose_grid(cell, resolution, n);
    if (quorix_symmetry_fill_card_discrete(symmetry, n)) {
        std::printf("Error: quorix_symmetry_fill_card_discrete() returns non-zero.\n");
        return nullptr;
    }
    QUORIX_CUBE* cube = quorix_cube_new(n);
    if (!cube) {
        std::fprintf(stderr, "Error: quorix_cube_new() returns NULL.\n");
        return nullptr;
    }
    for (int k = 0; k < 3; k++)
        for (int c = 0; c < 3; c++) {
            cube->a[k][c] = cell->a[k][c];
            cube->a_i[k][c] = cell->a[k][c] / static_cast<double>(n[k]);
        }
    return cube;
}

QUORIX_CUBE* calculate(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt, double resolution,
                       int ignore_conducting, QuorixLandscapeWork& work) {
    if (quorix_cube_validate_property(ppt)) {
        std::fprintf(stderr, "Error: quorix_cube_validate_property() returns non-zero.\n");
        return nullptr;
    }
    if (!cell || !cell->atom || cell->total <= 0) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    if (has_zero_oxidation_state(cell) || !quorix_cell_lattice_usable(cell)) return nullptr;
    if (!(resolution > 0) || !std::isfinite(resolution)) {
        std::fprintf(stderr, "Error: resolution %f is not a positive length.\n", resolution);
        return nullptr;
    }
    CubePtr cube(new_landscape_grid(cell, symmetry, resolution));
    if (!cube) return nullptr;
    mark_ignored(cell, ppt, ignore_conducting);
    ProbeField field;
    const bool built = field.build(cell, ppt);
    clear_ignored(cell);
    if (!built) return nullptr;
    fill_landscape(cube.get(), symmetry, field, work);
    std::printf("Message: cube has been generated successfully.\n");
    return cube.release();
}

}  // namespace

int quorix_cube_validate_property(const QUORIX_PROPERTY* ppt) {
    if (!ppt || ppt->total <= 0 || !ppt->uni || !ppt->bin || !ppt->type || !ppt->os) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return 1;
    }
    const int c = ppt->conducting;
    if (c < 0 || c >= ppt->total) {
        std::fprintf(stderr, "Error: conducting species not correctly specified.\n");
        return 1;
    }
    const int os_c = ppt->os[c];
    for (int k = 0; k < ppt->total; k++)
        if (static_cast<long>(ppt->os[k]) * os_c > 0 && !species_usable(ppt->uni[k], k)) return 1;
    for (int k = 0; k < ppt->total; k++) {
        if (static_cast<long>(ppt->os[k]) * os_c >= 0) continue;
        const int cation = os_c > 0 ? c : k;
        const int anion = os_c > 0 ? k : c;
        if (!pair_usable(ppt->bin[cation][anion], cation)) return 1;
    }
    return 0;
}

QUORIX_CUBE* quorix_cube_calculate(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                   double resolution, int ignore_conducting) {
    QuorixLandscapeWork work;
    return calculate(cell, symmetry, ppt, resolution, ignore_conducting, work);
}

QUORIX_CUBE* quorix_cube_calculate_counted(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                           double resolution, int ignore_conducting, QuorixLandscapeWork* work) {
    QuorixLandscapeWork counted;
    return calculate(cell, symmetry, ppt, resolution, ignore_conducting, work ? *work : counted);
}

QUORIX_CUBE* quorix_cube_calculate_from_cell(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, QUORIX_PROPERTY* ppt,
                                             const char* type, int os, double resolution, int ignore_conducting) {
    if (!cell) {
        std::fprintf(stderr, "Error: QUORIX_CELL has not been properly initialized.\n");
        return nullptr;
    }
    SymmetryPtr identity;
    if (!symmetry) {
        identity.reset(quorix_symmetry_new_p1());
        if (!identity) {
            std::fprintf(stderr, "Error: quorix_symmetry_new_p1() returns NULL.\n");
            return nullptr;
        }
        symmetry = identity.get();
    }
    if (ppt && type) ppt->conducting = quorix_property_find_index(ppt, type, os);
    QUORIX_CUBE* cube = quorix_cube_calculate(cell, symmetry, ppt, resolution, ignore_conducting);
    if (!cube) std::fprintf(stderr, "Error: quorix_cube_calculate() returns NULL.\n");
    return cube;
}

int quorix_cube_calculate_from_cell_and_write_to_file(const char* path_cube, QUORIX_CELL* cell,
                                                      QUORIX_SYMMETRY* symmetry, const char* type, int os, double sf,
                                                      double resolution, int ignore_conducting, int once,
                                                      const char* dir_unitary, const char* dir_binary) {
    const PropertyPtr ppt(quorix_property_import_from_cell(cell, type, os, sf, dir_unitary, dir_binary));
    if (!ppt) {
        std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
        return 1;
    }
    const CubePtr cube(
        quorix_cube_calculate_from_cell(cell, symmetry, ppt.get(), type, os, resolution, ignore_conducting));
    if (!cube) {
        std::fprintf(stderr, "Error: quorix_cube_calculate_from_cell() returns NULL.\n");
        return 1;
    }
    if (quorix_cube_export_to_file(cube.get(), cell, ppt.get(), path_cube, once)) {
        std::fprintf(stderr, "Error: quorix_cube_export_to_file() returns non-zero.\n");
        return 1;
    }
    return 0;
}

int quorix_cube_calculate_from_cell_and_write_to_file_assign_partial_occ(
    const char* path_cube, const char* path_cif, QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, const char* type, int os,
    double sf, double resolution, int ignore_conducting, int once, const char* dir_unitary, const char* dir_binary) {
    CellPtr assigned;
    if (quorix_cell_partial_occ_at_conducting_site(cell, type, os)) {
        std::printf(
            "Message: partial occupancy at conducting sites detected. Cube will be generated based on an asigned "
            "supercell.\n");
        const CellPtr super(quorix_cell_supercell_default(cell));
        if (!super) {
            std::printf("Messge: quorix_cell_supercell_default() returns NULL.\n");
            return 1;
        }
        assigned.reset(quorix_cell_assign_partial_occ_at_conducting_site(super.get(), type, os));
        if (!assigned) {
            std::fprintf(stderr, "Error: quorix_cell_assign_partial_occ_at_conducting_site() returns NULL.\n");
            return 1;
        }
        if (quorix_cell_export_cif_to_file(path_cif, assigned.get(), nullptr)) {
            std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
            return 1;
        }
        cell = assigned.get();
        symmetry = nullptr;
    }
    if (quorix_cube_calculate_from_cell_and_write_to_file(path_cube, cell, symmetry, type, os, sf, resolution,
                                                          ignore_conducting, once, dir_unitary, dir_binary)) {
        std::fprintf(stderr, "Error: quorix_cube_calculate_from_cell_and_write_to_file() returns non-zero.\n");
        return 1;
    }
    return 0;
}

QUORIX_CUBE* quorix_cube_super_simple(const QUORIX_CUBE* cube, const int* m) {
    if (!cube || !cube->en) {
        std::fprintf(stderr, "Error: QUORIX_CUBE has not been properly initialized.\n");
        return nullptr;
    }
    if (!m || m[0] <= 0 || m[1] <= 0 || m[2] <= 0) {
        std::fprintf(stderr, "Error: vector must not contain non-positive elements.\n");
        return nullptr;
    }
    const long n[3] = {cube->n[0] * m[0], cube->n[1] * m[1], cube->n[2] * m[2]};
    QUORIX_CUBE* super = quorix_cube_new(n);
    if (!super) {
        std::fprintf(stderr, "Error: quorix_cube_new() returns NULL.\n");
        return nullptr;
    }
    for (int k = 0; k < 3; k++)
        for (int c = 0; c < 3; c++) {
            super->a_i[k][c] = cube->a_i[k][c];
            super->a[k][c] = cube->a[k][c] * m[k];
        }
    for (long i = 0; i < n[0]; i++)
        for (long j = 0; j < n[1]; j++)
            for (long k = 0; k < n[2]; k++)
                super->en[i][j][k] = cube->en[i % cube->n[0]][j % cube->n[1]][k % cube->n[2]];
    return super;
}
