// Inputs that are not regular files, and result files that cannot be written: one error line,
// and never a truncated result or an input written over.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "cli.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

const std::string kLi2O = "Li2O_COD9009059_occupancy.cif";

// Runs quorix.x in `cwd` with files limited to `limit` bytes and SIGXFSZ ignored, so that a write
// past the limit fails as on a full disk; returns its standard error.
std::string run_with_file_limit(const std::vector<std::string>& args, const std::filesystem::path& cwd, rlim_t limit) {
    const std::string err_path = (cwd / "stderr").string();
    std::vector<std::string> strings{QUORIX_EXE};
    strings.insert(strings.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& s : strings) argv.push_back(s.data());
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        const int null = open("/dev/null", O_WRONLY);
        const rlimit cap{limit, limit};
        if (err < 0 || null < 0 || chdir(cwd.c_str()) != 0 || dup2(null, 1) < 0 || dup2(err, 2) < 0 ||
            setrlimit(RLIMIT_FSIZE, &cap) != 0 || signal(SIGXFSZ, SIG_IGN) == SIG_ERR)
            _exit(127);
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const std::string err = read_file(err_path);
    std::filesystem::remove(err_path);
    return err;
}

std::vector<std::string> files_in(const std::filesystem::path& dir) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) names.push_back(entry.path().filename());
    return names;
}

}  // namespace

TEST(ResultFiles, InputThatIsNotARegularFileIsRefused) {
    ScratchDir dir;
    std::filesystem::create_directory(dir.path() / "d.cif");
    EXPECT_EQ(run_quorix({"--print-cell", "d.cif"}, dir.path()).err,
              "Error: d.cif is not a regular file.\nError: quorix_text_import_from_file() returns NULL.\n"
              "Error: quorix_cell_import_cif_from_file() returns non-zero.\n");
}

// A write that fails midway (the file size limit) or cannot start (a directory that is a file)
// leaves nothing behind; an output named like the input is refused and the input kept.
TEST(ResultFiles, NoPartialResultAndNoInputOverwritten) {
    ScratchDir dir;
    dir.copy_in(kLi2O);
    const std::string input = read_file(dir.path() / kLi2O);
    for (const auto& args : std::vector<std::vector<std::string>>{{"--gen-cif", kLi2O, "out.cif"},
                                                                    {"--gen-cube", kLi2O, "Li", "1", "0.7", "0.5"}}) {
        const std::string err = run_with_file_limit(args, dir.path(), 512);
        EXPECT_EQ(err.substr(0, err.find('\n')).rfind("Error: unable to write file ", 0), 0u) << err;
        EXPECT_EQ(files_in(dir.path()), std::vector<std::string>{kLi2O}) << args[0];
    }
    const auto unwritable = run_quorix({"--gen-cif", kLi2O, kLi2O + "/out.cif"}, dir.path());
    EXPECT_EQ(unwritable.err.substr(0, unwritable.err.find('\n')), "Error: unable to open " + kLi2O + "/out.cif.");
    const auto over_input = run_quorix({"--gen-cif", kLi2O, "./" + kLi2O}, dir.path());
    EXPECT_EQ(over_input.err.substr(0, over_input.err.find('\n')),
              "Error: ./" + kLi2O + " is an input of this run and is not overwritten.");
    EXPECT_TRUE(read_file(dir.path() / kLi2O) == input);
    EXPECT_EQ(files_in(dir.path()), std::vector<std::string>{kLi2O});
}
