// --md on real structures: the printed results, the four result files and the structures read
// back by an independent xyz reader; bad input ends in error lines with every file left as it was.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

long count(const std::string& text, const std::string& part) {
    long n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) n++;
    return n;
}

bool ase_available() { return std::system("/usr/bin/python3 -c 'import ase' 2>/dev/null") == 0; }

// "frames atoms-per-frame" of an xyz file as ASE reads it.
std::string ase_frames(const std::string& xyz) {
    const std::string out = xyz + ".ase";
    const std::string script = "from ase.io import read; f = read('" + xyz +
                               "', index=':', format='xyz'); print(len(f), len(f[0]), end='')";
    std::system(("/usr/bin/python3 -c \"" + script + "\" > " + out).c_str());
    return read_file(out);
}

}  // namespace

TEST(MdCommand, RealStructures) {
    const struct {
        const char* cif;
        long atoms;
        long lithium;
    } structures[] = {{"Li2O_COD9009059_occupancy.cif", 12, 8},
                      {"Li7La3Zr2O12_tetragonal_P1_pymatgen.cif", 192, 56},
                      {"LiFePO4_COD4001848_oxidation.cif", 28, 4}};
    const bool ase = ase_available();
    for (const auto& s : structures) {
        ScratchDir dir;
        const std::string cif = dir.copy_in(s.cif).string();
        const auto result = run_quorix({"--md", cif, "Li", "1", "-1", "600", "0.02", "0.01", "0.001", "0.01"});
        EXPECT_EQ(result.status, 0) << s.cif;
        EXPECT_EQ(result.err, "") << s.cif;
        for (const char* line : {"MD: displacement = ", "MD: diffusivity = ", "MD: mobility = ", "MD: conductivity = ",
                                 "Message: observables saved to ", "Message: structures saved to "})
            EXPECT_EQ(count(result.out, line), 1) << line;
        EXPECT_EQ(count(result.out, "MD: progress: --------------------+\n"), 1);
        EXPECT_EQ(count(result.out, "MD: progress: --------------------*\n"), 1);

        const std::string log = read_file(cif + ".md.txt");
        EXPECT_EQ(count(log, "\r\n"), 3) << "header and two samples";
        EXPECT_NE(log.find("\r\n20, 0.020000, "), std::string::npos);
        const std::string trj = read_file(cif + ".md.trj");
        EXPECT_EQ(trj.substr(0, 12), "t, d_ave, d_");
        EXPECT_EQ(count(trj, "\n"), 3);
        EXPECT_EQ(count(trj.substr(0, trj.find('\n')), "d_"), s.lithium + 1);
        EXPECT_EQ(count(read_file(cif + ".md.xyz"), "\n"), 2 * (s.atoms + 2));
        EXPECT_GT(count(read_file(cif + ".md.cif"), "\r\n"), s.atoms);
        if (ase) {
            EXPECT_EQ(ase_frames(cif + ".md.xyz"), "2 " + std::to_string(s.atoms)) << s.cif;
        }
    }
    // A run shorter than one sampling interval has no mean temperature for its mobility: it says so.
    ScratchDir dir;
    const std::string li2o = dir.copy_in("Li2O_COD9009059_occupancy.cif").string();
    const auto unsampled = run_quorix({"--md", li2o, "Li", "1", "-1", "600", "0.02", "0.01", "0.001", "0.1"});
    EXPECT_NE(unsampled.err.find("took no sample"), std::string::npos) << unsampled.err;
    if (!ase) GTEST_SKIP() << "python3-ase is not installed: the xyz files were not read back";
}

TEST(MdCommand, BadInputLeavesFilesAlone) {
    const std::string kFailed = "Error: quorix_md_conduction_from_file() returns negative value.\n";
    ScratchDir dir;
    const std::string salt = dir.copy_in("NaCl_COD9008678_occupancy.cif").string();
    auto result = run_quorix({"--md", salt, "Li", "1"});
    EXPECT_EQ(result.err,
              "Error: the structure holds no Li1+ ions.\nError: quorix_property_set_conducting() returns non-zero.\n" +
                  kFailed);

    std::string half = read_file(quorix_test::test_data("Li2O_COD9009059_occupancy.cif"));
    half.replace(half.find("Li 0.25000 0.25000 0.25000 1.0"), 30, "Li 0.25000 0.25000 0.25000 0.5");
    const std::string partial = dir.write("half.cif", half).string();
    result = run_quorix({"--md", partial, "Li", "1"});
    EXPECT_EQ(result.err,
              "Error: the Li1+ sites are partially occupied; molecular dynamics needs them full.\n" + kFailed);

    const std::string cif = dir.copy_in("Li2O_COD9009059_occupancy.cif").string();
    result = run_quorix({"--md", cif, "Li", "1", "-1", "300", "1e300"});
    EXPECT_EQ(result.err.substr(0, result.err.find('\n')),
              "Error: a run of 1e+300 ps in steps of 0.001 ps takes more than 1e+12 steps.");
    result = run_quorix({"--md-std", cif, "Li", "1", "-1", "300", "2", "0.5", "0.5"});  // 0.5 ps steps blow up
    EXPECT_NE(result.err.find(" ps; the time step is too long.\n"), std::string::npos) << result.err;
    dir.write("Li2O_COD9009059_occupancy.cif.md.txt", "earlier run\n");
    std::filesystem::create_directory(cif + ".md.trj");
    result = run_quorix({"--md", cif, "Li", "1"});
    EXPECT_EQ(result.err, "Error: unable to write to " + cif + ".md.trj.\n" + kFailed);
    EXPECT_EQ(read_file(cif + ".md.txt"), "earlier run\n");
    EXPECT_FALSE(std::filesystem::exists(cif + ".md.xyz"));
    EXPECT_EQ(read_file(cif), read_file(quorix_test::test_data("Li2O_COD9009059_occupancy.cif")));
    for (const std::string& input : {salt, partial})
        EXPECT_FALSE(std::filesystem::exists(input + ".md.txt")) << input;
}
