// Data items, loop tables and atom-site fields of the CIF reader, on rows built in the test.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-cif.hpp"

namespace {

using quorix_test::Rows;

std::string item(const char* keyword, const std::string& text) {
    Rows rows(text);
    char* value = quorix_cell_import_cif_grep_keyword(keyword, rows.content(), rows.count());
    std::string result = value ? value : "(null)";
    quorix_array_char_1D_free(value);
    return result;
}

struct Loop {
    char*** table = nullptr;
    int rows = 0;
    int cols = 0;
    int status = -1;
    std::string out;
    std::string err;
    ~Loop() { quorix_array_char_3D_free(table, rows, cols); }
    std::string at(int r, int c) const { return table[r][c] ? table[r][c] : "(null)"; }
};

void read_loop(Loop& loop, const char* keyword, const std::string& text) {
    Rows rows(text);
    quorix_test::Capture capture;
    loop.status = quorix_cell_import_cif_grep_loop(&loop.table, &loop.rows, &loop.cols, keyword, rows.content(),
                                                   rows.count());
    loop.out = capture.finish().out;
    loop.err = capture.finish().err;
}

}  // namespace

TEST(CifItems, BareQuotedAndTextFieldValues) {
    EXPECT_EQ(item("_cell_length_a", "_cell_length_b 2\n_cell_length_a\t5.4321(7)\r\n"), "5.4321(7)");
    EXPECT_EQ(item("_cell_length_a", "_cell_length_a 'abc'\n"), "abc");
    // A double quote inside a single-quoted value is plain text.
    EXPECT_EQ(item("_space_group_name_Hall", "_space_group_name_Hall           'R 3 -2\"c'\r"), "R 3 -2\"c");
    // Text on the opening ';' row is not part of the value; rows lose one trailing '\r'.
    EXPECT_EQ(item("_chemical_name_systematic", "_chemical_name_systematic\n;ignored\nLithium \r\noxide\r\n;\n"),
              "Lithium oxide");
    EXPECT_EQ(item("_publ_section_title", "_publ_section_title\n;\nnever closed\n"), "(null)");
    // A value on the following line is not read, nor a missing item.
    EXPECT_EQ(item("_cell_length_a", "_cell_length_a\r\n5.0\n"), "(null)");
    EXPECT_EQ(item("_cell_length_c", "_cell_length_a 5\n"), "(null)");
}

TEST(CifLoop, EndsAtBlankCommentLoopTagOrEndOfText) {
    const std::string header = "loop_\n_a_label\n  _a_x\n";
    for (const char* end : {"\n\n_next 1", "\n# comment\n", "\nloop_\n_b\n1\n", "\n_next 1\n", ""}) {
        Loop loop;
        read_loop(loop, "_a_label", header + "K1 0.5\nK2 0.25" + end);
        ASSERT_EQ(loop.status, 0) << end;
        ASSERT_EQ(loop.rows, 3) << end;
        ASSERT_EQ(loop.cols, 2);
        EXPECT_EQ(loop.at(0, 1), "_a_x");
        EXPECT_EQ(loop.at(2, 0), "K2");
        EXPECT_EQ(loop.at(2, 1), "0.25");
    }
}

TEST(CifLoop, FindsTheLoopHoldingTheKeywordAmongOthers) {
    const std::string text =
        "data_x\nloop_\n_symmetry_equiv_pos_as_xyz\n'x, y, z'\n'-x, -y, -z'\nloop_\n_atom_site_aniso_label\nK1 1\n"
        "loop_\n_atom_site_label\n_atom_site_fract_x\nK1 0.1\n";
    Loop loop;
    read_loop(loop, "_atom_site_label", text);
    ASSERT_EQ(loop.status, 0);
    ASSERT_EQ(loop.rows, 2);
    EXPECT_EQ(loop.at(1, 1), "0.1");

    Loop ops;
    read_loop(ops, "_symmetry_equiv_pos_as_xyz", text);
    ASSERT_EQ(ops.status, 0);
    ASSERT_EQ(ops.rows, 3);
    EXPECT_EQ(ops.at(1, 0), "x, y, z");

    // The first value row is searched too (the header ends there).
    Loop by_value;
    read_loop(by_value, "K1", "loop_\n_a\nK1\nK2\n");
    EXPECT_EQ(by_value.status, 0);
    EXPECT_EQ(by_value.rows, 3);
}

TEST(CifLoop, TokensQuotesAndSurplusValues) {
    Loop loop;
    read_loop(loop, "_a", "loop_\n_a\n_b\n_c\n'R 3 -2\"c'x O'Neil\r\n  only\n1 2 3 4 5\n");
    ASSERT_EQ(loop.status, 0);
    ASSERT_EQ(loop.rows, 4);
    EXPECT_EQ(loop.at(1, 0), "R 3 -2\"c");
    EXPECT_EQ(loop.at(1, 1), "x");
    EXPECT_EQ(loop.at(1, 2), "O'Neil");
    EXPECT_EQ(loop.at(2, 0), "only");
    EXPECT_EQ(loop.at(2, 1), "(null)");
    EXPECT_EQ(loop.at(3, 2), "3");  // surplus values are dropped

    Loop open;
    read_loop(open, "_a", "loop_\n_a\n_b\nK1 1\nK2 'open\r\n");
    EXPECT_EQ(open.status, 1);
    EXPECT_EQ(open.err, "Error: open single quotation mark detected at row 2.\n");
}

