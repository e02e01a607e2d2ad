// Space group of a full cell by spglib, operation texts the operation parser reads exactly, and
// the symmetrised cell.
#include "quorix-import-spglib.hpp"

#include <spglib.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <tuple>

#include "quorix-import-atom.hpp"
#include "quorix-import-std.hpp"
#include "quorix-import-symmetry.hpp"

namespace {

constexpr int kFieldLength = 11;  // the parser keeps at most 11 characters of a field
constexpr double kExact = 1e-4;   // fractional translations closer than this are equal

using DatasetPtr = std::unique_ptr<SpglibDataset, void (*)(SpglibDataset*)>;
using Species = std::set<std::tuple<std::string, int, long>>;  // element, state, occupancy in thousandths

std::string describe(const Species& species) {
    std::string text;
    for (const auto& [type, os, occ] : species) {
        char part[64];
        if (os == 99)
            std::snprintf(part, sizeof part, "%s:%.3f", type.c_str(), occ / 1000.0);
        else
            std::snprintf(part, sizeof part, "%s%d%c:%.3f", type.c_str(), std::abs(os), os < 0 ? '-' : '+',
                          occ / 1000.0);
        if (!text.empty()) text += ' ';
        text += part;
    }
    return text;
}

// Gathers the atoms into positions (closer than `symprec`) and types each position by its species.
void gather_positions(QUORIX_STD_GROUP& group, const QUORIX_CELL& cell, double symprec) {
    std::vector<Species> held;
    for (long i = 0; i < cell.total; i++) {
        const QUORIX_ATOM& atom = cell.atom[i];
        size_t p = 0;
        while (p < group.position.size() &&
               quorix_std_periodic_distance(&cell, group.position[p].data(), atom.x_f) >= symprec)
            p++;
        if (p == group.position.size()) {
            group.position.push_back({atom.x_f[0], atom.x_f[1], atom.x_f[2]});
            held.emplace_back();
        }
        held[p].emplace(atom.type, atom.os, std::lround(atom.occ * 1000));
        group.position_of_atom.push_back(static_cast<long>(p));
    }
    std::map<Species, int> index;
    for (const Species& species : held) {
        const auto [entry, added] = index.emplace(species, static_cast<int>(group.species.size()));
        if (added) group.species.push_back(describe(species));
        group.species_of_position.push_back(entry->second);
    }
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

}  // namespace

int quorix_std_group_find(QUORIX_STD_GROUP* group, const QUORIX_CELL* cell, double symprec) {
    gather_positions(*group, *cell, symprec);
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
