#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-symmetry.hpp"

namespace {

using quorix_test::ScratchDir;
using quorix_test::symcards_db;

constexpr int kSettings = 530;

QUORIX_CARD parse(const char* text) {
    QUORIX_CARD card{};
    EXPECT_EQ(quorix_card_set_by_text(&card, text), 0) << text;
    return card;
}

void expect_card(const QUORIX_CARD& card, const std::vector<std::vector<double>>& rows,
                 const std::vector<double>& translation) {
    for (int i = 0; i < 3; i++) {
        for (int j = 0; j < 3; j++)
            EXPECT_EQ(card.r_f[i][j], rows[i][j]) << card.text << " r[" << i << "][" << j << "]";
        EXPECT_DOUBLE_EQ(card.t_f[i], translation[i]) << card.text << " t[" << i << "]";
    }
}

quorix_test::CifRead read_cif(const std::string& name) {
    quorix_test::CifRead read = quorix_test::read_cif(name);
    EXPECT_EQ(read.status, 0) << name << read.err;
    return read;
}



// The straightforward validation: each image's partner is found by scanning every atom.
bool validate_oracle(QUORIX_CELL* cell, const QUORIX_SYMMETRY& symmetry, double tolerance) {
    auto clear = [&] {
        for (long i = 0; i < cell->total; i++) cell->atom[i].ignored = false;
    };
    for (int c = 0; c < symmetry.total; c++) {
        clear();
        for (long i = 0; i < cell->total; i++) {
            if (cell->atom[i].ignored) continue;
            const QUORIX_ATOM image = quorix_atom_spawn_by_card(cell->atom[i], symmetry.card[c]);
            double x[3];
            for (int k = 0; k < 3; k++)
                x[k] = image.x_f[0] * cell->a[0][k] + image.x_f[1] * cell->a[1][k] + image.x_f[2] * cell->a[2][k];
            long partner = -1;
            for (long j = 0; j < cell->total && partner < 0; j++) {
                const QUORIX_ATOM& atom = cell->atom[j];
                if (atom.os == image.os && std::strcmp(atom.type, image.type) == 0 &&
                    std::fabs(atom.occ - image.occ) < 0.0005 &&
                    std::hypot(x[0] - atom.x[0], x[1] - atom.x[1], x[2] - atom.x[2]) < tolerance)
                    partner = j;
            }
            if (partner < 0) {
                clear();
                return false;
            }
            cell->atom[partner].ignored = cell->atom[i].ignored = true;
        }
    }
    return true;
}


}  // namespace

