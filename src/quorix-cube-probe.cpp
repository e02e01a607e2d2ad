// The probe field: host terms from the parameter set, the images of the host atoms within reach
// of the cell, the candidate images of a ball, and the energy of the probe at a point.
#include "quorix-cube-probe.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "quorix-cube-grid.hpp"
#include "quorix-images.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"

namespace quorix_landscape {

namespace {

constexpr double kEnergyCap = 999.9;     // eV: the value at and next to an ion
constexpr double kMinimumRange = 10.0;   // A: the image box reaches at least this far

}  // namespace

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
    for (int k = 0; k < 3; k++) box[k] = static_cast<int>(range / quorix_vector3_double_length(cell->a[k]) + 2.0);
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

}  // namespace quorix_landscape
