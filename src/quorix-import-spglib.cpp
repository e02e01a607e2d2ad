// Space group of a full cell by spglib, operation texts the operation parser reads exactly, and
// the symmetrised cell.
#include "quorix-import-spglib.hpp"

#include <spglib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <tuple>

#include "quorix-import-atom.hpp"
#include "quorix-import-grid.hpp"
#include "quorix-import-std.hpp"
#include "quorix-import-symmetry.hpp"
#include "quorix-la.hpp"

namespace {

constexpr int kFieldLength = 11;  // the parser keeps at most 11 characters of a field
constexpr double kExact = 1e-4;   // fractional translations closer than this are equal

using DatasetPtr = std::unique_ptr<SpglibDataset, void (*)(SpglibDataset*)>;
using Species = std::set<std::tuple<std::string, int, long>>;  // element, state, occupancy in thousandths

std::string describe(const Species& species) {
    std::string text;
    for (const auto& [type, os, occ] : species) {
        char part[64];
        if (os == kQuorixUnknownState)
            std::snprintf(part, sizeof part, "%s:%.3f", type.c_str(), occ / 1000.0);
        else
            std::snprintf(part, sizeof part, "%s%d%c:%.3f", type.c_str(), std::abs(os), os < 0 ? '-' : '+',
                          occ / 1000.0);
        if (!text.empty()) text += ' ';
        text += part;
    }
    return text;
}

void copy_dataset(QUORIX_STD_GROUP& group, const SpglibDataset& data) {
    group.number = data.spacegroup_number;
    group.international = data.international_symbol;
    group.hall = data.hall_symbol;
    for (int k = 0; k < data.n_operations; k++) {
        std::array<std::array<int, 3>, 3> r;
        for (int i = 0; i < 3; i++)
            for (int j = 0; j < 3; j++) r[i][j] = data.rotations[k][i][j];
        group.rotations.push_back(r);
        group.translations.push_back({data.translations[k][0], data.translations[k][1], data.translations[k][2]});
    }
    for (int p = 0; p < data.n_atoms; p++) {
        group.representative.push_back(data.equivalent_atoms[p]);
        group.wyckoff.push_back(static_cast<char>('a' + data.wyckoffs[p]));
        group.site_symmetry.push_back(data.site_symmetry_symbols[p]);
    }
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) group.std_lattice[i][j] = data.std_lattice[j][i];
    for (int s = 0; s < data.n_std_atoms; s++) {
        group.std_position.push_back({data.std_positions[s][0], data.std_positions[s][1], data.std_positions[s][2]});
        group.std_species.push_back(data.std_types[s]);
    }
}

double wrap(double t) {
    t -= std::floor(t);
    return t > 1.0 - kExact ? 0.0 : t;
}

// "x-y" for a row of the rotation; `signed_first` writes "+x" for a first positive term.
bool rotation_text(std::string& text, const std::array<int, 3>& row, bool signed_first) {
    static const char kAxis[3] = {'x', 'y', 'z'};
    for (int j = 0; j < 3; j++) {
        if (row[j] == 0) continue;
        if (std::abs(row[j]) != 1) return false;
        if (row[j] < 0)
            text += '-';
        else if (signed_first || !text.empty())
            text += '+';
        text += kAxis[j];
    }
    return !text.empty();
}

// One field: the rotation then "+n/d" for a translation that is a fraction with a one-digit
// denominator; otherwise the negated decimal first ("-0.1234+x"), since the parser negates a
// decimal read from the start of the field.
bool field_text(std::string& field, const std::array<int, 3>& row, double t) {
    std::string rotation;
    if (t < kExact) return rotation_text(field, row, false);
    for (int d = 2; d <= 9; d++) {
        const double n = std::round(t * d);
        if (std::fabs(t * d - n) < kExact * d) {
            if (!rotation_text(field, row, false)) return false;
            char fraction[8];
            std::snprintf(fraction, sizeof fraction, "+%d/%d", static_cast<int>(n), d);
            field += fraction;
            return true;
        }
    }
    if (!rotation_text(rotation, row, true)) return false;
    const int digits = kFieldLength - 3 - static_cast<int>(rotation.size());
    if (digits < 3) return false;
    char number[16];
    std::snprintf(number, sizeof number, "-%.*f", digits, t);
    field = number;
    field += rotation;
    return true;
}

