#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-cmd.hpp"

namespace {

using OptPtr = quorix_ptr<QUORIX_CMD_OPT, quorix_cmd_opt_free>;

struct Split {
    std::string dir;
    std::string name;
};

Split split(const char* path) {
    char* dir = nullptr;
    char* name = nullptr;
    quorix_cmd_opt_split_path(&dir, &name, path);
    Split result{dir ? dir : "(null)", name ? name : "(null)"};
    std::free(dir);
    std::free(name);
    return result;
}

// Options built from `args` with the standard streams captured.
OptPtr init_quietly(std::vector<std::string>& args, std::string* err = nullptr) {
    std::vector<char*> argv;
    for (auto& s : args) argv.push_back(s.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    OptPtr opt(quorix_cmd_opt_init(static_cast<int>(argv.size()), argv.data()));
    testing::internal::GetCapturedStdout();
    const std::string captured = testing::internal::GetCapturedStderr();
    if (err) *err = captured;
    if (opt) opt->argv = nullptr;  // the vector of pointers dies here
    return opt;
}

}  // namespace

TEST(CmdDriver, SplitPathAtTheLastSlash) {
    EXPECT_EQ(split("./quorix.x").dir, "./");
    EXPECT_EQ(split("./quorix.x").name, "quorix.x");
    EXPECT_EQ(split("/opt/x/quorix.x").dir, "/opt/x/");
    EXPECT_EQ(split("/opt/x/quorix.x").name, "quorix.x");
    EXPECT_EQ(split("quorix.x").dir, "./");
    EXPECT_EQ(split("quorix.x").name, "quorix.x");
    EXPECT_EQ(split("/opt/x/").name, "");

    char* dir = nullptr;
    quorix_cmd_opt_split_path(&dir, nullptr, "/opt/x/quorix.x");
    EXPECT_STREQ(dir, "/opt/x/");
    std::free(dir);
}

TEST(CmdDriver, ExecutablePathOfAtMost999Characters) {
    std::vector<std::string> accepted = {"/d/" + std::string(996, 'q')};
    const OptPtr opt = init_quietly(accepted);
    ASSERT_NE(opt, nullptr);
    EXPECT_STREQ(opt->path_executable, "/d/");
    EXPECT_STREQ(opt->dir_symcards, "/d/database_symcards.dat");

    std::vector<std::string> refused = {"/d/" + std::string(997, 'q')};
    std::string err;
    EXPECT_EQ(init_quietly(refused, &err), nullptr);
    EXPECT_EQ(err, "Error: executable path too long.\n");
}

TEST(CmdDriver, InlineTextJoinsArgumentsAfterTheLastKeyPhrase) {
    std::vector<std::string> args = {"./quorix.x", "--text-cal-bv", "-:text", "ignored", "-:text", "a", "b",
                                     "-:nl",       "c"};
    std::vector<char*> argv;
    for (auto& s : args) argv.push_back(s.data());
    QUORIX_CMD_OPT opt{};
    opt.argc = static_cast<int>(argv.size());
    opt.argv = argv.data();
    opt.mode_text = args[2].data();
    opt.mode_newline = args[7].data();

    const TextPtr text(quorix_cmd_opt_cat_tail(&opt));
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text->content, " a b\n c");

    // The last argument is never taken as the key phrase.
    opt.argc = 3;
    testing::internal::CaptureStderr();
    EXPECT_EQ(quorix_cmd_opt_cat_tail(&opt), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: text-mode key phrase not found.\n");
}
