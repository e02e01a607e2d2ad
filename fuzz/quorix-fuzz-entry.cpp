// Fuzz entry points: each writes its input where the reader expects it and runs the reader.
#include "quorix-fuzz-entry.hpp"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-cmd.hpp"
#include "quorix-cube.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-symmetry.hpp"

namespace fs = std::filesystem;

namespace quorix_fuzz {
namespace {

// The scratch directory and the files it holds after set_up.
struct Scratch {
    fs::path dir;
    std::string unitary, binary, symcards;
    std::set<fs::path> kept;
};

Scratch& scratch() {
    static Scratch instance;
    return instance;
}

std::string in_scratch(const char* name) { return (scratch().dir / name).string(); }

// Writes the input to a scratch file and returns its path.
std::string write_input(const char* name, const uint8_t* data, size_t size) {
    const std::string path = in_scratch(name);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data), std::streamsize(size));
    return path;
}

// Removes what a command wrote into the scratch directory, so that runs stay independent.
void remove_outputs() {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(scratch().dir, ignored))
        if (!scratch().kept.contains(entry.path())) fs::remove_all(entry.path(), ignored);
}

}  // namespace

void set_up(const std::string& data_dir, const std::string& structure_cif) {
    Scratch& s = scratch();
    if (!s.dir.empty()) return;
    std::string pattern = (fs::temp_directory_path() / "quorix-fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
        std::perror("mkdtemp");
        std::abort();
    }
    s.dir = pattern;
    for (const char* name : {"database_unitary.dat", "database_binary.dat", "database_symcards.dat"})
        fs::copy_file(fs::path(data_dir) / name, s.dir / name);
    fs::copy_file(structure_cif, s.dir / "s.cif");
    // A coarse landscape of the structure, "s.cube", as input of the cube commands.
    const std::string executable = in_scratch("quorix.x"), input = in_scratch("s.cif"), output = in_scratch("s.cube");
    const char* gen_cube[] = {executable.c_str(), "--gen-cube", input.c_str(), "Li", "1", "0", "1.0", "t", "t",
                              output.c_str(), nullptr};
    quorix_cmd_start(10, const_cast<char**>(gen_cube));
    for (const fs::directory_entry& entry : fs::directory_iterator(s.dir)) s.kept.insert(entry.path());
    s.unitary = in_scratch("database_unitary.dat");
    s.binary = in_scratch("database_binary.dat");
    s.symcards = in_scratch("database_symcards.dat");
    // Removed at exit, also when a fuzzer stops the process through exit().
    std::atexit([] {
        std::error_code ignored;
        fs::remove_all(scratch().dir, ignored);
    });
}

void cif(const uint8_t* data, size_t size) {
    const std::string path = write_input("in.cif", data, size);
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    if (quorix_cell_import_cif_from_file(&cell, &symmetry, path.c_str(), scratch().symcards.c_str(),
                                         scratch().unitary.c_str()) == 0) {
        quorix_cell_free(cell);
        quorix_symmetry_free(symmetry);
    }
}

void cube(const uint8_t* data, size_t size) {
    const std::string path = write_input("in.cube", data, size);
    for (int once : {0, 1}) {
        QUORIX_CUBE* result = nullptr;
        QUORIX_CELL* cell = nullptr;
        if (quorix_cube_import_from_file(&result, &cell, path.c_str(), once, scratch().unitary.c_str()) == 0) {
            quorix_cube_free(result);
            quorix_cell_free(cell);
        }
    }
}

void symcards(const uint8_t* data, size_t size) {
    const std::string path = write_input("symcards.dat", data, size);
    const char* table = path.c_str();
    for (const char* hm : {"P 1", "P m -3 m", "F m -3 m", "R -3 c :H"})
        quorix_symmetry_free(quorix_symmetry_import_by_keyword_HM(hm, table));
    quorix_symmetry_free(quorix_symmetry_import_by_keyword_Hall("-P 4 2 3", table));
    quorix_symmetry_free(quorix_symmetry_import_by_keyword_id("225", table));
    for (int no : {-1, 0, 1, 2, 530, 531}) quorix_symmetry_free(quorix_symmetry_import_by_internal_no(no, table));
}

