// Oxidation states by bond valence (--gen-cif-os) on structures that give none, and the
// written CIF read back by the other commands.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

// The type loop of a CIF written by the program, without line ends.
std::string type_loop(const std::string& cif) {
    const size_t start = cif.find("  _atom_type_oxidation_number\r\n");
    const size_t end = cif.find("\r\n\r\n", start);
    std::string loop = cif.substr(start, end - start);
    for (size_t at; (at = loop.find('\r')) != std::string::npos;) loop.erase(at, 1);
    return loop;
}

TEST(OsCommands, StatesOfStructuresWithoutThem) {
    ScratchDir dir;
    const struct {
        const char* cif;
        const char* types;
    } cases[] = {
        {"LiFePO4_COD4001848.cif", "Fe2+     2\n  Li1+     1\n  O2-     -2\n  P5+     5"},  // not the default Fe 3+
        {"NaCl_COD9008678_occupancy.cif", "Cl1-     -1\n  Na1+     1"},
        {"TiO2_rutile_COD9009083_occupancy.cif", "O2-     -2\n  Ti4+     4"},
        {"Li2O_COD9009059_occupancy.cif", "Li1+     1\n  O2-     -2"},
        {"Cu2O_cuprite_COD1010941.cif", "Cu1+     1\n  O2-     -2"},  // 1+ is not among copper's common states
        {"CsSnCl3_In_COD4003024.cif", "Cl1-     -1\n  Cs1+     1\n  In3+     3\n  Sn2+     2"},  // default Sn 4+
    };
    for (const auto& c : cases) {
        dir.copy_in(c.cif);
        const auto result = run_quorix({"--gen-cif-os", c.cif}, dir.path());
        EXPECT_EQ(result.err, "") << c.cif;
        const std::string written = read_file(dir.path() / (std::string(c.cif) + ".os.cif"));
        EXPECT_EQ(type_loop(written), std::string("  _atom_type_oxidation_number\n  ") + c.types) << c.cif;
    }
    // Olivine with Fe 2+: tools/check_bvs.py finds 0.053 for the written file.
    const auto olivine = run_quorix({"--cal-gii", "LiFePO4_COD4001848.cif.os.cif"}, dir.path());
    EXPECT_NE(olivine.out.find("GII: Global instability index = 0.053"), std::string::npos) << olivine.out;

    run_quorix({"--gen-cif-os", "NaCl_COD9008678_occupancy.cif", "named.cif"}, dir.path());
    EXPECT_TRUE(std::filesystem::exists(dir.path() / "named.cif"));
}

// Magnetite is an inverse spinel: Fe 3+ on the tetrahedral site, Fe 2+ and Fe 3+ sharing the
// octahedral one. tools/check_bvs.py finds 0.195 for the written file.
TEST(OsCommands, MixedValenceOfMagnetite) {
    ScratchDir dir;
    const std::string cif = "Fe3O4_magnetite_COD9007644_occupancy.cif";
    dir.copy_in(cif);
    const auto result = run_quorix({"--gen-cif-os", cif}, dir.path());
    EXPECT_NE(result.out.find("OS: oxidation states by bond valence, mixed valence of one element\n"),
              std::string::npos);
    const std::string written = read_file(dir.path() / (cif + ".os.cif"));
    EXPECT_NE(written.find("  FeT  Fe3+  0.125  0.125  0.125  1.000\r\n"), std::string::npos) << written;
    EXPECT_NE(written.find("  FeM  Fe2+  0.500  0.500  0.500  0.500\r\n  FeMb  Fe3+  0.500  0.500  0.500  0.500\r\n"),
              std::string::npos)
        << written;
    const auto gii = run_quorix({"--cal-gii", cif + ".os.cif"}, dir.path());
    EXPECT_NE(gii.out.find("GII: Global instability index = 0.19"), std::string::npos) << gii.out;
}

TEST(OsCommands, UsageAndUnreadableInput) {
    ScratchDir dir;
    const auto usage = run_quorix({"--gen-cif-os"}, dir.path());
    EXPECT_EQ(usage.out.substr(0, usage.out.find('\n') + 2), "Command: --gen-cif-os [input.cif] | {output_name}\n\n");
    const auto missing = run_quorix({"--gen-cif-os", "missing.cif"}, dir.path());
    EXPECT_NE(missing.err.find("Error: quorix_cell_import_cif_from_file() returns non-zero.\n"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "missing.cif.os.cif"));
}

}  // namespace
