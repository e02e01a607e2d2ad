// The command-line driver: version, help, dispatch, usage texts, argument parsing and the
// options record.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "quorix-cmd-args.hpp"
#include "quorix-cmd.hpp"
#include "support.hpp"

using quorix_test::run_quorix;

namespace {

const std::string kUnknown = "Error: arguments not recognized. '-h' for help.\n";

const char kHelp[] =
    "Message: avalable commands are listed.\n"
    "Message: detailed help with each command can be found by typing each command without argument,\n"
    "Message: basic format is: --command-name [compulsory arguments] | {optional arguments}\n"
    "\n"
    "Message:   --help              : display this help.\n"
    "Message:   --print-cell        : print the loaded cell.\n"
    "Message:   --print-ppt         : print the property corresponding to the loaded cell.\n"
    "Message:   --print-sym         : print the symmetry corresponding to the loaded cell.\n"
    "Message:   --print-cube        : print a summary of the loaded cube.\n"
    "\n"
    "Message:   --gen-cif           : write the loaded cell to file in cif format.\n"
    "Message:   --gen-cif-reduced   : write the loaded cell reduced by symmetry to file in cif format.\n"
    "Message:   --gen-cif-p1        : write the loaded cell to file in cif format without symmetry.\n"
    "Message:   --gen-cif-assign    : write the loaded cell to file in cif format with partially occupied sites of "
    "conducting species assigned occupancy = 1.0 randomly.\n"
    "Message:   --gen-cif-assign-all: write the loaded cell to file in cif format with all partially occupied sites "
    "assigned occupancy = 1.0 randomly.\n"
    "Message:   --gen-gin-lib       : generate a forcefield file in .lib format for calculation with software GULP.\n"
    "Message:   --gen-gin           : generate an overall input file in .gin format for performing molecular dynamics "
    "calculaiton with software GULP.\n"
    "Message:   --gen-cube          : calculate the static energy landscape for ionic conduction and write the result "
    "to file in Gaussian cube format.\n"
    "Message:\n"
    "Message:   --cal-bv            : calculate bond valences of the loaded cell.\n"
    "Message:   --cal-gii           : calculate the global instability index of the loaded cell.\n"
    "Message:   --cal-cn            : calculate the coordination number of the specified atom regarding to all "
    "counterions.\n"
    "Message:   --cal-cn-atom       : calculate coordination shell of the specified atom.\n"
    "Message:   --cal-cn-type       : calculates averaged coordination number of the specified pair of ions.\n"
    "Message:   --cal-sym           : calculate symmetry of the loaded cell.\n"
    "Message:   --cal-tot-en        : calculate the total energy of the loaded cell.\n"
    "\n"
    "Message:   --rx-sd             : perform a relaxation of loaded cell with steepest descend algorithm and write "
    "the result to file in cif format.\n"
    "Message:   --rx-neb            : perform a simple nudged elastic bend calculation with input of two end images.\n"
    "Message:   --rx-neb-images     : perform a simple nudged elastic bend calculation with input of a series of "
    "images.\n"
    "Message:   --fft               : perform a fourier transform analysis to determine critical points and "
    "eigenvalues/vectors at these points.\n"
    "Message:   --fft-cubes         : perform a fourier transform analysis and generate cubes corresponding to force, "
    "force constant, laplacian and slope.\n"
    "Message:   --fp-map            : generates a cif file representing conduction path in the given cube file.\n"
    "Message:   --gh                : generates cif files and csv file representing the characteristic conduction "
    "pathway in the given cube file.\n"
    "Message:   --sites             : output a summary of sites based on graph analysis.\n"
    "Message:   --md                : perform a molecular dynamics allowing only conducting ions to move.\n"
    "Message:   --kmc               : conducts a kinetic monte carlo simulation to estimate the ionic conductivity "
    "given the cif and cube files.\n";

// Each command with the arguments that just suffice; one fewer brings its usage text.
const std::vector<std::vector<std::string>> kCommands = {
    {"--print-cell", "a.cif"}, {"--print-ppt", "a.cif"}, {"--print-ppt-full", "a.cif"}, {"--print-sym", "a.cif"},
    {"--print-cube", "a.cube"}, {"--gen-cif", "a.cif"}, {"--gen-cif-reduced", "a.cif"}, {"--gen-cif-p1", "a.cif"},
    {"--gen-cif-os", "a.cif"}, {"--gen-cif-assign", "a.cif", "Li", "1"}, {"--gen-cif-assign-all", "a.cif"},
    {"--gen-gin-lib", "a.cif"}, {"--gen-gin", "a.cif"}, {"--gen-cube", "a.cif", "Li", "1"}, {"--cal-bv", "a.cif"},
    {"--cal-bv-type", "a.cif", "Fe", "2", "O", "-2"}, {"--cal-gii", "a.cif"}, {"--cal-cn", "a.cif", "Fe1"},
    {"--cal-cn-atom", "a.cif", "Fe1", "O", "-2"}, {"--cal-cn-type", "a.cif", "Fe", "2", "O", "-2"},
    {"--cal-cn-bv", "a.cif", "Fe1"}, {"--cal-sym", "a.cif"}, {"--cal-tot-en", "a.cif"}, {"--rx-sd", "a.cif"},
    {"--rx-neb", "a.cif", "b.cif", "5"}, {"--rx-neb-images", "a", "5"}, {"--fft", "a.cube"},
    {"--fft-cubes", "a.cube"}, {"--fp-map", "a.cube"}, {"--gh", "a.cif", "a.cube", "Li", "1"},
    {"--sites", "a.cif", "a.cube", "Li", "1"}, {"--kmc", "a.cif", "a.cube", "Li", "1"}, {"--md", "a.cif", "Li", "1"},
};

}  // namespace

