// --gen-lammps checked by LAMMPS itself (skipped when `lmp` is absent): energies and forces of the
// exported structure and tables against this program's, a Langevin run on two MPI ranks against
// --md-std, and bad input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "cli.hpp"
#include "quorix-import-property.hpp"
#include "quorix-rx.hpp"
#include "structure.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;

namespace {

bool lammps_available() { return std::system("command -v lmp > /dev/null 2>&1") == 0; }

// Runs the exported script `base`.lammps.in in `dir` with "-var" settings; the LAMMPS log.
std::string run_lammps(const ScratchDir& dir, const std::string& base, const std::string& vars, int ranks = 1) {
    const std::string mpi = ranks > 1 ? "mpirun --allow-run-as-root --oversubscribe -np " + std::to_string(ranks) + " " : "";
    std::system(("cd " + dir.path().string() + " && " + mpi + "lmp -in " + base + ".lammps.in -log log.txt " + vars +
                 " > /dev/null 2>&1")
                    .c_str());
    return read_file(dir.path() / "log.txt");
}

// Column `name` of every thermo row of a LAMMPS log (rows follow a header line beginning "Step").
std::vector<double> thermo_column(const std::string& log, const std::string& name) {
    std::istringstream lines(log);
    std::vector<double> column;
    long index = -1;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::vector<std::string> w{std::istream_iterator<std::string>(words), {}};
        if (!w.empty() && w[0] == "Step") index = std::find(w.begin(), w.end(), name) - w.begin();
        else if (w.empty() || w[0].find_first_not_of("0123456789") != std::string::npos) index = -1;
        else if (index >= 0 && index < static_cast<long>(w.size())) column.push_back(std::stod(w[index]));
    }
    return column;
}

}  // namespace

// LAMMPS sums the tabulated energy (eV) over unordered pairs; --cal-tot-en sums ordered pairs in
// e^2/A times 7.19982, the same energy. The force routine of the relaxation gives 0.5 dE/dr per
// pair in e^2/A: times 2 * 14.39964 it is the force in eV/A that LAMMPS gives.
TEST(LammpsExport, EnergyAndForcesEqualThisProgramsOnRealStructures) {
    if (!lammps_available()) GTEST_SKIP() << "lmp is not installed";
    const struct { const char* cif; const char* mobile; } structures[] = {
        {"Li2O_COD9009059_occupancy.cif", "Li"}, {"LiFePO4_COD4001848_oxidation.cif", "Li"},
        {"Li7La3Zr2O12_tetragonal_P1_pymatgen.cif", "Li"}, {"NaCl_COD9008678_occupancy.cif", "Na"}};
    for (const auto& s : structures) {
        ScratchDir dir;
        // LAMMPS atoms are whole: refined occupancies above 1 (which weight the pairs of the
        // lattice energy) are set to 1.
        const std::string text = read_file(quorix_test::test_data(s.cif));
        const std::string cif = dir.write(s.cif, std::regex_replace(text, std::regex(" 1\\.0\\d+\\(\\d+\\) d"), " 1 d")).string();
        ASSERT_EQ(run_quorix({"--gen-lammps", cif, s.mobile, "1"}).err, "");
        const std::string energy = run_quorix({"--cal-tot-en", cif}).out;
        const double expected = std::stod(energy.substr(energy.find("total energy = ") + 15));
        const std::string log = run_lammps(dir, s.cif, "-var temperature 0 -var equilibration 0 -var steps 0");

        CellPtr cell = std::move(quorix_test::read_cif_file(cif).cell);
        testing::internal::CaptureStdout();
        const PropertyPtr ppt(quorix_property_import_from_cell(cell.get(), nullptr, 0, -1, quorix_test::unitary_db().c_str(),
                                                               quorix_test::binary_db().c_str()));
        testing::internal::GetCapturedStdout();
        const std::vector<double> pe = thermo_column(log, "PotEng");
        ASSERT_FALSE(pe.empty()) << s.cif;
        EXPECT_NEAR(pe[0] / cell->total, expected / cell->total, 1e-4) << s.cif;

        std::vector<std::vector<double>> force(cell->total, std::vector<double>(3));
        std::vector<double*> rows;
        for (auto& f : force) rows.push_back(f.data());
        ASSERT_EQ(quorix_cell_calculate_force(rows.data(), cell.get(), ppt.get()), 0);
        std::istringstream dump(read_file(dir.path() / (std::string(s.cif) + ".lammps.dump")));
        std::string line;
        while (std::getline(dump, line) && line.rfind("ITEM: ATOMS", 0) != 0) {}
        for (long i = 0; i < cell->total; i++) {
            long id, type;
            double x[3], f[3];
            ASSERT_TRUE(dump >> id >> type >> x[0] >> x[1] >> x[2] >> f[0] >> f[1] >> f[2]) << s.cif;
            for (int k = 0; k < 3; k++) EXPECT_NEAR(f[k], 2 * 14.39964 * force[id - 1][k], 1e-4) << s.cif << id;
        }
    }
}

TEST(LammpsExport, BadInput) {
    ScratchDir dir;
    std::string salt = read_file(quorix_test::test_data("NaCl_COD9008678_occupancy.cif"));
    for (size_t at; (at = salt.find("Na")) != std::string::npos;) salt.replace(at, 2, "Ce");  // no Ce-Cl pair
    const std::string unknown = dir.write("CeCl.cif", salt).string();
    EXPECT_EQ(run_quorix({"--gen-lammps", unknown, "Ce", "4"}).err,
              "Error: incorrect cutoff at [0](Ce4+)-(Cl1-) cutoff=0.000000\n");

    const std::string cif = dir.copy_in("Li2O_COD9009059_occupancy.cif").string();
    const std::string base = (dir.path() / "none" / "Li2O").string();
    EXPECT_EQ(run_quorix({"--gen-lammps", cif, "Li", "1", "-1", "-1", base}).err,
              "Error: unable to write to " + base + ".lammps.data.\n");
}
