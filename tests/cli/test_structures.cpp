// The structure commands on the real CIFs of tests/data: atoms of the full cell, the space group
// found, the CIF written and read back, the files refused by design, malformed input, charges and
// random assignment of partial occupancies.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "quorix-import-atom.hpp"
#include "support.hpp"

using quorix_test::run_quorix;
using quorix_test::ScratchDir;
using quorix_test::read_file;

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
        {"an occupancy of 2", replace(olivine(), "4 1.000(15) d", "4 2.000(15) d"),
         "Error: atom Li1 has an occupancy of 2.\n" + kFromText + kFromFile},
        {"an angle out of range, whose cosine some angle in range has",
         replace(olivine(), "_cell_angle_alpha                90", "_cell_angle_alpha -90"),
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

namespace {

const std::string kReadFailed = "Error: quorix_cell_import_cif_from_file() returns non-zero.\n";

bool ends_with(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// Number of atoms --print-cell lists for `cif` in `dir`.
int atoms_listed(const ScratchDir& dir, const std::string& cif) {
    const auto result = run_quorix({"--print-cell", cif}, dir.path());
    EXPECT_EQ(result.err, "") << cif;
    int count = 0;
    for (size_t at = result.out.find("CELL: ["); at != std::string::npos; at = result.out.find("CELL: [", at + 1))
        count++;
    return count;
}

}  // namespace

TEST(CmdStructure, CifWritersNameTheirOutputsAndChooseTheirSymmetry) {
    ScratchDir dir;
    const std::string cif = "LiFePO4_COD4001848.cif";
    dir.copy_in(cif);
    for (const char* command : {"--gen-cif", "--gen-cif-reduced", "--gen-cif-p1"})
        EXPECT_EQ(run_quorix({command, cif}, dir.path()).err, "") << command;
    run_quorix({"--gen-cif", cif, "named.cif"}, dir.path());

    // Olivine: 28 atoms in the cell, 6 symmetry-distinct sites. Written with P1, the reduced
    // file holds only those 6; the full cell survives both the rewrite and the P1 form.
    EXPECT_EQ(atoms_listed(dir, cif), 28);
    EXPECT_EQ(atoms_listed(dir, cif + ".cif"), 28);
    EXPECT_EQ(atoms_listed(dir, "named.cif"), 28);
    EXPECT_EQ(atoms_listed(dir, cif + ".p1.cif"), 28);
    EXPECT_EQ(atoms_listed(dir, cif + ".reduced.cif"), 6);
    EXPECT_EQ(read_file(dir.path() / "named.cif"), read_file(dir.path() / (cif + ".cif")));

    const auto missing = run_quorix({"--gen-cif", "missing.cif"}, dir.path());
    EXPECT_TRUE(ends_with(missing.err, kReadFailed)) << missing.err;
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "missing.cif.cif"));
}

namespace {

struct Species {
    double occupancy = 0.0;
    long atoms = 0;
};
using Composition = std::map<std::string, Species>;

CellPtr read_cell(const std::string& path) { return std::move(quorix_test::read_cif(path).cell); }

Composition composition(const QUORIX_CELL* cell) {
    Composition species;
    for (long i = 0; i < cell->total; i++) {
        Species& s = species[std::string(cell->atom[i].type) + std::to_string(cell->atom[i].os)];
        s.occupancy += cell->atom[i].occ;
        s.atoms++;
    }
    return species;
}

// A sum within 0.01 of a whole number stands for that number; any other may round either way.
// With `only` given, just that species is checked.
void expect_whole_atoms(const Composition& before, const Composition& after, const std::string& only = "") {
    for (const auto& [name, species] : before) {
        if (!only.empty() && name != only) continue;
        const auto found = after.find(name);
        const long atoms = found == after.end() ? 0 : found->second.atoms;
        if (found != after.end()) {
            EXPECT_EQ(found->second.occupancy, atoms) << name << ": partial atoms left";
        }
        EXPECT_GE(atoms, std::ceil(species.occupancy - 1.01)) << name;
        EXPECT_LE(atoms, std::floor(species.occupancy + 1.01)) << name;
        if (std::fabs(species.occupancy - std::round(species.occupancy)) < 0.01) {
            EXPECT_EQ(atoms, std::lround(species.occupancy)) << name;
        }
    }
}

void expect_ordered(QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++) {
        EXPECT_EQ(cell->atom[i].occ, 1.0) << cell->atom[i].name;
        for (long j = i + 1; j < cell->total; j++)
            EXPECT_GE(quorix_cell_min_distance_btw_atoms(cell, &cell->atom[i], &cell->atom[j]), 0.3);
    }
}

// Each file with one species whose sites are partial, and whether they are shared with another
// species (in the In-doped CsSnCl3, In shares its site with Sn; in YBa2Cu3O6.9 the mixed-valence
// Cu splits into Cu2+ and Cu3+ on the same sites). --gen-cif-assign decides shared sites only.
const struct {
    const char* file;
    const char* type;
    const char* os;
    bool shared;
} kPartial[] = {{"Na0.8CoO2_VESTA.cif", "Na", "1", false},
                {"YBa2Cu3O6.9_COD1000030.cif", "Cu", "2", true},
                {"K2SO4_alpha_COD1000049.cif", "O", "-2", false},
                {"CsSnCl3_In_COD4003024.cif", "In", "3", true}};

}  // namespace

TEST(AssignCommands, WrittenCellsHoldWholeAtomsOnly) {
    for (const auto& structure : kPartial) {
        ScratchDir dir;
        const std::string input = dir.copy_in(structure.file).string();
        const CellPtr source = read_cell(input);
        ASSERT_TRUE(source);
        const auto all = run_quorix({"--gen-cif-assign-all", input});
        EXPECT_EQ(all.err, "") << structure.file;
        const CellPtr assigned = read_cell(input + ".assign.cif");
        ASSERT_TRUE(assigned) << structure.file;
        expect_ordered(assigned.get());
        expect_whole_atoms(composition(source.get()), composition(assigned.get()));

        const std::string one = (dir.path() / "one.cif").string();
        const auto species = run_quorix({"--gen-cif-assign", input, structure.type, structure.os, one});
        EXPECT_EQ(species.err, "") << structure.file;
        const CellPtr assigned_one = read_cell(one);
        ASSERT_TRUE(assigned_one) << structure.file;
        const std::string name = std::string(structure.type) + structure.os;
        if (structure.shared)
            expect_whole_atoms(composition(source.get()), composition(assigned_one.get()), name);
        else
            EXPECT_EQ(composition(assigned_one.get())[name].atoms, composition(source.get())[name].atoms) << name;
    }
}