TEST(Driver, VersionHelpAndUnknownCommands) {
    const auto none = run_quorix({});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out.rfind("  Quorix-ver?-cmd\n    --help to list commands available.\n", 0), 0u);
    EXPECT_EQ(run_quorix({"-v"}).out, none.out);
    EXPECT_EQ(run_quorix({"-h"}).out, kHelp);
    EXPECT_EQ(run_quorix({"--help"}).out, kHelp);
    for (const char* unknown : {"-x", "help"}) {
        const auto result = run_quorix({unknown});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, kUnknown);
        EXPECT_EQ(result.err, "");
    }
    const auto sys = run_quorix({"--print-sys"});
    EXPECT_NE(sys.out.find("CMD_OPT: dir_unitary=     " + std::string(QUORIX_DATA_DIR) + "/database_unitary.dat\n"),
              std::string::npos);
}

// Too few arguments print the usage (its first line names the command, examples close it);
// enough arguments do not; a name with a character more is unknown.
TEST(Driver, EveryCommandPrintsItsUsageAndMatchesByWholeName) {
    for (const auto& command : kCommands) {
        SCOPED_TRACE(command[0]);
        const auto usage = run_quorix(std::vector<std::string>(command.begin(), command.end() - 1));
        EXPECT_EQ(usage.status, 0);
        EXPECT_EQ(usage.err, "");
        EXPECT_EQ(usage.out.rfind("Command: " + command[0], 0), 0u) << usage.out;
        EXPECT_NE(usage.out.find("\nExample: ./quorix.x " + command[0].substr(0, 5)), std::string::npos);
        EXPECT_EQ(run_quorix(command).out.rfind("Command: --", 0), std::string::npos);
        EXPECT_EQ(run_quorix({command[0] + "x", "a.cif"}).out, kUnknown);
    }
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"--cal-charge"}, {"--cal-bv-gui"}, {"--text-cal-bv"}, {"--text-gen-gin-lib"},
             {"--text-gen-gin-lib-set-sf", "0.7"}}) {
        const auto result = run_quorix(args);
        EXPECT_EQ(result.out, "") << args[0];
        EXPECT_EQ(result.err, "Error: not enough arguments.\n") << args[0];
    }
}

