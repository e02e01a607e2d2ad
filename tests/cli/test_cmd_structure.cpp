// The structure commands end to end on real CIF files, and the order in which handlers read
// the structure and check their arguments.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

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

TEST(CmdStructure, ChargeSumsOxidationStatesWeightedByOccupancy) {
    ScratchDir dir;
    dir.copy_in("KAlF4_monoclinic_COD1000208.cif");
    dir.copy_in("YBa2Cu3O6.9_COD1000030.cif");
    const auto neutral = run_quorix({"--cal-charge", "KAlF4_monoclinic_COD1000208.cif"}, dir.path());
    EXPECT_EQ(neutral.status, 0);
    EXPECT_TRUE(ends_with(neutral.out, "\nTotal charge per unit cell: 0.000\n")) << neutral.out;

    // Y3+ + 2 Ba2+ + 3 Cu of mean valence 2.27 + 6.91 O2- (the chain site O1 at 0.910): -0.010.
    const auto ybco = run_quorix({"--cal-charge", "YBa2Cu3O6.9_COD1000030.cif"}, dir.path());
    EXPECT_TRUE(ends_with(ybco.out, "\nTotal charge per unit cell: -0.010\n")) << ybco.out;

    const auto missing = run_quorix({"--cal-charge", "missing.cif"}, dir.path());
    EXPECT_EQ(missing.status, 0);
    EXPECT_TRUE(ends_with(missing.err, kReadFailed)) << missing.err;
    EXPECT_EQ(missing.out.find("Total charge"), std::string::npos);
}

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

TEST(CmdStructure, InlineStructureNeedsItsKeyPhrase) {
    const auto missing = run_quorix({"--text-cal-bv", "data_x", "_cell_length_a", "5"});
    EXPECT_EQ(missing.status, 0);
    EXPECT_EQ(missing.err, "Error: text-mode key phrase not found.\nError: quorix_cmd_opt_cat_tail() returns NULL.\n");

    const auto broken = run_quorix({"--text-cal-bv", "-:text", "data_x", "-:nl", "_cell_length_a", "5"});
    EXPECT_EQ(broken.status, 0);
    EXPECT_TRUE(ends_with(broken.err, "Error: quorix_cell_import_cif_from_text() returns non-zero.\n")) << broken.err;

    // The screening factor comes first on the command line but is checked after the structure.
    const auto sf = run_quorix({"--text-gen-gin-lib-set-sf", "auto", "-:text", "data_x"});
    EXPECT_EQ(sf.err.find("wrong parameter sf"), std::string::npos) << sf.err;
}
