// --gen-lammps checked by LAMMPS itself (skipped when `lmp` is absent): energies and forces of the
// exported structure and tables against this program's, a Langevin run on two MPI ranks against
// --md-std, and bad input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "cli.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-write.hpp"
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
            ASSERT_TRUE(dump >> id >> type >> x[0] >> x[1] >> x[2] >> f[0] >> f[1] >> f[2] >> x[0]) << s.cif;
            for (int k = 0; k < 3; k++) EXPECT_NEAR(f[k], 2 * 14.39964 * force[id - 1][k], 1e-4) << s.cif << id;
        }
    }
}

// Li in a 2x2x2 supercell of Li2O (64 Li) at 1000 K, 0.5 ps to equilibrate and 2 ps of production
// sampled every 0.02 ps, in LAMMPS on two ranks and in --md-std. The statistic: the median over
// the Li ions of their squared displacement, averaged over the samples. A hop (a few per 50 ps
// per 8 Li at this temperature) would dominate the mean; the median keeps the thermal
// displacement (about 0.07 A^2), whose scatter between runs, mostly from the starting positions
// of the ions, is about 10 % with 64 ions: far inside the factor of 2 required.
TEST(LammpsExport, LangevinRunOnTwoRanksAgreesWithMdStd) {
    if (!lammps_available()) GTEST_SKIP() << "lmp is not installed";
    ScratchDir dir;
    const CellPtr cell = std::move(quorix_test::read_cif_file(quorix_test::test_data("Li2O_COD9009059_occupancy.cif")).cell);
    int twice[3] = {2, 2, 2};
    const CellPtr super(quorix_cell_supercell(cell.get(), twice));
    const std::string cif = (dir.path() / "Li2O.cif").string();
    testing::internal::CaptureStdout();
    ASSERT_EQ(quorix_cell_export_cif_to_file(cif.c_str(), super.get(), nullptr), 0);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(run_quorix({"--gen-lammps", cif, "Li", "1", "-1", "1000"}).err, "");
    run_lammps(dir, "Li2O.cif", "-var equilibration 500 -var steps 2000 -var sample 20", 2);
    ASSERT_EQ(run_quorix({"--md-std", cif, "Li", "1", "-1", "1000", "2", "0.5", "0.001", "0.02"}).err, "");
    auto median = [](std::vector<double> v) {
        std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
        return v[v.size() / 2];
    };
    double mean[2] = {0, 0};  // LAMMPS (its first frame, at the start of production, left out), --md-std
    std::istringstream dump(read_file(cif + ".lammps.dump")), trj(read_file(cif + ".mdstd.trj"));
    std::string line;
    for (long frame = 0; std::getline(dump, line);) {
        if (line.rfind("ITEM: ATOMS", 0) != 0) continue;
        std::vector<double> lithium;
        for (double id, type, value[7]; lithium.size() < 64 && dump >> id >> type;) {
            for (double& v : value) dump >> v;
            if (type == 1) lithium.push_back(value[6] * value[6]);  // the distance squared
        }
        if (frame++ > 0) mean[0] += median(lithium) / 100;
    }
    for (std::getline(trj, line); std::getline(trj, line);) {
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream row(line);
        double t, average, d;
        std::vector<double> squares;
        for (row >> t >> average; row >> d;) squares.push_back(d * d);
        mean[1] += median(squares) / 100;
    }
    EXPECT_GT(mean[0], 0.5 * mean[1]);
    EXPECT_LT(mean[0], 2.0 * mean[1]);
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
