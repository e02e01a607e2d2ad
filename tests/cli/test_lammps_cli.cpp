// --gen-lammps checked by LAMMPS itself (skipped when `lmp` is absent): energies and forces of the
// exported structure and tables against this program's, a Langevin run on two MPI ranks against
// --md-std, and bad input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "support.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-write.hpp"
#include "quorix-rx.hpp"

using quorix_test::read_file;
using quorix_test::run_quorix;
using quorix_test::ScratchDir;
using Table = std::vector<std::vector<double>>;

namespace {

bool lammps_available() { return std::system("command -v lmp > /dev/null 2>&1") == 0; }

// Runs the exported script `base`.lammps.in in `dir` with "-var" settings; the LAMMPS log.
std::string run_lammps(const ScratchDir& dir, const std::string& base, const std::string& vars, int ranks = 1) {
    const std::string mpi = "mpirun --allow-run-as-root --oversubscribe -np " + std::to_string(ranks) + " ";
    std::system(("cd " + dir.path().string() + " && " + (ranks > 1 ? mpi : "") + "lmp -in " + base +
                 ".lammps.in -log log.txt " + vars + " > /dev/null 2>&1").c_str());
    return read_file(dir.path() / "log.txt");
}

std::vector<double> numbers(std::string line) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream row(line);
    return {std::istream_iterator<double>(row), std::istream_iterator<double>()};
}

// The atom rows of every frame of a LAMMPS dump.
std::vector<Table> dump_frames(const std::string& path) {
    std::istringstream text(read_file(path));
    std::vector<Table> frames;
    for (std::string line; std::getline(text, line);)
        if (line.rfind("ITEM: ATOMS", 0) == 0) frames.emplace_back();
        else if (numbers(line).size() > 3) frames.back().push_back(numbers(line));  // not a header value
    return frames;
}

// The median of the squares of the values.
double median_square(std::vector<double> v) {
    for (double& value : v) value *= value;
    std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
    return v[v.size() / 2];
}

}  // namespace

// LAMMPS sums the tabulated energy (eV) over unordered pairs; the total energy of --cal-tot-en
// sums ordered pairs in e^2/A times 7.19982, the same energy. The force routine of the relaxation gives 0.5 dE/dr per
// pair in e^2/A: times 2 * 14.39964 it is the force in eV/A that LAMMPS gives.
TEST(LammpsExport, EnergyAndForcesEqualThisProgramsOnRealStructures) {
    if (!lammps_available()) GTEST_SKIP() << "lmp is not installed";
    for (const char* name : {"Li2O_COD9009059_occupancy.cif", "LiFePO4_COD4001848_oxidation.cif",
                             "Li7La3Zr2O12_tetragonal_P1_pymatgen.cif", "NaCl_COD9008678_occupancy.cif"}) {
        ScratchDir dir;
        // LAMMPS atoms are whole: refined occupancies above 1 (which weight the pairs of the
        // lattice energy) are set to 1.
        std::string text = read_file(quorix_test::test_data(name));
        for (const std::string occ : {" 1.0040(16) ", " 1.025(3) ", " 1.030(3) ", " 1.035(3) "})
            for (size_t at; (at = text.find(occ)) != std::string::npos;) text.replace(at, occ.size(), " 1 ");
        const std::string cif = dir.write(name, text).string();
        ASSERT_EQ(run_quorix({"--gen-lammps", cif, name[0] == 'N' ? "Na" : "Li", "1"}).err, "");
        const std::string log = run_lammps(dir, name, "-var temperature 0 -var equilibration 0 -var steps 0");
        const std::vector<double> thermo = numbers(log.substr(log.find('\n', log.find("PotEng")) + 1, 80));
        ASSERT_GE(thermo.size(), 4u) << name;  // step, time, temperature, potential energy

        CellPtr cell = std::move(quorix_test::read_cif(cif).cell);
        const PropertyPtr ppt(quorix_property_import_from_cell(cell.get(), nullptr, 0, -1, quorix_test::unitary_db().c_str(),
                                                               quorix_test::binary_db().c_str()));
        EXPECT_NEAR((thermo[3] - quorix_cell_total_energy(cell.get(), ppt.get())) / cell->total, 0, 1e-4) << name;
        Table force(cell->total, std::vector<double>(3));
        std::vector<double*> rows;
        for (auto& f : force) rows.push_back(f.data());
        ASSERT_EQ(quorix_cell_calculate_force(rows.data(), cell.get(), ppt.get()), 0);
        const std::vector<Table> frames = dump_frames(dir.path() / (std::string(name) + ".lammps.dump"));
        for (const std::vector<double>& atom : frames.at(0))
            for (int k = 0; k < 3; k++)  // id type x y z fx fy fz
                EXPECT_NEAR(atom[5 + k], 2 * 14.39964 * force[atom[0] - 1][k], 1e-4) << name << atom[0];
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
    const CellPtr cell = std::move(quorix_test::read_cif("Li2O_COD9009059_occupancy.cif").cell);
    int twice[3] = {2, 2, 2};
    const CellPtr super(quorix_cell_supercell(cell.get(), twice));
    const std::string cif = (dir.path() / "Li2O.cif").string();
    ASSERT_EQ(quorix_cell_export_cif_to_file(cif.c_str(), super.get(), nullptr), 0);
    ASSERT_EQ(run_quorix({"--gen-lammps", cif, "Li", "1", "-1", "1000"}).err, "");
    run_lammps(dir, "Li2O.cif", "-var equilibration 500 -var steps 2000 -var sample 20", 2);
    ASSERT_EQ(run_quorix({"--md-std", cif, "Li", "1", "-1", "1000", "2", "0.5", "0.001", "0.02"}).err, "");
    double mean[2] = {0, 0};  // LAMMPS (its first frame, at the start of production, left out), --md-std
    const std::vector<Table> frames = dump_frames(cif + ".lammps.dump");
    for (size_t frame = 1; frame < frames.size(); frame++) {
        std::vector<double> lithium;  // id type x y z fx fy fz distance
        for (const std::vector<double>& atom : frames[frame])
            if (atom[1] == 1) lithium.push_back(atom[8]);
        mean[0] += median_square(lithium) / 100;
    }
    std::istringstream trj(read_file(cif + ".mdstd.trj"));
    std::string line;
    for (std::getline(trj, line); std::getline(trj, line);) {
        const std::vector<double> row = numbers(line);  // t, mean distance, distance of each ion
        mean[1] += median_square({row.begin() + 2, row.end()}) / 100;
    }
    EXPECT_LT(std::fabs(std::log(mean[0] / mean[1])), std::log(2.0)) << mean[0] << " " << mean[1];
}

TEST(LammpsExport, BadInput) {
    ScratchDir dir;
    std::string salt = read_file(quorix_test::test_data("NaCl_COD9008678_occupancy.cif"));
    for (size_t at; (at = salt.find("Na")) != std::string::npos;) salt.replace(at, 2, "Ce");  // no Ce-Cl pair
    EXPECT_EQ(run_quorix({"--gen-lammps", dir.write("CeCl.cif", salt).string(), "Ce", "4"}).err,
              "Error: incorrect cutoff at [0](Ce4+)-(Cl1-) cutoff=0.000000\n");
    const std::string cif = dir.copy_in("Li2O_COD9009059_occupancy.cif").string(), base = cif + "/none";
    EXPECT_EQ(run_quorix({"--gen-lammps", cif, "Li", "1", "-1", "-1", base}).err,
              "Error: unable to write to " + base + ".lammps.data.\n");
}
