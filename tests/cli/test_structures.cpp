// The structure commands on every real CIF of tests/data: atoms of the full cell, the
// space group found, the CIF written and read back, and the files refused by design.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <ostream>
#include <map>
#include <string>

#include "support.hpp"
#include "quorix-import-atom.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

struct Structure {
    const char* file;
    long atoms;  // atoms of the full cell; 0 for a file the reader refuses
    int group;   // space group found by --cal-sym
    int sg_id;   // number of the symmetry read with the cell (0 from an operation loop)
};

constexpr Structure refused(const char* file) { return {file, 0, 0, 0}; }

// Atom counts are the label sites of the full cell (each label's orbit counted apart), except
// YBa2Cu3O6.9: its three Cu sites with state 2.27 each split into Cu3+ and Cu2+ (13 + 3).
// Groups are those of spglib, except Lepidolite (C 1 2/m 1, 12): the search keeps the last
// fitting setting of the database, and P 1 21/a 1 (14), a subgroup in the same cell, comes later.
// Files without an _atom_site_occupancy column are refused.
const Structure kStructures[] = {
    {"Ag7PSe6_argyrodite_COD2003005.cif", 56, 198, 0},
    {"Ag7PSe6_argyrodite_COD2003005_hall_only.cif", 56, 198, 198},
    {"Al2O3_corundum_COD1010914.cif", 10, 167, 0},
    refused("CaF2_fluorite_COD9009005.cif"),
    refused("CdSe_cadmoselite_COD9008863.cif"),
    {"CsSnCl3_In_COD4003024.cif", 6, 221, 0},
    {"Cu2O_cuprite_COD1010941.cif", 6, 224, 0},
    {"DyBO3_triclinic_COD2014429.cif", 20, 2, 0},
    refused("Fe3O4_magnetite_COD9007644.cif"),
    {"K2SO4_alpha_COD1000049.cif", 22, 194, 0},
    {"KAlF4_monoclinic_COD1000208.cif", 24, 11, 0},
    {"La2CuO4_COD1008572.cif", 28, 64, 0},
    {"Lepidolite_Li_mica_AMCSD0015659.cif", 64, 14, 0},
    refused("Li2CO3_zabuyelite_COD9008283.cif"),
    refused("Li2O_COD9009059.cif"),
    {"Li7La3Zr2O12_tetragonal_P1_pymatgen.cif", 192, 142, 0},
    {"LiCl_COD1011314.cif", 8, 225, 0},
    {"LiCoO2_VESTA.cif", 12, 166, 0},
    {"LiFePO4_COD4001848.cif", 28, 62, 0},
    {"LiFePO4_COD4001848_hm_only.cif", 28, 62, 62},
    refused("LiNbO3_COD2101182.cif"),
    {"MgI2_COD2013551.cif", 3, 164, 0},
    {"MgI2_COD2013551_number_only.cif", 3, 164, 164},
    {"Na0.8CoO2_VESTA.cif", 10, 194, 0},
    refused("NaCl_COD9008678.cif"),
    refused("SrTiO3_tausonite_COD9006864.cif"),
    refused("TiO2_rutile_COD9009083.cif"),
    {"YBa2Cu3O6.9_COD1000030.cif", 16, 47, 0},
    refused("ZnS_sphalerite_COD9000107.cif"),
};

void PrintTo(const Structure& s, std::ostream* os) { *os << s.file; }

const char kRefused[] =
    "Error: invalid keywords.\n"
    "Error: quorix_cell_import_cif_read_atom() returns non-zero.\n"
    "Error: quorix_cell_import_cif_from_text() returns NULL.\n"
    "Error: quorix_cell_import_cif_from_file() returns non-zero.\n";

// Value of the first output line starting with `prefix`, up to the end of that line.
std::string line_value(const std::string& out, const std::string& prefix) {
    const size_t at = out.find(prefix);
    if (at == std::string::npos) return "(missing)";
    const size_t begin = at + prefix.size();
    return out.substr(begin, out.find('\n', begin) - begin);
}

// Space-group numbers by the Hermann-Mauguin symbol of each setting, from the symcards database.
std::map<std::string, int> group_numbers() {
    std::map<std::string, int> numbers;
    std::ifstream in(quorix_test::symcards_db());
    std::string line;
    while (std::getline(in, line) && line.find("DATA_START") == std::string::npos) {
    }
    while (std::getline(in, line) && line.find("DATA_END") == std::string::npos) {
        if (line.find('#') == std::string::npos) continue;
        std::string number, hall, hm;
        std::getline(in, number);
        std::getline(in, hall);
        std::getline(in, hm);
        const size_t open = hm.find('\'');  // the setting's own symbol is the first quoted one
        const size_t close = open == std::string::npos ? open : hm.find('\'', open + 1);
        if (close != std::string::npos) numbers.emplace(hm.substr(open + 1, close - open - 1), std::stoi(number));
    }
    return numbers;
}

// Test name from a file name: letters and digits kept, the rest turned into '_'.
std::string test_name(std::string file) {
    file = file.substr(0, file.size() - 4);
    for (char& c : file)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return file;
}

class Structures : public testing::TestWithParam<Structure> {};

void expect_atom_count(const Structure& s) {
    const auto result = run_quorix({"--print-cell", quorix_test::test_data(s.file).string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(line_value(result.out, "CELL: total atom: "), std::to_string(s.atoms));
}

void expect_groups(const Structure& s) {
    const auto printed = run_quorix({"--print-sym", quorix_test::test_data(s.file).string()});
    EXPECT_EQ(line_value(printed.out, "SYMMETRY: International Table ID: "), std::to_string(s.sg_id));

    const auto found = run_quorix({"--cal-sym", quorix_test::test_data(s.file).string()});
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(found.err, "");
    const std::string symbol = line_value(found.out, "Message: determined space group: ");
    const auto numbers = group_numbers();
    const auto number = numbers.find(symbol);
    ASSERT_NE(number, numbers.end()) << symbol;
    EXPECT_EQ(number->second, s.group) << symbol;
}

// --gen-cif writes input.cif.cif, which reads back to the same atoms as the input.
void expect_round_trip(const Structure& s) {
    ScratchDir dir;
    const auto input = dir.copy_in(s.file);
    const auto result = run_quorix({"--gen-cif", input.string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const auto original = quorix_test::read_cif(input.string());
    const auto written = quorix_test::read_cif(input.string() + ".cif");
    ASSERT_TRUE(original.cell);
    ASSERT_TRUE(written.cell);
    ASSERT_EQ(written.cell->total, original.cell->total);
    for (long i = 0; i < original.cell->total; i++)
        EXPECT_TRUE(quorix_atom_belong(original.cell->atom[i], written.cell->atom, written.cell->total))
            << original.cell->atom[i].name;
}

void expect_refused(const Structure& s) {
    const auto result = run_quorix({"--print-cell", quorix_test::test_data(s.file).string()});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, kRefused);
    EXPECT_EQ(result.out.find("CELL:"), std::string::npos);
}

}  // namespace

TEST_P(Structures, CountGroupAndRoundTripOrRefusal) {
    const Structure& s = GetParam();
    if (s.atoms == 0) {
        expect_refused(s);
        return;
    }
    expect_atom_count(s);
    expect_groups(s);
    expect_round_trip(s);
}

INSTANTIATE_TEST_SUITE_P(RealFiles, Structures, testing::ValuesIn(kStructures),
                         [](const auto& info) { return test_name(info.param.file); });
