#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quorix-cmd-args.hpp"

using namespace quorix_cmd;

namespace {

// A command line held for the lifetime of the test, as quorix_cmd_start would see it.
class CommandLine {
public:
    CommandLine(std::initializer_list<std::string> args) : strings_(args) {
        for (auto& s : strings_) pointers_.push_back(s.data());
        opt_.argc = static_cast<int>(pointers_.size());
        opt_.argv = pointers_.data();
    }
    const QUORIX_CMD_OPT* opt() const { return &opt_; }

private:
    std::vector<std::string> strings_;
    std::vector<char*> pointers_;
    QUORIX_CMD_OPT opt_{};
};

}  // namespace

TEST(CmdArgs, OptionalValuesKeepDefaultsWhenAbsentAndMustConvertWhenPresent) {
    const CommandLine line{"./quorix.x", "--cmd", "in.cif", "0.25", "-3", "x", "", "12345678901"};
    double real = -1.0;
    EXPECT_TRUE(parse_double(line.opt(), 3, real, "sf"));
    EXPECT_DOUBLE_EQ(real, 0.25);
    real = -1.0;
    EXPECT_TRUE(parse_double(line.opt(), 8, real, "sf"));  // absent
    EXPECT_DOUBLE_EQ(real, -1.0);

    int os = 0;
    EXPECT_TRUE(parse_int(line.opt(), 4, os, "os"));
    EXPECT_EQ(os, -3);
    long steps = 0;
    EXPECT_TRUE(parse_long(line.opt(), 7, steps, "step_limit"));
    EXPECT_EQ(steps, 12345678901L);

    testing::internal::CaptureStderr();
    EXPECT_FALSE(parse_int(line.opt(), 5, os, "os"));
    EXPECT_FALSE(parse_double(line.opt(), 6, real, "screening factor"));  // an empty argument is no value
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: wrong parameter os.\nError: wrong parameter screening factor.\n");
    EXPECT_EQ(os, -3);
}

TEST(CmdArgs, SymbolsAndNamesAreCutToTheirFields) {
    const CommandLine line{"./quorix.x", "--cmd", "in.cif", "Lithium", "Fe12345678", "O", ""};
    char type[3] = "";
    EXPECT_TRUE(parse_type(line.opt(), 3, type, "type"));
    EXPECT_STREQ(type, "Li");
    char name[8] = "";
    EXPECT_TRUE(parse_name(line.opt(), 4, name, "atom_name"));
    EXPECT_STREQ(name, "Fe12345");

    char taken[3] = "xx";
    take_type(line.opt(), 5, taken);
    EXPECT_STREQ(taken, "O");
    take_type(line.opt(), 9, taken);  // absent: empty, never read past argv
    EXPECT_STREQ(taken, "");

    testing::internal::CaptureStderr();
    EXPECT_FALSE(parse_type(line.opt(), 6, type, "type1"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: wrong parameter type1.\n");
}

TEST(CmdArgs, FlagRules) {
    const CommandLine line{"./quorix.x", "--cmd", "false", "F", "f0", "no", "0", "true", "T", "yes", ""};
    // Ordinary flags are false only for a leading f or F.
    const std::vector<bool> ordinary = {false, false, false, true, true, true, true, true, true};
    for (int i = 2; i <= 10; i++) EXPECT_EQ(flag(line.opt(), i, true), ordinary[i - 2]) << line.opt()->argv[i];
    EXPECT_FALSE(flag(line.opt(), 11, false));  // absent keeps the fallback
    EXPECT_TRUE(flag(line.opt(), 11, true));

    // The inverted rule: true only for a leading t or T; yes stays false.
    const std::vector<bool> true_only = {false, false, false, false, false, true, true, false, false};
    for (int i = 2; i <= 10; i++) EXPECT_EQ(flag_true_only(line.opt(), i), true_only[i - 2]) << line.opt()->argv[i];
    EXPECT_FALSE(flag_true_only(line.opt(), 11));

    // Strict flags accept t/T/f/F only and keep the default when absent.
    bool value = true;
    EXPECT_TRUE(parse_strict_flag(line.opt(), 3, value, "periodic"));
    EXPECT_FALSE(value);
    EXPECT_TRUE(parse_strict_flag(line.opt(), 8, value, "periodic"));
    EXPECT_TRUE(value);
    EXPECT_TRUE(parse_strict_flag(line.opt(), 11, value, "periodic"));
    EXPECT_TRUE(value);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(parse_strict_flag(line.opt(), 5, value, "periodic"));
    EXPECT_FALSE(parse_strict_flag(line.opt(), 10, value, "print_long"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: wrong parameter periodic.\nError: wrong parameter print_long.\n");
}

TEST(CmdArgs, OutputNamesComeFromTheWholeInputCutAtOneThousandCharacters) {
    const CommandLine line{"./quorix.x", "--gen-cif", "dir/Li2O.cif"};
    EXPECT_EQ(output_name(line.opt(), 3, ".cif"), "dir/Li2O.cif.cif");
    EXPECT_EQ(assigned_cell_name(line.opt()), "dir/Li2O_assigned.cif");

    const CommandLine given{"./quorix.x", "--gen-cif", "Li2O.cif", "out.cif"};
    EXPECT_EQ(output_name(given.opt(), 3, ".cif"), "out.cif");

    const std::string long_input(1200, 'a');
    const CommandLine longer{"./quorix.x", "--gen-cube", long_input};
    EXPECT_EQ(output_name(longer.opt(), 9, ".cube"), std::string(1000, 'a') + ".cube");
    EXPECT_EQ(assigned_cell_name(longer.opt()), std::string(996, 'a') + "_assigned.cif");

    // Names of three characters or fewer keep all of them.
    const CommandLine shortest{"./quorix.x", "--gen-cube", "abc"};
    EXPECT_EQ(assigned_cell_name(shortest.opt()), "abc_assigned.cif");
    const CommandLine four{"./quorix.x", "--gen-cube", "abcd"};
    EXPECT_EQ(assigned_cell_name(four.opt()), "_assigned.cif");
}