bool card_matches(const QUORIX_CARD& card, const std::array<std::array<int, 3>, 3>& r, const std::array<double, 3>& t) {
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++)
            if (card.r_f[i][j] != r[i][j]) return false;
        const double d = card.t_f[i] - t[i];
        if (std::fabs(d - std::round(d)) > 1e-3) return false;
    }
    return true;
}

bool set_card(QUORIX_CARD& card, const std::array<std::array<int, 3>, 3>& r, const std::array<double, 3>& t) {
    std::string text;
    for (int i = 0; i < 3; i++) {
        std::string field;
        if (!field_text(field, r[i], wrap(t[i]))) return false;
        text += (i ? "," : "") + field;
    }
    return text.size() < sizeof card.text && quorix_card_set_by_text(&card, text.c_str()) == 0 &&
           card_matches(card, r, t);
}

// Image of fractional `x` by operation k, not wrapped.
std::array<double, 3> image(const QUORIX_STD_GROUP& group, size_t k, const std::array<double, 3>& x) {
    std::array<double, 3> y = group.translations[k];
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) y[i] += group.rotations[k][i][j] * x[j];
    return y;
}

// The mean of the images of `x` under the operations that keep it, each brought next to `x`.
std::array<double, 3> site_average(const QUORIX_STD_GROUP& group, const QUORIX_CELL& cell,
                                   const std::array<double, 3>& x, double symprec) {
    std::array<double, 3> sum{0, 0, 0};
    int count = 0;
    for (size_t k = 0; k < group.rotations.size(); k++) {
        const std::array<double, 3> y = image(group, k, x);
        if (quorix_std_periodic_distance(&cell, y.data(), x.data()) > 3 * symprec) continue;
        for (int i = 0; i < 3; i++) sum[i] += y[i] - std::round(y[i] - x[i]);
        count++;
    }
    if (count == 0) return x;
    for (double& s : sum) s /= count;
    return sum;
}

using Rotation = std::array<std::array<int, 3>, 3>;
using Vector = std::array<double, 3>;

bool columns_in_basis(double out[3][3], const double basis[3][3], const double columns[3][3]) {
    for (int j = 0; j < 3; j++) {
        const double b[3] = {columns[0][j], columns[1][j], columns[2][j]};
        double x[3];
        if (quorix_matrix33_double_linearsolver(x, basis, b) != 0) return false;
        for (int i = 0; i < 3; i++) out[i][j] = x[i];
    }
    return true;
}

// Rotations that may keep the lattice, in the basis of the cell: those with entries -1, 0 and 1
// in its Delaunay-reduced basis (every lattice symmetry is one) whose change of the metric is
// within a generous multiple of `symprec`. Empty when the reduction fails.
std::vector<Rotation> lattice_rotations(const QUORIX_CELL& cell, double symprec) {
    double basis[3][3], reduced[3][3];  // lattice vectors as columns
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) basis[i][j] = reduced[i][j] = cell.a[j][i];
    double to_reduced[3][3], from_reduced[3][3], identity[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    if (!spg_delaunay_reduce(reduced, symprec) || !columns_in_basis(to_reduced, basis, reduced) ||
        !columns_in_basis(from_reduced, to_reduced, identity))
        return {};
    quorix_matrix33_double_round(to_reduced);
    quorix_matrix33_double_round(from_reduced);
    double metric[3][3], length[3];
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++)
            metric[i][j] = reduced[0][i] * reduced[0][j] + reduced[1][i] * reduced[1][j] + reduced[2][i] * reduced[2][j];
    for (int i = 0; i < 3; i++) length[i] = std::sqrt(metric[i][i]);
    std::vector<Rotation> rotations;
    for (int code = 0; code < 19683; code++) {
        double w[3][3];
        for (int k = 0, c = code; k < 9; k++, c /= 3) w[k / 3][k % 3] = c % 3 - 1;
        if (std::fabs(std::fabs(quorix_matrix33_double_determinant(w)) - 1) > 1e-9) continue;
        bool keeps = true;
        for (int i = 0; i < 3 && keeps; i++)
            for (int j = 0; j < 3 && keeps; j++) {
                double g = 0;
                for (int k = 0; k < 3; k++)
                    for (int m = 0; m < 3; m++) g += w[k][i] * metric[k][m] * w[m][j];
                keeps = std::fabs(g - metric[i][j]) <= 8 * symprec * (length[i] + length[j]);
            }
        if (!keeps) continue;
        double product[3][3], r[3][3];
        quorix_matrix33_double_multiplication(product, to_reduced, w);
        quorix_matrix33_double_multiplication(r, product, from_reduced);
        Rotation rotation;
        for (int i = 0; i < 3; i++)
            for (int j = 0; j < 3; j++) rotation[i][j] = static_cast<int>(std::lround(r[i][j]));
        rotations.push_back(rotation);
    }
    return rotations;
}

