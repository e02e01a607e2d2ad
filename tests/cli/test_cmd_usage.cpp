// Dispatch and usage texts of every command.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "cli.hpp"

using quorix_test::run_quorix;

namespace {

const std::string kUnknown = "Error: arguments not recognized. '-h' for help.\n";

struct UsageCase {
    std::string command;
    // Arguments after the command that just suffice (argc one above the minimum); one fewer
    // brings the usage text.
    std::vector<std::string> enough;
    std::string first_line;
    // Lines the help must contain, in this order.
    std::vector<std::string> quoted;
};

// Help lines that print their defaults through a format.
const std::string kFConv =
    "Command: {f_conv}: force convergence criterion. If set to non-positive, default value is used. Default 0.005000.";
const std::vector<std::string> kNebDefaults = {
    "Command: {step_log}: the number of steps between which log files are updated. A negative integer turns off "
    "logging. Set to 0 to use the default value. Default 50.",
    kFConv,
    "Command: {k} the spring constant. Set to non-positive to use the default. Default 0.500000.",
};

const std::vector<UsageCase>& usage_cases() {
    static const std::vector<UsageCase> cases = {
        {"--print-cell", {"a.cif"}, "Command: --print-cell [input.cif].", {}},
        {"--print-ppt", {"a.cif"}, "Command: --print-ppt [input.cif] | {screening factor}.", {}},
        {"--print-ppt-full",
         {"a.cif"},
         "Command: --print-ppt-full: [input.cif] | {screening factor} {conducting ion type} {conducting ion os}.",
         {"Command: reserved for debugging purpose"}},
        {"--print-sym", {"a.cif"}, "Command: --print-sym [input.cif]", {}},
        {"--print-cube", {"a.cube"}, "Command: --print-cube [input.cube] | {flag:periodic}", {}},
        {"--gen-cif", {"a.cif"}, "Command: --gen-cif [input.cif] | {output_name}.", {}},
        {"--gen-cif-reduced", {"a.cif"}, "Command: --gen-cif-reduced [input.cif] | {output_name}", {}},
        {"--gen-cif-p1", {"a.cif"}, "Command: --gen-cif-p1 [input.cif] | {output_name}", {}},
        {"--gen-cif-assign",
         {"a.cif", "Li", "1"},
         "Command: --gen-cif-assign [input.cif] [type] [os] | {output_name}",
         {}},
        {"--gen-cif-assign-all", {"a.cif"}, "Command: --gen-cif-assign-all [input.cif] | {output_name}", {}},
        {"--gen-gin-lib", {"a.cif"}, "Command: --gen-gin-lib [input.cif] | {sf} {output_name}", {}},
        {"--gen-gin", {"a.cif"}, "Command: --gen-gin [input.cif] | {sf} {output_name}", {}},
        {"--gen-cube",
         {"a.cif", "Li", "1"},
         "Command: --gen-cube [input.cif] [type] [os] | {sf} {resolution} {flag:ignore_conducting_ion} "
         "{flag:periodic} {output_name}",
         {"Example: ./quorix.x --gen-cube Li2O.cif Li 1",
          "Example: ./quorix.x --gen-cube Li2O.cif Li 1 0.71 0.05 f t"}},
        {"--cal-bv", {"a.cif"}, "Command: --cal-bv [intput.cif]", {}},
        {"--cal-bv-type",
         {"a.cif", "Fe", "2", "O", "-2"},
         "Command: --cal-bv-type [intput.cif] [type1] [os1] [type2] [os2]",
         {}},
        {"--cal-gii", {"a.cif"}, "Command: --cal-gii [input.cif]", {}},
        {"--cal-cn", {"a.cif", "Fe1"}, "Command: --cal-cn [input.cif] {atom_name} | {rds_cutoff}", {}},
        {"--cal-cn-atom",
         {"a.cif", "Fe1", "O", "-2"},
         "Command: --cal-cn-atom [input.cif] {atom_name} {type_c} {os_c} | {rds_cutoff}",
         {}},
        {"--cal-cn-type",
         {"a.cif", "Fe", "2", "O", "-2"},
         "Command: --cal-cn-type [input.cif] {type} {os} {type_c} {os_c} | {rds_cutoff}",
         {}},
        {"--cal-cn-bv", {"a.cif", "Fe1"}, "Command: --cal-cn-bv [input.cif] {atom_name}", {}},
        {"--cal-sym", {"a.cif"}, "Command: --cal-sym [input.cif] | {tolerance}", {}},
        {"--cal-tot-en", {"a.cif"}, "Command: --cal-tot-en [input.cif] | {sf}", {}},
        {"--rx-sd",
         {"a.cif"},
         "Command: --rx-sd [input.cif] | {step_limit} {step_p} {f_conv} {p_conv} {sf} {output_name}",
         {kFConv,
          "Command: {p_conv}: pressure convergence criterion. If set to non-positive, default value is used. Default "
          "0.001000."}},
        {"--rx-neb",
         {"a.cif", "b.cif", "5"},
         "Command: --rx-neb [input1.cif] [input2.cif] [n] | {step_limit} {step_log} {flag:relax} {f_conv} {sf} {k} "
         "{output_name}",
         kNebDefaults},
        {"--rx-neb-images",
         {"a", "5"},
         "Command: --rx-neb-images [input_name] [n] | {step_limit} {step_log} {flag:relax} {f_conv} {sf} {k} "
         "{output_name}",
         kNebDefaults},
        {"--fft", {"a.cube"}, "Command: --fft [input.cube] | {cap} {flag:periodic} {output_name}", {}},
        {"--fft-cubes", {"a.cube"}, "Command: --fft-cubes [input.cube] | {flag:periodic} {output_name}", {}},
        {"--fp-map", {"a.cube"}, "Command: --fp-map [input.cube] | {barrier_max} {flag:periodic} {output_name}", {}},
        {"--gh",
         {"a.cif", "a.cube", "Li", "1"},
         "Command: --gh [input.cif] [input.cube] [type] [os] | {barrier_max} {flag:periodic}",
         {}},
        {"--sites",
         {"a.cif", "a.cube", "Li", "1"},
         "Command: --sites [input.cif] [input.cube] {type} {os} | {de} {dr} {barrier_max} {flag:print_long} "
         "{flag:periodic}",
         {}},
        {"--kmc",
         {"a.cif", "a.cube", "Li", "1"},
         "Command: --kmc [input.cif] [input.cube] {type} {os} | {s0 s1 s2} {sf} {temperature} {t_limit} {step_limit} "
         "{step_log} {cutoff}",
         {"Command: {t_limit}: in picosecond. Negative number to use default value; set to 0.0 to turn off limiting "
          "by time. Default: 0 ps.",
          "Command: {step_limit}: limiting number of steps. Negative or larger than {step_limit} means using the "
          "default. Default: 10000.",
          "Command: {step_log}: the number of steps result is logged. Negative number to use default value; set to 0 "
          "to turn off limiting by step. If both step_limit and t_limit are set to zero, default values are used for "
          "both. Default: 10000000.",
          "Command: {cutoff}: the cutoff radius within which the coulomb repulsion is considered. If set to "
          "non-positive value, default value is used. Default: 5.000"}},
        {"--md",
         {"a.cif", "Li", "1"},
         "Command: --md [input.cif] {type} {os} | {sf} {temperature} {t_end} {t_equil} {dt} {t_log}",
         {"Command: {temperature}: temperature in K. Set to non-positive to use the default value. Default 300.",
          "Command: {t_end}: time of production in ps. Set to non-positive to use the default value. Default 10.000.",
          "Command: {t_equil}: time of equilibration in ps. Set to non-positive to use the default value. Default "
          "2.000.",
          "Command: {dt}: time step in ps. Set to non-positive to use the default value. Default 0.001.",
          "Command: {t_log}: time interval of sampling in ps. Set to non-positive to sample every 100 steps."}},
    };
    return cases;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// True when `wanted` occur among `lines` in the same order.
bool contains_in_order(const std::vector<std::string>& lines, const std::vector<std::string>& wanted) {
    size_t next = 0;
    for (const auto& line : lines)
        if (next < wanted.size() && line == wanted[next]) next++;
    return next == wanted.size();
}

// First line, an empty line, the lines that explain the arguments, then examples calling ./quorix.x
// on one of the documented example structures.
void expect_usage_layout(const UsageCase& c, const std::string& out) {
    const auto lines = lines_of(out);
    ASSERT_GE(lines.size(), 4u) << out;
    EXPECT_EQ(lines[0], c.first_line);
    EXPECT_EQ(lines[1], "");
    EXPECT_EQ(out.back(), '\n');
    size_t i = 2;
    for (; i < lines.size() && lines[i].rfind("Command: ", 0) == 0; i++) {}
    EXPECT_GT(i, 2u) << "no Command: line\n" << out;
    bool example_structure = false;
    const size_t first_example = i;
    for (; i < lines.size(); i++) {
        const auto& line = lines[i];
        const bool continued = line.rfind("         ", 0) == 0 && i > first_example;
        if (!continued) {
            ASSERT_EQ(line.rfind("Example: ./quorix.x --", 0), 0u) << line;
        }
        for (const char* structure : {"Li2O.", "Li6PS5Cl.", "LiFePO4."})
            example_structure = example_structure || line.find(structure) != std::string::npos;
    }
    EXPECT_GT(lines.size(), first_example) << "no Example: line\n" << out;
    EXPECT_TRUE(example_structure) << out;
}

}  // namespace

TEST(CmdUsage, EveryCommandPrintsItsUsageWhenArgumentsAreMissing) {
    for (const auto& c : usage_cases()) {
        SCOPED_TRACE(c.command);
        std::vector<std::string> too_few = {c.command};
        too_few.insert(too_few.end(), c.enough.begin(), c.enough.end() - 1);
        const auto result = run_quorix(too_few);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        expect_usage_layout(c, result.out);
        EXPECT_TRUE(contains_in_order(lines_of(result.out), c.quoted)) << result.out;

        std::vector<std::string> enough = {c.command};
        enough.insert(enough.end(), c.enough.begin(), c.enough.end());
        const auto run = run_quorix(enough);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out.find(c.first_line), std::string::npos) << run.out;
        EXPECT_EQ(run.err.find("Error: wrong"), std::string::npos) << run.err;
    }
}

