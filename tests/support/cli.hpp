// Running quorix.x from tests: captured output, exit status and scratch directories.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorix_test {

struct CliResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the built executable with `args` in directory `cwd` (the current directory when empty).
CliResult run_quorix(const std::vector<std::string>& args, const std::filesystem::path& cwd = {});

// Path of a file in tests/data.
std::filesystem::path test_data(const std::string& name);

// Database files beside the built executable.
std::string unitary_db();
std::string binary_db();
std::string symcards_db();

std::string read_file(const std::filesystem::path& path);

// A fresh directory removed at the end of the test; inputs are copied in because
// the program writes its results beside them.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path copy_in(const std::string& data_name);
    std::filesystem::path write(const std::string& name, const std::string& content);

private:
    std::filesystem::path path_;
};

}  // namespace quorix_test
