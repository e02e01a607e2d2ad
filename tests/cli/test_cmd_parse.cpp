// Argument errors of the handlers that check their arguments before reading any file: the
// named files need not exist, since a failed parse stops the command first.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli.hpp"

using quorix_test::run_quorix;

namespace {

struct ParseCase {
    std::vector<std::string> args;
    std::string err;
};

}  // namespace

TEST(CmdParse, WrongArgumentsStopBeforeAnyFileIsRead) {
    const std::vector<ParseCase> cases = {
        {{"--gen-cube", "x.cif", "Li", "one"}, "Error: wrong parameter conducting os.\n"},
        {{"--gen-cube", "x.cif", "Li", "1", "auto"}, "Error: wrong parameter screening factor.\n"},
        {{"--gen-cube", "x.cif", "Li", "1", "-1", "fine"}, "Error: wrong parameter resolution.\n"},
        {{"--print-ppt-full", "x.cif", "auto"}, "Error: wrong parameter sf.\n"},
        {{"--print-ppt-full", "x.cif", "0.5", "Li", "one"}, "Error: wrong oxidation state.\n"},
        {{"--cal-bv-type", "x.cif", "Fe", "two", "O", "-2"}, "Error: wrong parameter os1.\n"},
        {{"--cal-bv-type", "x.cif", "Fe", "2", "", "-2"}, "Error: wrong parameter type2.\n"},
        {{"--cal-bv-type", "x.cif", "Fe", "2", "O", "minus"}, "Error: wrong parameter os2.\n"},
        {{"--cal-cn", "x.cif", "Fe1", "small"}, "Error: wrong parameter rds_tiny.\n"},
        {{"--cal-cn-atom", "x.cif", "Fe1", "O", "x"}, "Error: wrong parameter os_c.\n"},
        {{"--cal-cn-type", "x.cif", "Fe", "x", "O", "-2"}, "Error: wrong parameter os.\n"},
        {{"--cal-sym", "x.cif", "loose"}, "Error: wrong parameter accuracy.\n"},
        {{"--cal-tot-en", "x.cif", "auto"}, "Error: wrong parameter sf.\n"},
        {{"--rx-sd", "x.cif", "100", "ten"}, "Error: wrong parameter step_p.\n"},
        {{"--rx-neb", "a.cif", "b.cif", "many"}, "Error: wrong parameter total number of images.\n"},
        {{"--rx-neb", "a.cif", "b.cif", "5", "0", "0", "t", "0.01", "0.7", "stiff"}, "Error: wrong parameter k.\n"},
        {{"--rx-neb-images", "img", "5", "0", "often"}, "Error: wrong parameter step_log.\n"},
        {{"--fft", "x.cube", "high"}, "Error: wrong parameter cap.\n"},
        {{"--fp-map", "x.cube", "high"}, "Error: wrong parameter barrier_max.\n"},
        {{"--gh", "x.cif", "x.cube", "Li", "+"}, "Error: wrong parameter os.\n"},
        {{"--kmc", "x.cif", "x.cube", "Li", "1", "2", "two"}, "Error: wrong parameter s[1].\n"},
        {{"--kmc", "x.cif", "x.cube", "Li", "1", "2", "2", "z"}, "Error: wrong parameter s[2].\n"},
        {{"--kmc", "x.cif", "x.cube", "Li", "1", "2", "2", "2", "-1", "600", "-1", "-1", "always"},
         "Error: wrong parameter step_log.\n"},
        {{"--md", "x.cif", "Li", "1", "0.7", "hot"}, "Error: wrong parameter temperature.\n"},
        {{"--md", "x.cif", "Li", "1", "0.7", "300", "10", "2", "0.001", ""}, "Error: wrong parameter t_log.\n"},
        {{"--sites", "x.cif", "x.cube", "Li", "1", "-1", "-1", "-1", "t", "yes"}, "Error: wrong parameter periodic.\n"},
        {{"--sites", "x.cif", "x.cube", "Li", "1", "-1", "-1", "-1", "long"}, "Error: wrong parameter print_long.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args[0] + " " + c.args.back());
        const auto result = run_quorix(c.args);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, c.err);
        EXPECT_EQ(result.out, "");
    }
}

TEST(CmdParse, AcceptedArgumentsRaiseNoParseError) {
    const std::vector<std::vector<std::string>> cases = {
        // Values that convert, including a trailing remainder that scanf leaves unread.
        {"--gen-cube", "x.cif", "Li", "1", "0.7", "0", "f", "t", "out.cube"},
        // With a conducting ion given, the screening factor argument is not read at all.
        {"--print-ppt-full", "x.cif", "auto", "Li", "1"},
        // Two supercell counts: the third stays at its default.
        {"--kmc", "x.cif", "x.cube", "Li", "1", "2", "2"},
        {"--sites", "x.cif", "x.cube", "Li", "1", "-1", "-1", "-1", "F", "T"},
        // The relax flag of either NEB command takes any word.
        {"--rx-neb", "a.cif", "b.cif", "5", "0", "0", "yes"},
        {"--rx-neb-images", "img", "5", "0", "0", "yes"},
        {"--md", "x.cif", "Li", "1", "0.7", "300K"},
    };
    for (const auto& args : cases) {
        SCOPED_TRACE(args[0]);
        const auto result = run_quorix(args);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err.find("Error: wrong"), std::string::npos) << result.err;
    }
}