TEST(CmdUsage, CalBvTypeHelpIsExact) {
    EXPECT_EQ(run_quorix({"--cal-bv-type", "a.cif", "Fe", "2", "O"}).out,
              "Command: --cal-bv-type [intput.cif] [type1] [os1] [type2] [os2]\n\n"
              "Command: {type1}: type of the cation.\n"
              "Command: {os1}: oxidation state of the cation.\n"
              "Command: {type2}: type of the anion.\n"
              "Command: {os2}: oxidation state of the anion.\n"
              "Command: calculates and prints bond valence sums for the specified ion type pair.\n"
              "Example: ./quorix.x --cal-bv LiFePO4.cif Fe 2 O -2\n");
}

TEST(CmdUsage, CommandsWithoutUsageTextReportMissingArguments) {
    for (const auto& args : std::vector<std::vector<std::string>>{{"--cal-charge"},
                                                                   {"--cal-bv-gui"},
                                                                   {"--text-cal-bv"},
                                                                   {"--text-gen-gin-lib"},
                                                                   {"--text-gen-gin-lib-set-sf", "0.7"}}) {
        SCOPED_TRACE(args[0]);
        const auto result = run_quorix(args);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "Error: not enough arguments.\n");
    }
}

TEST(CmdUsage, CommandNamesMatchExactly) {
    std::vector<std::string> names = {"--cal-charge", "--cal-bv-gui", "--text-cal-bv", "--text-gen-gin-lib",
                                      "--text-gen-gin-lib-set-sf"};
    for (const auto& c : usage_cases()) names.push_back(c.command);
    for (const auto& name : names) {
        SCOPED_TRACE(name);
        EXPECT_NE(run_quorix({name}).out, kUnknown);
        EXPECT_EQ(run_quorix({name + "x", "a.cif"}).out, kUnknown);
    }
}