// Handlers that check their arguments before reading: the named files need not exist.
TEST(Driver, WrongArgumentsStopBeforeAnyFileIsRead) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--gen-cube", "x.cif", "Li", "one"}, "conducting os"},
        {{"--gen-cube", "x.cif", "Li", "1", "auto"}, "screening factor"},
        {{"--gen-cube", "x.cif", "Li", "1", "-1", "fine"}, "resolution"},
        {{"--print-ppt-full", "x.cif", "auto"}, "sf"},
        {{"--cal-bv-type", "x.cif", "Fe", "two", "O", "-2"}, "os1"},
        {{"--cal-bv-type", "x.cif", "Fe", "2", "", "-2"}, "type2"},
        {{"--cal-cn", "x.cif", "Fe1", "small"}, "rds_tiny"},
        {{"--cal-cn-atom", "x.cif", "Fe1", "O", "x"}, "os_c"},
        {{"--cal-sym", "x.cif", "loose"}, "accuracy"},
        {{"--cal-tot-en", "x.cif", "auto"}, "sf"},
        {{"--rx-sd", "x.cif", "100", "ten"}, "step_p"},
        {{"--rx-neb", "a.cif", "b.cif", "many"}, "total number of images"},
        {{"--rx-neb", "a.cif", "b.cif", "5", "0", "0", "t", "0.01", "0.7", "stiff"}, "k"},
        {{"--rx-neb", "a.cif", "b.cif", "5", "0", "0", "t", "0.01", "0.7", "nan"}, "k"},
        {{"--rx-neb-images", "img", "5", "0", "often"}, "step_log"},
        {{"--fft", "x.cube", "high"}, "cap"},
        {{"--fp-map", "x.cube", "high"}, "barrier_max"},
        {{"--gh", "x.cif", "x.cube", "Li", "+"}, "os"},
        {{"--gh", "x.cif", "x.cube", "Li", "2147483648"}, "os"},
        {{"--rx-sd", "x.cif", "99999999999999999999"}, "step_limit"},
        {{"--kmc", "x.cif", "x.cube", "Li", "1", "2", "two"}, "s[1]"},
        {{"--kmc", "x.cif", "x.cube", "Li", "1", "2", "2", "2", "-1", "600", "-1", "-1", "always"}, "step_log"},
        {{"--kmc", "x.cif", "x.cube", "Li", "1", "2", "2", "2", "-1", "inf"}, "temperature"},
        {{"--md", "x.cif", "Li", "1", "0.7", "300", "10", "2", "0.001", ""}, "t_log"},
        {{"--sites", "x.cif", "x.cube", "Li", "1", "-1", "-1", "-1", "t", "yes"}, "periodic"},
        {{"--sites", "x.cif", "x.cube", "Li", "1", "-1", "-1", "-1", "long"}, "print_long"},
    };
    for (const auto& [args, word] : cases) {
        const auto result = run_quorix(args);
        EXPECT_EQ(result.err, "Error: wrong parameter " + word + ".\n") << args[0] << " " << args.back();
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(run_quorix({"--print-ppt-full", "x.cif", "0.5", "Li", "one"}).err, "Error: wrong oxidation state.\n");
    // Accepted: an ignored screening factor, two supercell counts, any word as an NEB flag.
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"--print-ppt-full", "x.cif", "auto", "Li", "1"},
             {"--kmc", "x.cif", "x.cube", "Li", "1", "2", "2"},
             {"--rx-neb-images", "img", "5", "0", "0", "yes"},
             {"--md", "x.cif", "Li", "1", "0.7", "300K"}})
        EXPECT_EQ(run_quorix(args).err.find("Error: wrong"), std::string::npos) << args[0];
}

namespace {

// A command line held for the lifetime of the test, as quorix_cmd_start would see it.
class CommandLine {
public:
    CommandLine(std::initializer_list<std::string> args) : strings_(args) {
        for (auto& s : strings_) pointers_.push_back(s.data());
        opt_.argc = static_cast<int>(pointers_.size());
        opt_.argv = pointers_.data();
    }
    QUORIX_CMD_OPT* opt() { return &opt_; }

private:
    std::vector<std::string> strings_;
    std::vector<char*> pointers_;
    QUORIX_CMD_OPT opt_{};
};

}  // namespace

TEST(Driver, FlagRules) {
    using namespace quorix_cmd;
    CommandLine line{"./quorix.x", "--cmd", "false", "F", "f0", "no", "0", "true", "T", "yes", ""};
    const bool ordinary[] = {false, false, false, true, true, true, true, true, true};
    const bool true_only[] = {false, false, false, false, false, true, true, false, false};
    for (int i = 2; i <= 10; i++) {
        EXPECT_EQ(flag(line.opt(), i, true), ordinary[i - 2]) << line.opt()->argv[i];
        EXPECT_EQ(flag_true_only(line.opt(), i), true_only[i - 2]) << line.opt()->argv[i];
    }
    EXPECT_FALSE(flag(line.opt(), 11, false));  // absent keeps the fallback
    EXPECT_FALSE(flag_true_only(line.opt(), 11));
}