// Gathers the atoms into positions and types each position by its species. An atom joins the
// first position closer than `symprec`, else starts one.
void gather_positions(QUORIX_STD_GROUP& group, const QUORIX_CELL& cell, double symprec) {
    std::vector<Species> held;
    PositionGrid grid(cell.total, cell.a, symprec);
    for (long i = 0; i < cell.total; i++) {
        const QUORIX_ATOM& atom = cell.atom[i];
        long p = grid.lowest_near(atom.x_f, [&](long q) {
            return quorix_std_periodic_distance(&cell, group.position[q].data(), atom.x_f) < symprec;
        });
        if (p < 0) {
            p = static_cast<long>(group.position.size());
            grid.insert(p, atom.x_f);
            group.position.push_back({atom.x_f[0], atom.x_f[1], atom.x_f[2]});
            held.emplace_back();
        }
        held[p].emplace(atom.type, atom.os, std::lround(atom.occ * 1000));
        group.position_of_atom.push_back(p);
    }
    std::map<Species, int> index;
    for (const Species& species : held) {
        const auto [entry, added] = index.emplace(species, static_cast<int>(group.species.size()));
        if (added) group.species.push_back(describe(species));
        group.species_of_position.push_back(entry->second);
    }
}

bool is_identity(const Rotation& r, const Vector& t) {
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++)
            if (r[i][j] != (i == j)) return false;
        if (std::fabs(t[i] - std::round(t[i])) > kExact) return false;
    }
    return true;
}

// Whether an operation besides the identity maps every position onto one of its species within
// twice `symprec`: a necessary condition for any symmetry spglib finds, tested in a fraction of
// its time on large cells. Operations are the lattice rotations with the translations that take
// the first position of the rarest species to another of that species.
bool may_have_symmetry(const QUORIX_CELL& cell, const QUORIX_STD_GROUP& group, double symprec) {
    const std::vector<Rotation> rotations = lattice_rotations(cell, symprec);
    if (rotations.empty()) return true;
    std::vector<std::vector<size_t>> of_species(group.species.size());
    for (size_t p = 0; p < group.position.size(); p++) of_species[group.species_of_position[p]].push_back(p);
    const std::vector<size_t>& rarest = *std::min_element(
        of_species.begin(), of_species.end(), [](const auto& a, const auto& b) { return a.size() < b.size(); });
    PositionGrid grid(static_cast<long>(group.position.size()), cell.a, 2 * symprec);
    for (size_t p = 0; p < group.position.size(); p++) grid.insert(static_cast<long>(p), group.position[p].data());
    const Vector& first = group.position[rarest[0]];
    for (const Rotation& r : rotations)
        for (size_t target : rarest) {
            Vector t = group.position[target];
            for (int i = 0; i < 3; i++)
                for (int j = 0; j < 3; j++) t[i] -= r[i][j] * first[j];
            if (is_identity(r, t)) continue;
            bool maps = true;
            for (size_t p = 0; p < group.position.size() && maps; p++) {
                Vector image = t;
                for (int i = 0; i < 3; i++)
                    for (int j = 0; j < 3; j++) image[i] += r[i][j] * group.position[p][j];
                maps = grid.any_near(image.data(), [&](long q) {
                    return group.species_of_position[q] == group.species_of_position[p] &&
                           quorix_std_periodic_distance(&cell, group.position[q].data(), image.data()) < 2 * symprec;
                });
            }
            if (maps) return true;
        }
    return false;
}

void set_p1(QUORIX_STD_GROUP& group) {
    group.number = 1;
    group.international = "P1";
    group.hall = "P 1";
    group.rotations = {Rotation{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}};
    group.translations = {Vector{0, 0, 0}};
    for (size_t p = 0; p < group.position.size(); p++) {
        group.representative.push_back(static_cast<int>(p));
        group.wyckoff.push_back('a');
        group.site_symmetry.push_back("1");
    }
}

