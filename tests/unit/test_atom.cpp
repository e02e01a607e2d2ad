#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-la.hpp"

using quorix_test::make_atom;
using quorix_test::make_cell;

namespace {

// Field-wise equality; NaN coordinates and occupancies compare equal to themselves.
bool same_record(const QUORIX_ATOM& a, const QUORIX_ATOM& b) {
    return std::strcmp(a.name, b.name) == 0 && std::strcmp(a.type, b.type) == 0 && a.os == b.os &&
           std::memcmp(a.x_f, b.x_f, sizeof(a.x_f)) == 0 && std::memcmp(a.x, b.x, sizeof(a.x)) == 0 &&
           std::memcmp(&a.occ, &b.occ, sizeof(a.occ)) == 0 && a.flag == b.flag && a.value == b.value &&
           a.ignored == b.ignored;
}

AtomPtr make_array(const std::vector<QUORIX_ATOM>& atoms) {
    AtomPtr array(quorix_atom_new(static_cast<long>(atoms.size())));
    std::copy(atoms.begin(), atoms.end(), array.get());
    return array;
}

// Fm-3m in its standard setting: the 48 signed permutation matrices times the four F-centring
// translations, built independently of the operation parser.
SymmetryPtr make_fm3m() {
    SymmetryPtr symmetry(quorix_symmetry_new(192));
    const int permutations[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
    const double centring[4][3] = {{0, 0, 0}, {0, 0.5, 0.5}, {0.5, 0, 0.5}, {0.5, 0.5, 0}};
    int c = 0;
    for (const auto& t : centring)
        for (const auto& p : permutations)
            for (int signs = 0; signs < 8; signs++) {
                QUORIX_CARD& card = symmetry->card[c++];
                for (int i = 0; i < 3; i++) {
                    card.r_f[i][p[i]] = (signs >> i & 1) ? -1.0 : 1.0;
                    card.t_f[i] = t[i];
                }
            }
    return symmetry;
}

// The straightforward duplicate removal: every later unmarked atom that equals an earlier
// unmarked one is marked; the unmarked atoms are kept in order.
std::vector<QUORIX_ATOM> remove_duplicate_oracle(std::vector<QUORIX_ATOM> atoms) {
    for (size_t i = 0; i < atoms.size(); i++)
        for (size_t j = i + 1; j < atoms.size(); j++)
            if (!atoms[i].ignored && !atoms[j].ignored && quorix_atom_equal(atoms[i], atoms[j]))
                atoms[j].ignored = true;
    std::vector<QUORIX_ATOM> kept;
    for (const auto& atom : atoms)
        if (!atom.ignored) kept.push_back(atom);
    return kept;
}

// The canonical order as four exchange passes over all pairs, swapping whole atoms.
void sort_oracle(std::vector<QUORIX_ATOM>& atoms) {
    auto pass = [&](auto&& earlier_keys_equal, auto&& later_first) {
        for (size_t i = 0; i < atoms.size(); i++)
            for (size_t j = i + 1; j < atoms.size(); j++)
                if (earlier_keys_equal(atoms[i], atoms[j]) && later_first(atoms[i], atoms[j]))
                    std::swap(atoms[i], atoms[j]);
    };
    using A = const QUORIX_ATOM&;
    auto same_type = [](A a, A b) { return std::strcmp(a.type, b.type) == 0; };
    auto same_state = [&](A a, A b) { return same_type(a, b) && a.os == b.os; };
    auto same_occupancy = [&](A a, A b) { return same_state(a, b) && a.occ == b.occ; };
    pass([](A, A) { return true; }, [](A a, A b) { return std::strcmp(a.type, b.type) > 0; });
    pass(same_type, [](A a, A b) { return a.os > b.os; });
    pass(same_state, [](A a, A b) { return a.occ > b.occ; });
    pass(same_occupancy, [](A a, A b) { return quorix_atom_name_compare(a.name, b.name) > 0; });
}

void expect_grid_matches_oracle(const std::vector<QUORIX_ATOM>& atoms) {
    const std::vector<QUORIX_ATOM> expected = remove_duplicate_oracle(atoms);
    QUORIX_ATOM* array = make_array(atoms).release();
    long total = static_cast<long>(atoms.size());
    ASSERT_EQ(quorix_atom_remove_duplicate(&array, &total), 0);
    AtomPtr kept(array);
    ASSERT_EQ(total, static_cast<long>(expected.size()));
    for (long i = 0; i < total; i++) EXPECT_TRUE(same_record(kept.get()[i], expected[i])) << i;
}

// Li2O (antifluorite) expanded from its two sites with Fm-3m.
CellPtr make_li2o() {
    SymmetryPtr fm3m = make_fm3m();
    QUORIX_ATOM* atoms = make_array({make_atom("O1", "O", -2, 0, 0, 0), make_atom("Li1", "Li", 1, 0.25, 0.25, 0.25)})
                             .release();
    long total = 2;
    EXPECT_EQ(quorix_atom_spawn_by_symmetry(&atoms, &total, fm3m.get()), 0);
    CellPtr cell(quorix_cell_new(0));
    cell->atom = atoms;
    cell->total = total;
    const double parameter[3] = {4.61, 4.61, 4.61}, angle[3] = {90, 90, 90};
    std::copy(parameter, parameter + 3, cell->parameter);
    std::copy(angle, angle + 3, cell->angle);
    quorix_cell_update_cartesion(cell.get());
    return cell;
}

}  // namespace

TEST(AtomEqual, FaceToleranceOccupancyAndSpecies) {
    const QUORIX_ATOM near_zero = make_atom("Li1", "Li", 1, 0.0004, 0.5, 0.5);
    EXPECT_TRUE(quorix_atom_equal(near_zero, make_atom("Li9", "Li", 1, 0.9998, 0.5, 0.5)));
    EXPECT_TRUE(quorix_atom_equal(near_zero, make_atom("Li1", "Li", 1, 1.0040, 0.5, 0.5)));
    EXPECT_FALSE(quorix_atom_equal(make_atom("a", "Li", 1, 0.0, 0.5, 0.5), make_atom("a", "Li", 1, 0.006, 0.5, 0.5)));
    EXPECT_FALSE(quorix_atom_equal(near_zero, make_atom("Li1", "Li", 1, 2.0004, 0.5, 0.5)));
    EXPECT_FALSE(quorix_atom_equal(make_atom("a", "Li", 1, 0, 0, 0, 0.50), make_atom("a", "Li", 1, 0, 0, 0, 0.52)));
    EXPECT_TRUE(quorix_atom_equal(make_atom("a", "Li", 1, 0, 0, 0, 0.50), make_atom("a", "Li", 1, 0, 0, 0, 0.519)));
    EXPECT_FALSE(quorix_atom_equal(make_atom("a", "Fe", 2, 0, 0, 0), make_atom("a", "Fe", 3, 0, 0, 0)));
    EXPECT_FALSE(quorix_atom_equal(make_atom("a", "Na", 1, 0, 0, 0), make_atom("a", "N", 1, 0, 0, 0)));

    const std::vector<QUORIX_ATOM> atoms = {make_atom("a", "O", -2, 0.1, 0.1, 0.1), near_zero};
    EXPECT_TRUE(quorix_atom_belong(make_atom("x", "Li", 1, 0.999, 0.502, 0.498), make_array(atoms).get(), 2));
    EXPECT_FALSE(quorix_atom_belong(make_atom("x", "Li", 1, 0.3, 0.5, 0.5), make_array(atoms).get(), 2));
}

TEST(AtomDuplicates, GridAgreesWithQuadraticOracle) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const char* types[] = {"Li", "O", "O"};
    for (int round = 0; round < 20; round++) {
        // Clusters of near-coincident atoms around a few centres, many at cell faces, some outside [0, 1).
        std::vector<QUORIX_ATOM> atoms;
        std::vector<std::array<double, 3>> centres;
        for (int c = 0; c < 12; c++)
            centres.push_back(
                {std::round(unit(random) * 4) / 4, unit(random), unit(random) < 0.3 ? 0.0 : unit(random)});
        for (int k = 0; k < 400; k++) {
            const auto& centre = centres[random() % centres.size()];
            QUORIX_ATOM atom = make_atom("X", types[random() % 3], 0, 0, 0, 0, unit(random) < 0.1 ? 0.5 : 1.0);
            for (int i = 0; i < 3; i++) {
                atom.x_f[i] = centre[i] + (unit(random) - 0.5) * 0.02;
                if (unit(random) < 0.05) atom.x_f[i] += unit(random) < 0.5 ? 1.0 : -1.0;
            }
            atom.os = atom.type[0] == 'O' ? -2 : 1;
            atom.ignored = unit(random) < 0.05;
            atoms.push_back(atom);
        }
        atoms.push_back(make_atom("N", "O", -2, NAN, 0.5, 0.5));
        atoms.push_back(make_atom("N", "O", -2, INFINITY, 0.5, 0.5));
        expect_grid_matches_oracle(atoms);
    }