TEST(SymmetryCard, SignsFractionsAndDecimals) {
    expect_card(parse("-x+1/2,y,z"), {{-1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0.5, 0, 0});
    expect_card(parse("'x, y, z'"), {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0});
    expect_card(parse("x-y,x,z+1/6"), {{1, -1, 0}, {1, 0, 0}, {0, 0, 1}}, {0, 0, 1.0 / 6});
    expect_card(parse("1/4-x,y-1/2,-1/2+z"), {{-1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {-0.25, -0.5, -0.5});
    expect_card(parse("-y+2/3,X-Y+1/3,\tz+5/6\r\n"), {{0, -1, 0}, {1, -1, 0}, {0, 0, 1}}, {2.0 / 3, 1.0 / 3, 5.0 / 6});
    expect_card(parse("+x,2y,z"), {{1, 0, 0}, {0, -1, 0}, {0, 0, 1}}, {0, 0, 0});  // one-character sign test
    // Decimals are read from the field's start and always negated; integer offsets are dropped.
    expect_card(parse("0.5+x,x+0.25,z+1"), {{1, 0, 0}, {1, 0, 0}, {0, 0, 1}}, {-0.5, 0, 0});
    // Reduction into [-1, 1] keeps the ends: -2.0 negated is 2.0, brought down to 1.0.
    expect_card(parse("2.5+x,-2.0+y,1.75+z"), {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {-0.5, 1.0, -0.75});
    QUORIX_CARD card{};

    quorix_test::Capture capture;
    EXPECT_EQ(quorix_card_set_by_text(&card, nullptr), 1);
    EXPECT_EQ(quorix_card_set_by_text(&card, "x+1/0,y,z"), 1);
    EXPECT_EQ(quorix_card_set_by_text(&card, "x,y,nan.+z"), 1);
}

TEST(SymmetrySearch, ValidationAgreesWithFullScan) {
    std::vector<SymmetryPtr> settings;
    for (int no = 1; no <= kSettings; no++)
        settings.emplace_back(quorix_symmetry_import_by_internal_no(no, symcards_db().c_str()));
    struct Case {
        CellPtr cell;
        double tolerance;
    };
    std::vector<Case> cases;
    cases.push_back({read_cif("Al2O3_corundum_COD1010914.cif").cell, 0.01});
    cases.push_back({read_cif("K2SO4_alpha_COD1000049.cif").cell, 0.01});
    // Copies of LiFePO4 shaken by up to 0.006 A in Cartesian space, so the tolerance decides.
    std::mt19937 random(5);
    for (double tolerance : {0.004, 0.3}) {
        CellPtr shaken = std::move(read_cif("LiFePO4_COD4001848.cif").cell);
        for (long i = 0; i < shaken->total; i++)
            for (double& v : shaken->atom[i].x) v += (static_cast<int>(random() % 1201) - 600) * 1e-5;
        cases.push_back({std::move(shaken), tolerance});
    }
    int fitting = 0;
    for (const auto& [cell, tolerance] : cases)
        for (int no = 1; no <= kSettings; no++) {
            {
                CellPtr copy(quorix_cell_copy(cell.get()));
                const bool expected = validate_oracle(copy.get(), *settings[no - 1], tolerance);
                ASSERT_EQ(quorix_cell_validate_by_symmetry(cell.get(), settings[no - 1].get(), tolerance), expected)
                    << cell->name << " setting " << no << " tolerance " << tolerance;
                for (long i = 0; i < cell->total; i++) ASSERT_EQ(cell->atom[i].ignored, copy->atom[i].ignored) << i;
                fitting += expected;
            }
        }
    EXPECT_GT(fitting, 20);  // both outcomes are exercised
}

TEST(SymmetryGrid, IntegerFormsWrapIntoTheGrid) {
    SymmetryPtr symmetry(quorix_symmetry_new(2));
    ASSERT_EQ(quorix_card_set_by_text(&symmetry->card[0], "x,y,z"), 0);
    ASSERT_EQ(quorix_card_set_by_text(&symmetry->card[1], "-y+2/3,x-y+1/3,z+5/6"), 0);
    const long bound[3] = {12, 24, 10};
    ASSERT_EQ(quorix_symmetry_fill_card_discrete(symmetry.get(), bound), 0);
    const QUORIX_CARD& card = symmetry->card[1];
    EXPECT_EQ(card.r_i[0][1], -1);
    EXPECT_EQ(card.r_i[1][0], 1);
    EXPECT_EQ(card.r_i[1][1], -1);
    EXPECT_EQ(card.t_i[0], 8);
    EXPECT_EQ(card.t_i[1], 8);
    EXPECT_EQ(card.t_i[2], 8);  // 8.33 rounds to 8

    long x[3] = {11, 0, 9};
    quorix_card_transform_vector3_long(x, x, bound, &card);  // output may be the input
    EXPECT_EQ(x[0], 8);        // -0 + 8
    EXPECT_EQ(x[1], 19);       // 11 - 0 + 8
    EXPECT_EQ(x[2], 7);        // 9 + 8 - 10
    const long far[3] = {-30, 100, -1};
    long out[3];
    quorix_card_transform_vector3_long(out, far, bound, &card);
    EXPECT_EQ(out[0], (-100 + 8 + 12 * 9) % 12);
    EXPECT_EQ(out[1], (-30 - 100 + 8 + 24 * 6) % 24);
    EXPECT_EQ(out[2], 7);
}
