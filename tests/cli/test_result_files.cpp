// Inputs that are not regular files, and result files that cannot be written: one error line,
// and never a truncated result or an input written over.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>

#include "support.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

const std::string kLi2O = "Li2O_COD9009059_occupancy.cif";

// Runs quorix.x in `cwd` in a shell that sets the file size limit (setrlimit) to 512 bytes and
// ignores SIGXFSZ, so that a write past it fails as on a full disk; returns its standard error.
std::string run_with_file_limit(const std::string& args, const std::filesystem::path& cwd) {
    const std::string err = (cwd / "stderr").string();
    EXPECT_EQ(std::system(("cd " + cwd.string() + " && trap '' XFSZ && ulimit -f 1 && " QUORIX_EXE " " + args +
                           " > /dev/null 2> " + err)
                              .c_str()),
              0);
    const std::string text = read_file(err);
    std::filesystem::remove(err);
    return text;
}

}  // namespace

// An input that is not a regular file is refused. A write that fails midway (the file size
// limit) or cannot start (a directory that is a file) leaves nothing behind; an output named
// like the input is refused and the input kept.
TEST(ResultFiles, UnreadableInputsAndUnwritableResults) {
    ScratchDir dir;
    std::filesystem::create_directory(dir.path() / "d.cif");
    EXPECT_EQ(run_quorix({"--print-cell", "d.cif"}, dir.path()).err,
              "Error: d.cif is not a regular file.\nError: quorix_text_import_from_file() returns NULL.\n"
              "Error: quorix_cell_import_cif_from_file() returns non-zero.\n");
    std::filesystem::remove(dir.path() / "d.cif");
    // A pipe nobody writes to is refused at once, not waited for.
    const std::string fifo = (dir.path() / "p.cif").string(), err = (dir.path() / "err").string();
    const std::string run = "mkfifo " + fifo + " && timeout 20 " QUORIX_EXE " --print-cell " + fifo;
    ASSERT_EQ(std::system((run + " > /dev/null 2> " + err).c_str()), 0);
    EXPECT_EQ(read_file(err).substr(0, read_file(err).find('\n')), "Error: " + fifo + " is not a regular file.");
    std::filesystem::remove(fifo), std::filesystem::remove(err);
    dir.copy_in(kLi2O);
    const std::string input = read_file(dir.path() / kLi2O);
    auto only_the_input = [&] { return std::distance(std::filesystem::directory_iterator(dir.path()), {}) == 1; };
    for (const std::string& args : {"--gen-cif " + kLi2O + " out.cif", "--gen-cube " + kLi2O + " Li 1 0.7 0.5"}) {
        const std::string err = run_with_file_limit(args, dir.path());
        EXPECT_EQ(err.rfind("Error: unable to write file ", 0), 0u) << err;
        EXPECT_TRUE(only_the_input()) << args;
    }
    const auto unwritable = run_quorix({"--gen-cif", kLi2O, kLi2O + "/out.cif"}, dir.path());
    EXPECT_EQ(unwritable.err.substr(0, unwritable.err.find('\n')), "Error: unable to open " + kLi2O + "/out.cif.");
    const auto over_input = run_quorix({"--gen-cif", kLi2O, "./" + kLi2O}, dir.path());
    EXPECT_EQ(over_input.err.substr(0, over_input.err.find('\n')),
              "Error: ./" + kLi2O + " is an input of this run and is not overwritten.");
    EXPECT_TRUE(read_file(dir.path() / kLi2O) == input);
    EXPECT_TRUE(only_the_input());
}