    // Every image of a real structure, in expansion order, before duplicates are removed.
    SymmetryPtr fm3m = make_fm3m();
    std::vector<QUORIX_ATOM> images;
    for (const QUORIX_ATOM& site : {make_atom("O1", "O", -2, 0, 0, 0), make_atom("Li1", "Li", 1, 0.25, 0.25, 0.25),
                                    make_atom("Li2", "Li", 1, 0.1234, 0.0, 0.5)})
        for (int c = 0; c < fm3m->total; c++) images.push_back(quorix_atom_spawn_by_card(site, fm3m->card[c]));
    expect_grid_matches_oracle(images);
}

TEST(AtomOrder, NaturalNamesAndCanonicalKeys) {
    EXPECT_LT(quorix_atom_name_compare("Li2", "Li10"), 0);
    EXPECT_LT(quorix_atom_name_compare("Li10", "LiA"), 0);
    EXPECT_GT(quorix_atom_name_compare("O12", "O3"), 0);
    EXPECT_LT(quorix_atom_name_compare("O", "O1"), 0);
    EXPECT_EQ(quorix_atom_name_compare("Li1", "Li1"), 0);
    EXPECT_LT(quorix_atom_name_compare("O01", "O1"), 0);  // equal numbers fall back to plain order

    std::vector<QUORIX_ATOM> atoms = {
        make_atom("O2", "O", -2, 0.1, 0, 0),       make_atom("Li10", "Li", 1, 0.2, 0, 0),
        make_atom("Fe1", "Fe", 3, 0.3, 0, 0),      make_atom("Li2", "Li", 1, 0.4, 0, 0),
        make_atom("Fe2", "Fe", 2, 0.5, 0, 0),      make_atom("Li3", "Li", 1, 0.6, 0, 0, 0.5),
        make_atom("O1", "O", -2, 0.7, 0, 0),       make_atom("Li2", "Li", 1, 0.8, 0, 0),
        make_atom("LiA", "Li", 1, 0.9, 0, 0),
    };
    AtomPtr array = make_array(atoms);
    quorix_atom_sort(array.get(), static_cast<long>(atoms.size()));
    const char* names[] = {"Fe2", "Fe1", "Li3", "Li2", "Li2", "Li10", "LiA", "O1", "O2"};
    for (size_t i = 0; i < atoms.size(); i++) EXPECT_STREQ(array.get()[i].name, names[i]) << i;

    // Ties (equal in all four keys) end where the exchange passes put them; few and many
    // distinct labels for each species.
    std::mt19937 random(11);
    for (int round = 0; round < 10; round++) {
        const int labels = round < 5 ? 3 : 60;
        std::vector<QUORIX_ATOM> mixed;
        for (int k = 0; k < 300; k++) {
            const std::string label = (random() % 2 ? "Li" : "O") + std::to_string(random() % labels);
            // Rounds of many distinct occupancies (and -0 beside 0) too, with NaN and without; the
            // last in falling order, which makes the longest chains of exchanges.
            const double occ = round == 9       ? 1.0 - k / 1000.0
                               : round % 3 == 2 ? (random() % 7 ? (random() % 80) / 80.0 : -0.0)
                               : random() % 3   ? 1.0
                                                : 0.5;
            mixed.push_back(make_atom(label.c_str(), label[0] == 'O' ? "O" : "Li", static_cast<int>(random() % 2),
                                      static_cast<double>(k), 0, 0, occ));
            if (round % 2 == 0 && k % 50 == 7) mixed.back().occ = NAN;  // never swapped by the occupancy pass
        }
        AtomPtr sorted = make_array(mixed);
        quorix_atom_sort(sorted.get(), static_cast<long>(mixed.size()));
        sort_oracle(mixed);
        for (size_t i = 0; i < mixed.size(); i++) ASSERT_TRUE(same_record(sorted.get()[i], mixed[i])) << i;
    }


}

TEST(CellSites, ReductionAndSiteNumbersFollowOrbits) {
    CellPtr cell = make_li2o();
    SymmetryPtr fm3m = make_fm3m();
    cell->atom[3].ignored = true;  // marks of the caller are cleared, not kept

    CellPtr reduced(quorix_cell_reduce_by_symmetry(cell.get(), fm3m.get()));
    ASSERT_TRUE(reduced);
    ASSERT_EQ(reduced->total, 2);
    EXPECT_TRUE(same_record(reduced->atom[0], cell->atom[0]));
    EXPECT_TRUE(same_record(reduced->atom[1], cell->atom[8]));
    EXPECT_DOUBLE_EQ(reduced->parameter[0], 4.61);
    for (long i = 0; i < cell->total; i++) EXPECT_FALSE(cell->atom[i].ignored);

    ASSERT_EQ(quorix_cell_flag_site_by_symmetry(cell.get(), fm3m.get()), 0);
    for (long i = 0; i < cell->total; i++) EXPECT_EQ(cell->atom[i].flag, i < 8 ? 1 : 2) << i;


}