void parameters(const uint8_t* data, size_t size) {
    const std::string path = write_input("parameters.dat", data, size);
    const char* file = path.c_str();
    QUORIX_PROPERTY_UNITARY unitary{};
    quorix_property_unitary_read_from_file(&unitary, "Li", 1, file);
    quorix_property_unitary_read_from_file(&unitary, "O", -2, file);
    QUORIX_PROPERTY_BINARY binary{};
    quorix_property_binary_read_from_file(&binary, "Li", 1, "O", -2, file);
    quorix_property_binary_read_from_file(&binary, "Na", 1, "Cl", -1, file);
    quorix_property_binary_estimate_from_file(&binary, file);
    for (int index : {-1, 0, 3, 7, 8}) quorix_property_hardness_read_from_file("Li", index, file);
    QUORIX_ATOM probe{};
    quorix_property_type_from_atomic_number(3, &probe, file);
    AtomPtr atoms(quorix_atom_new(2));
    if (!atoms) return;
    std::snprintf(atoms.get()[0].type, sizeof atoms.get()[0].type, "Li");
    std::snprintf(atoms.get()[1].type, sizeof atoms.get()[1].type, "O");
    atoms.get()[0].os = atoms.get()[1].os = 99;
    quorix_atom_update_default_os(atoms.get(), 2, file);
    // A whole parameter set of a structure read from the file.
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    if (quorix_cell_import_cif_from_file(&cell, &symmetry, in_scratch("s.cif").c_str(), scratch().symcards.c_str(),
                                         scratch().unitary.c_str()) != 0)
        return;
    quorix_property_free(quorix_property_import_from_cell(cell, "Li", 1, 1.0, file, file));
    quorix_cell_free(cell);
    quorix_symmetry_free(symmetry);
}

// The input is a command index byte followed by arguments separated by zero bytes or newlines.
// A '/' in an argument becomes '_', so every path stays inside the scratch directory, the
// current directory of the run.
void command(const uint8_t* data, size_t size) {
    static const char* const kCommands[] = {
        "--version", "--help", "--print-sys", "--print-cell", "--print-ppt", "--print-ppt-full", "--print-sym",
        "--print-cube", "--gen-cif", "--gen-cif-reduced", "--gen-cif-p1", "--gen-cif-assign",
        "--gen-cif-assign-all", "--gen-gin-lib", "--gen-gin", "--gen-cube", "--cal-charge", "--cal-bv",
        "--cal-bv-gui", "--cal-bv-type", "--cal-gii", "--cal-cn", "--cal-cn-atom", "--cal-cn-type",
        "--cal-cn-bv", "--cal-sym", "--cal-tot-en", "--rx-sd", "--rx-neb", "--rx-neb-images", "--fft",
        "--fft-cubes", "--fp-map", "--gh", "--kmc", "--sites", "--md", "--text-cal-bv", "--text-gen-gin-lib",
        "--text-gen-gin-lib-set-sf", "--gen-cif-os", "-v", "-h", "--gen-cif-std",
        "--cal-sym-std", "--md-std", "--gen-lammps"};
    if (size == 0) return;
    std::vector<std::string> words{in_scratch("quorix.x")};
    const size_t count = sizeof kCommands / sizeof kCommands[0];
    if (data[0] < count) words.emplace_back(kCommands[data[0]]);
    std::string word;
    bool pending = data[0] >= count;  // an unknown command is a fuzzed word of its own
    for (size_t i = 1; i < size; i++) {
        const char c = static_cast<char>(data[i]);
        if (c == '\0' || c == '\n') {
            words.push_back(word);
            word.clear();
            pending = false;
        } else {
            word.push_back(c == '/' ? '_' : c);
            pending = true;
        }
    }
    if (pending) words.push_back(word);
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(w.data());
    argv.push_back(nullptr);

    const fs::path previous = fs::current_path();
    fs::current_path(scratch().dir);
    quorix_cmd_start(static_cast<int>(words.size()), argv.data());
    std::fflush(nullptr);
    fs::current_path(previous);
    remove_outputs();
}

Entry find(const std::string& target) {
    if (target == "cif") return cif;
    if (target == "cube") return cube;
    if (target == "symcards") return symcards;
    if (target == "parameters") return parameters;
    if (target == "command") return command;
    return nullptr;
}

}  // namespace quorix_fuzz
