// The CIF reader and writer: data items, loop tables and atom-site fields on rows built in the test,
// whole reads of real files with their dialect quirks, and the layout written.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-write.hpp"
#include "support.hpp"

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


using quorix_test::Rows;

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

namespace {

}  // namespace
