// Test support: running quorix.x, capturing output, scratch directories, cells and CIF reads.
#include "support.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "quorix-import-atom.hpp"
#include "quorix-import-cif.hpp"

extern char** environ;

namespace quorix_test {

namespace fs = std::filesystem;

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

Output run_quorix(const std::vector<std::string>& args, const fs::path& cwd) {
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
    Output result;
    result.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
    result.out = read_file(out_path);
    result.err = read_file(err_path);
    return result;
}

Capture::Capture() {
    std::fflush(stdout);
    std::fflush(stderr);
    for (int s = 0; s < 2; s++) {
        files_[s] = std::tmpfile();
        if (!files_[s]) throw std::runtime_error("cannot create a capture file");
        saved_[s] = dup(s + 1);
        dup2(fileno(files_[s]), s + 1);
    }
}

const Output& Capture::finish() {
    if (!files_[0]) return printed_;
    std::fflush(stdout);
    std::fflush(stderr);
    std::string* texts[2] = {&printed_.out, &printed_.err};
    for (int s = 0; s < 2; s++) {
        dup2(saved_[s], s + 1);
        close(saved_[s]);
        std::rewind(files_[s]);
        char buffer[4096];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, files_[s])) > 0;) texts[s]->append(buffer, n);
        std::fclose(files_[s]);
        files_[s] = nullptr;
    }
    printed_.status = 0;
    return printed_;
}

Capture::~Capture() { finish(); }

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

CifRead read_cif(const std::string& path) {
    const std::string file = path.find('/') == std::string::npos ? test_data(path).string() : path;
    CifRead r;
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    Capture capture;
    r.status = quorix_cell_import_cif_from_file(&cell, &symmetry, file.c_str(), symcards_db().c_str(),
                                                unitary_db().c_str());
    const Output printed = capture.finish();
    r.out = printed.out;
    r.err = printed.err;
    if (r.status == 0) {
        r.cell.reset(cell);
        r.symmetry.reset(symmetry);
    }
    return r;
}

QUORIX_ATOM make_atom(const char* name, const char* type, int os, double x, double y, double z, double occ) {
    QUORIX_ATOM atom{};
    quorix_copy_bounded(atom.name, name, sizeof(atom.name));
    quorix_copy_bounded(atom.type, type, sizeof(atom.type));
    atom.os = os;
    atom.x_f[0] = x;
    atom.x_f[1] = y;
    atom.x_f[2] = z;
    atom.occ = occ;
    return atom;
}

CellPtr make_cell(double a, double b, double c, const std::vector<Site>& sites, double alpha, double beta,
                  double gamma) {
    CellPtr cell(quorix_cell_new(static_cast<long>(sites.size())));
    const double edges[3] = {a, b, c}, angles[3] = {alpha, beta, gamma};
    for (int k = 0; k < 3; k++) {
        cell->parameter[k] = edges[k];
        cell->angle[k] = angles[k];
    }
    for (size_t i = 0; i < sites.size(); i++) {
        const Site& s = sites[i];
        const std::string name = *s.name ? s.name : s.type + std::to_string(i + 1);
        cell->atom[i] = make_atom(name.c_str(), s.type, s.os, s.x, s.y, s.z, s.occ);
    }
    quorix_cell_update_cartesion(cell.get());
    if (alpha == 90 && beta == 90 && gamma == 90) {
        for (int k = 0; k < 3; k++)
            for (int l = 0; l < 3; l++) cell->a[k][l] = k == l ? edges[k] : 0.0;
        quorix_cell_update_coordinate_cartesion(cell.get());
    }
    return cell;
}

Rows::Rows(const std::string& text) {
    for (size_t start = 0;;) {
        const size_t end = text.find('\n', start);
        lines_.push_back(text.substr(start, end - start));
        if (end == std::string::npos) break;
        start = end + 1;
    }
    for (auto& line : lines_) pointers_.push_back(line.data());
}

double wave(long i, long n, int m) { return std::cos(6.283185307179586 * m * i / n); }

}  // namespace quorix_test
