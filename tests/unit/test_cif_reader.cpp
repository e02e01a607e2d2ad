// Whole reads of CIF files and texts: real files with their dialect quirks, inline text
// and hostile input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-cif.hpp"

namespace {

using Read = quorix_test::CifRead;

Read read_text(const std::string& content) {
    quorix_test::ScratchDir dir;
    return quorix_test::read_cif(dir.write("input.cif", content).string());
}

const QUORIX_ATOM* find_atom(const QUORIX_CELL* cell, const char* name) {
    for (long i = 0; i < cell->total; i++)
        if (std::strcmp(cell->atom[i].name, name) == 0) return &cell->atom[i];
    return nullptr;
}

// A small structure in P-1; `indent` precedes every line, as in the inline text mode.
std::string small_cif(const std::string& indent) {
    const char* lines[] = {"data_small",
                           "_cell_length_a 4.0",
                           "_cell_length_b 5.0",
                           "_cell_length_c 6.0",
                           "_cell_angle_alpha 90",
                           "_cell_angle_beta 90",
                           "_cell_angle_gamma 90",
                           "_cell_formula_units_Z 2",
                           "loop_",
                           "_symmetry_equiv_pos_as_xyz",
                           "'x, y, z'",
                           "'-x, -y, -z'",
                           "loop_",
                           "_atom_site_label",
                           "_atom_site_type_symbol",
                           "_atom_site_fract_x",
                           "_atom_site_fract_y",
                           "_atom_site_fract_z",
                           "_atom_site_occupancy",
                           "Li1 Li1+ 0.1 0.2 0.3 1.0",
                           "Mn1 Mn3.5+ 0 0 0 1.0",
                           "O1 O2- 0.5 0.5 0.5 1"};
    std::string text;
    for (const char* line : lines) text += indent + line + "\n";
    return text;
}

}  // namespace

TEST(CifReader, ExpandsSplitsAndLocatesASmallStructure) {
    const Read r = read_text(small_cif(""));
    ASSERT_EQ(r.status, 0) << r.err;
    // Li1 has two images, Mn splits into Mn4+ and Mn3+ at the inversion centre, O1 sits on one.
    ASSERT_EQ(r.cell->total, 5);
    EXPECT_EQ(r.cell->Z, 2);
    EXPECT_EQ(r.symmetry->total, 2);
    EXPECT_NE(r.out.find("Message: reading cif file...\n"), std::string::npos);
    EXPECT_NE(r.out.find("Message: calculated cell volume = 120.000000\n"), std::string::npos);
    int manganese[2] = {0, 0};
    for (long i = 0; i < r.cell->total; i++) {
        const QUORIX_ATOM& a = r.cell->atom[i];
        EXPECT_EQ(a.value, 0.0);
        for (int k = 0; k < 3; k++) EXPECT_NEAR(a.x[k], a.x_f[k] * (4.0 + k), 1e-6);
        if (std::strcmp(a.type, "Mn") == 0) {
            EXPECT_DOUBLE_EQ(a.occ, 0.5);
            manganese[a.os - 3]++;
        }
    }
    EXPECT_EQ(manganese[0], 1);
    EXPECT_EQ(manganese[1], 1);
}

TEST(CifReader, RealFileQuirks) {
    // Labels such as O-H4 without type symbols give their element from the label.
    const Read mica = quorix_test::read_cif("Lepidolite_Li_mica_AMCSD0015659.cif");
    ASSERT_EQ(mica.status, 0) << mica.err;
    const QUORIX_ATOM* oh = find_atom(mica.cell.get(), "O-H4");
    ASSERT_NE(oh, nullptr);
    EXPECT_STREQ(oh->type, "O");
    EXPECT_DOUBLE_EQ(oh->occ, 0.235);

    // Tab characters between values.
    const Read tabs = quorix_test::read_cif("Na0.8CoO2_VESTA.cif");
    ASSERT_EQ(tabs.status, 0) << tabs.err;
    const QUORIX_ATOM* na = find_atom(tabs.cell.get(), "Na2");
    ASSERT_NE(na, nullptr);
    EXPECT_DOUBLE_EQ(na->occ, 0.6);

    // Occupancies above 1 are read as they stand.
    const Read olivine = quorix_test::read_cif("LiFePO4_COD4001848.cif");
    ASSERT_EQ(olivine.status, 0) << olivine.err;
    EXPECT_DOUBLE_EQ(find_atom(olivine.cell.get(), "Fe1")->occ, 1.004);

    // CRLF line endings: charges from the type loop, lattice without trailing '\r' trouble.
    const Read crlf = quorix_test::read_cif("La2CuO4_COD1008572.cif");
    ASSERT_EQ(crlf.status, 0) << crlf.err;
    EXPECT_EQ(crlf.cell->total, 28);
    for (long i = 0; i < crlf.cell->total; i++) EXPECT_NE(crlf.cell->atom[i].os, 99);

    // The same structure without its final newline: the last atom row still belongs to the loop.
    std::string mica_text = quorix_test::read_file(quorix_test::test_data("Lepidolite_Li_mica_AMCSD0015659.cif"));
    while (!mica_text.empty() && (mica_text.back() == '\n' || mica_text.back() == '\r')) mica_text.pop_back();
    const Read unterminated = read_text(mica_text);
    ASSERT_EQ(unterminated.status, 0) << unterminated.err;
    EXPECT_EQ(unterminated.cell->total, mica.cell->total);
}


TEST(CifReader, SeriesOfImages) {
    quorix_test::ScratchDir dir;
    dir.write("neb.0.cif", small_cif(""));
    dir.write("neb.1.cif", small_cif("  "));
    const std::string base = (dir.path() / "neb").string();
    quorix_test::Capture quiet;
    QUORIX_CELL** cells = quorix_cells_import_cif_from_file(base.c_str(), 2, quorix_test::symcards_db().c_str(),
                                                            quorix_test::unitary_db().c_str());
    QUORIX_CELL** too_many = quorix_cells_import_cif_from_file(base.c_str(), 3, quorix_test::symcards_db().c_str(),
                                                               quorix_test::unitary_db().c_str());
    quiet.finish();
    ASSERT_NE(cells, nullptr);
    EXPECT_EQ(cells[1]->total, 5);
    for (int i = 0; i < 2; i++) quorix_cell_free(cells[i]);
    std::free(cells);
    EXPECT_EQ(too_many, nullptr);
}
