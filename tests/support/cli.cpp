#include "cli.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace quorix_test {

namespace fs = std::filesystem;

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

CliResult run_quorix(const std::vector<std::string>& args, const fs::path& cwd) {
    ScratchDir capture;
    const std::string out_path = (capture.path() / "stdout").string();
    const std::string err_path = (capture.path() / "stderr").string();

    std::vector<std::string> argv_strings{QUORIX_EXE};
    argv_strings.insert(argv_strings.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& s : argv_strings) argv.push_back(s.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (!cwd.empty()) posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) throw std::runtime_error("cannot start " + argv_strings[0]);

    int wait_status = 0;
    waitpid(pid, &wait_status, 0);
    CliResult result;
    result.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
    result.out = read_file(out_path);
    result.err = read_file(err_path);
    return result;
}

fs::path test_data(const std::string& name) { return fs::path(QUORIX_TEST_DATA) / name; }

std::string unitary_db() { return std::string(QUORIX_DATA_DIR) + "/database_unitary.dat"; }
std::string binary_db() { return std::string(QUORIX_DATA_DIR) + "/database_binary.dat"; }
std::string symcards_db() { return std::string(QUORIX_DATA_DIR) + "/database_symcards.dat"; }

ScratchDir::ScratchDir() {
    std::string pattern = (fs::temp_directory_path() / "quorix-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create a scratch directory");
    path_ = pattern;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

fs::path ScratchDir::copy_in(const std::string& data_name) {
    const fs::path target = path_ / fs::path(data_name).filename();
    fs::copy_file(test_data(data_name), target, fs::copy_options::overwrite_existing);
    return target;
}

fs::path ScratchDir::write(const std::string& name, const std::string& content) {
    const fs::path target = path_ / name;
    std::ofstream(target, std::ios::binary) << content;
    return target;
}

}  // namespace quorix_test