namespace {

// An atom loop table read from `text`, and that many zeroed atoms.
struct AtomLoop {
    Loop loop;
    AtomPtr atom;
    explicit AtomLoop(const std::string& text) {
        read_loop(loop, "_atom_site_label", text);
        if (loop.status == 0) atom.reset(quorix_atom_new(loop.rows - 1));
    }
    int read_names() { return quorix_cell_import_cif_read_atom_name(atom.get(), loop.table, loop.rows, loop.cols); }
    int read_types() { return quorix_cell_import_cif_read_atom_type(atom.get(), loop.table, loop.rows, loop.cols); }
    int read_sites() { return quorix_cell_import_cif_read_atom(atom.get(), loop.table, loop.rows, loop.cols); }
};

}  // namespace

TEST(CifAtoms, TypeSymbolsGiveElementAndCharge) {
    AtomLoop loop(
        "loop_\n_atom_site_label\n_atom_site_type_symbol\n"
        "O1 O2-\nLi1 Li1+\nNb1 Nb4.5+\nCl1 Cl-\nMn1 Mn3.5+\nNa1 Na0\nOa1 Oa1\nABCDEFGHIJKLMN Li\n");
    ASSERT_TRUE(loop.atom);
    ASSERT_EQ(loop.read_names(), 0);
    ASSERT_EQ(loop.read_types(), 0);
    const struct {
        const char* type;
        double value;
    } expected[] = {{"O", -2}, {"Li", 1}, {"Nb", 4.5}, {"Cl", 99}, {"Mn", 3.5}, {"Na", 0}, {"Oa", 1}, {"Li", 99}};
    for (int i = 0; i < 8; i++) {
        EXPECT_STREQ(loop.atom.get()[i].type, expected[i].type) << i;
        EXPECT_DOUBLE_EQ(loop.atom.get()[i].value, expected[i].value) << i;
    }
    EXPECT_STREQ(loop.atom.get()[7].name, "ABCDEFGHIJK");  // labels keep 11 characters

}

TEST(CifAtoms, TypeLoopGivesOxidationNumbers) {
    AtomLoop loop("loop_\n_atom_site_label\n_atom_site_type_symbol\nCu1 Cu2+\nO1 O2-\nX1 Xx\n");
    Loop types;
    read_loop(types, "_atom_type_symbol",
              "loop_\n_atom_type_symbol\n_atom_type_oxidation_number\nCu2+ 2.270\nO2- -2.000\nXx ?\n");
    ASSERT_EQ(types.status, 0);
    ASSERT_EQ(quorix_cell_import_cif_read_atom_typeos(loop.atom.get(), loop.loop.table, loop.loop.rows,
                                                      loop.loop.cols, types.table, types.rows, types.cols),
              0);
    EXPECT_DOUBLE_EQ(loop.atom.get()[0].value, 2.27);
    EXPECT_STREQ(loop.atom.get()[1].type, "O");
    EXPECT_DOUBLE_EQ(loop.atom.get()[1].value, -2.0);
    EXPECT_DOUBLE_EQ(loop.atom.get()[2].value, 99.0);

}

TEST(CifAtoms, CoordinatesAndOccupancy) {
    AtomLoop loop(
        "loop_\n_atom_site_label\n_atom_site_fract_x\n_atom_site_fract_y\n_atom_site_fract_z\n"
        "_atom_site_occupancy\nFe1 .2822(1) 0.25 -0.0253 1.0040(16)\n");
    ASSERT_EQ(loop.read_sites(), 0);
    const QUORIX_ATOM& fe = loop.atom.get()[0];
    EXPECT_DOUBLE_EQ(fe.x_f[0], 0.2822);
    EXPECT_DOUBLE_EQ(fe.x_f[2], -0.0253);
    EXPECT_DOUBLE_EQ(fe.occ, 1.004);  // occupancies above 1 are kept

}

TEST(CifOxidation, MixedValenceSitesSplitIntoNeighbouringStates) {
    QUORIX_ATOM* atom = quorix_atom_new(3);
    long total = 3;
    atom[0].value = 2.5;
    atom[0].occ = 1.0;
    atom[1].value = 99.0;
    atom[2].value = -1.95;
    atom[2].occ = 0.8;
    ASSERT_EQ(quorix_atom_fork_os(&atom, &total), 0);
    ASSERT_EQ(total, 4);
    EXPECT_EQ(atom[0].os, 3);
    EXPECT_DOUBLE_EQ(atom[0].occ, 0.5);
    EXPECT_EQ(atom[1].os, 99);
    EXPECT_EQ(atom[2].os, -2);
    EXPECT_DOUBLE_EQ(atom[2].occ, 0.8);
    EXPECT_EQ(atom[3].os, 2);  // the split-off copy comes after all atoms read
    EXPECT_DOUBLE_EQ(atom[3].occ, 0.5);
    for (long i = 0; i < total; i++) EXPECT_EQ(atom[i].value, 0.0);

    // A state of 2.27 with occupancy 1 keeps its mean charge: 0.27 * 3 + 0.73 * 2.
    atom[0].value = 2.27;
    atom[0].occ = 1.0;
    total = 1;
    ASSERT_EQ(quorix_atom_fork_os(&atom, &total), 0);
    EXPECT_NEAR(atom[0].occ * atom[0].os + atom[1].occ * atom[1].os, 2.27, 1e-12);

    quorix_atom_free(atom);
}