// Translations that all lie within the tolerance of a twenty-fourth (the finest fraction of
// space-group translations) are taken as those fractions. Coordinates given to three or four
// decimals (0.3333 for 1/3) leave spglib's translations up to about 1e-3 off; written as
// decimals, they would move atoms off their special positions and across cell faces. An origin
// away from the symmetry elements keeps its translations, which then are no such fractions: the
// nearest twenty-fourth must also lie within kNearTwentyFourth of the cell edge, so that a wide
// tolerance does not take a shift of 0.2 for 5/24.
void idealise_translations(QUORIX_STD_GROUP& group, const QUORIX_CELL& cell, double symprec) {
    constexpr double kNearTwentyFourth = 2e-3;  // fraction of the edge; 5/24 - 0.2 is 8e-3
    auto nearest = [](double t) { return std::round(t * 24) / 24; };
    for (const auto& t : group.translations)
        for (int i = 0; i < 3; i++) {
            const double off = std::fabs(t[i] - nearest(t[i]));
            if (off > kNearTwentyFourth || off * quorix_vector3_double_length(cell.a[i]) > symprec) return;
        }
    for (auto& t : group.translations)
        for (double& component : t) component = nearest(component);
}

}  // namespace

int quorix_std_group_find(QUORIX_STD_GROUP* group, const QUORIX_CELL* cell, double symprec, bool standardise) {
    gather_positions(*group, *cell, symprec);
    if (!standardise && !may_have_symmetry(*cell, *group, symprec)) {
        set_p1(*group);
        return 0;
    }
    double lattice[3][3];
    for (int i = 0; i < 3; i++)
        for (int j = 0; j < 3; j++) lattice[i][j] = cell->a[j][i];
    std::vector<int> types(group->species_of_position.begin(), group->species_of_position.end());
    const int count = static_cast<int>(group->position.size());
    auto* positions = reinterpret_cast<double(*)[3]>(group->position.data());
    const DatasetPtr data(spg_get_dataset(lattice, positions, types.data(), count, symprec), spg_free_dataset);
    if (!data || data->spacegroup_number == 0) {
        std::fprintf(stderr, "Error: spglib finds no space group: %s.\n", spg_get_error_message(spg_get_error_code()));
        return 1;
    }
    copy_dataset(*group, *data);
    idealise_translations(*group, *cell, symprec);
    return 0;
}

QUORIX_SYMMETRY* quorix_std_group_to_symmetry(const QUORIX_STD_GROUP* group) {
    SymmetryPtr symmetry(quorix_symmetry_new(static_cast<int>(group->rotations.size())));
    if (!symmetry) {
        std::fprintf(stderr, "Error: quorix_symmetry_new() returns NULL.\n");
        return nullptr;
    }
    for (size_t k = 0; k < group->rotations.size(); k++)
        if (!set_card(symmetry->card[k], group->rotations[k], group->translations[k])) return nullptr;
    quorix_copy_bounded(symmetry->sg_HM, group->international.c_str(), sizeof symmetry->sg_HM);
    quorix_copy_bounded(symmetry->sg_Hall, group->hall.c_str(), sizeof symmetry->sg_Hall);
    symmetry->sg_id = group->number;
    return symmetry.release();
}

int quorix_std_cell_symmetrise(QUORIX_CELL* cell, const QUORIX_STD_GROUP* group, QUORIX_SYMMETRY* symmetry,
                               double symprec) {
    if (group->rotations.size() == 1) return 0;  // the identity moves nothing
    std::vector<std::array<double, 3>> average(group->position.size());
    for (size_t p = 0; p < group->position.size(); p++)
        if (group->representative[p] == static_cast<int>(p))
            average[p] = site_average(*group, *cell, group->position[p], symprec);
    std::vector<QUORIX_ATOM> representatives;
    for (long i = 0; i < cell->total; i++) {
        const long p = group->position_of_atom[i];
        if (group->representative[p] != p) continue;
        QUORIX_ATOM atom = cell->atom[i];
        for (int k = 0; k < 3; k++) atom.x_f[k] = average[p][k] - std::floor(average[p][k]);
        representatives.push_back(atom);
    }
    long total = static_cast<long>(representatives.size());
    AtomPtr atoms(quorix_atom_new(total));
    if (!atoms) {
        std::fprintf(stderr, "Error: quorix_atom_new() returns NULL.\n");
        return 1;
    }
    std::copy(representatives.begin(), representatives.end(), atoms.get());
    QUORIX_ATOM* raw = atoms.release();
    const int failed = quorix_atom_spawn_by_symmetry(&raw, &total, symmetry);
    atoms.reset(raw);
    if (failed || total != cell->total) return 1;
    if (quorix_cell_replace_atoms(cell, atoms.get(), total)) return 1;
    quorix_cell_refresh(cell);
    quorix_cell_update_coordinate_cartesion(cell);
    quorix_cell_update_name(cell);
    return 0;
}
