#include <gtest/gtest.h>

#include <algorithm>

#include "cli.hpp"

using quorix_test::run_quorix;

TEST(Driver, VersionHelpAndUnknownCommands) {
    const auto none = run_quorix({});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out.rfind("  Quorix-ver?-cmd\n    --help to list commands available.\n", 0), 0u);
    EXPECT_EQ(run_quorix({"-v"}).out, none.out);

    const auto help = run_quorix({"-h"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("Message: avalable commands are listed.\n", 0), 0u);
    EXPECT_NE(help.out.find("\nMessage:\nMessage:   --cal-bv            : calculate bond valences"), std::string::npos);
    const std::string last = "conductivity given the cif and cube files.\n";
    EXPECT_EQ(help.out.substr(help.out.size() - last.size()), last);
    EXPECT_EQ(std::count(help.out.begin(), help.out.end(), '\n'), 37);

    for (const char* unknown : {"--gen-cifx", "-x", "help"}) {
        const auto result = run_quorix({unknown});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, "Error: arguments not recognized. '-h' for help.\n");
        EXPECT_EQ(result.err, "");
    }
}

TEST(Driver, PrintSysShowsDatabasePathsBesideTheExecutable) {
    const auto result = run_quorix({"--print-sys"});
    const std::string dir = QUORIX_DATA_DIR;
    EXPECT_NE(result.out.find("CMD_OPT: dir_unitary=     " + dir + "/database_unitary.dat\n"), std::string::npos);
    EXPECT_NE(result.out.find("CMD_OPT: mode_text=   \"-:text\"\n"), std::string::npos);
}
