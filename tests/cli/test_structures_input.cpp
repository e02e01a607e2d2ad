// Malformed and odd structure files on the command line: clean error lines, exit status 0,
// and no crash or leak under the sanitizers.
#include <gtest/gtest.h>

#include <string>

#include "support.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

const std::string kFromText = "Error: quorix_cell_import_cif_from_text() returns NULL.\n";
const std::string kFromFile = "Error: quorix_cell_import_cif_from_file() returns non-zero.\n";
const std::string kNoAtomLoop = "Error: unable to find compulsory keyword '_atom_site_label' in cif file.\n";
const std::string kNoSymmetry = "Error: quorix_symmetry_import_from_array_char_2D() returns NULL.\n";

std::string olivine() { return quorix_test::read_file(quorix_test::test_data("LiFePO4_COD4001848.cif")); }

std::string replace(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    if (at != std::string::npos) text.replace(at, from.size(), to);
    return text;
}

std::string cut_before(const std::string& text, const std::string& marker) { return text.substr(0, text.find(marker)); }

const char kFirstAtom[] = "Fe1 Fe 0.282201(11) 0.25 0.97474(3) Uani 0.00667(3) 4 1.0040(16) d";

}  // namespace

TEST(StructureInput, MalformedFilesGiveErrorLines) {
    const char garbage[] = "\x7f" "ELF\x02\x01\x01\0\0\0\xff\xfe'\n\0loop_\n\x80_atom_site_label\n\x9b";
    const struct {
        const char* what;
        std::string content;
        std::string err;
    } cases[] = {
        {"binary garbage", std::string(garbage, sizeof(garbage) - 1), kNoSymmetry + kFromText + kFromFile},
        {"no atom loop", cut_before(olivine(), "loop_\n_atom_site_label"), kNoAtomLoop + kFromText + kFromFile},
        {"truncated in an atom row", cut_before(olivine(), " 0.97474(3) Uani"),
         "Error: unable to read occupancy.\nError: quorix_cell_import_cif_read_atom() returns non-zero.\n" +
             kFromText + kFromFile},
        {"unbalanced quote", replace(olivine(), "P1 P 0.094860(19)", "P1 'P 0.094860(19)"),
         "Error: open single quotation mark detected at row 2.\n" + kNoAtomLoop + kFromText + kFromFile},
        {"non-numeric coordinate", replace(olivine(), "0.25 0.97474(3)", "0.25 O.97474"),
         "Error: unable to read fractional z.\nError: quorix_cell_import_cif_read_atom() returns non-zero.\n" +
             kFromText + kFromFile},
        {"angles that close no cell",
         replace(replace(olivine(), "_cell_angle_alpha                90", "_cell_angle_alpha 0"),
                 "_cell_angle_beta                 90", "_cell_angle_beta 180"),
         "Error: the cell parameters describe no cell.\n" + kFromText + kFromFile},
    };
    for (const auto& c : cases) {
        ScratchDir dir;
        const auto result = run_quorix({"--print-cell", dir.write("input.cif", c.content).string()});
        EXPECT_EQ(result.status, 0) << c.what;
        EXPECT_EQ(result.err, c.err) << c.what;
    }

    ScratchDir dir;
    const auto empty = run_quorix({"--print-cell", dir.write("empty.cif", "").string()});
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.err, "Error: failed to read content of " + (dir.path() / "empty.cif").string() +
                             "\nError: quorix_text_import_from_file() returns NULL.\n" + kFromFile);
    const std::string missing = (dir.path() / "missing.cif").string();
    const auto absent = run_quorix({"--print-cell", missing});
    EXPECT_EQ(absent.status, 0);
    EXPECT_EQ(absent.err,
              "Error: unable to open " + missing + "\nError: quorix_text_import_from_file() returns NULL.\n" + kFromFile);
}

TEST(StructureInput, OddButReadableFiles) {
    // Surplus values on a row are dropped, a label of 14 characters keeps 11, and a loop_ on
    // the very last line is ignored.
    std::string text = replace(olivine(), kFirstAtom, std::string("Fe1234567890ab") + (kFirstAtom + 3) + " 7 8 9");
    text += "loop_";
    ScratchDir dir;
    const auto result = run_quorix({"--print-cell", dir.write("odd.cif", text).string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("CELL: total atom: 28\n"), std::string::npos);
    EXPECT_NE(result.out.find("name=Fe123456789;type=Fe;"), std::string::npos);
}
