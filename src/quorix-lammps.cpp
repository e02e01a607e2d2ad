// Export of a structure and its force field for LAMMPS.
#include "quorix-import-build.hpp"
#include "quorix-lammps.hpp"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"
#include "quorix-file.hpp"
#include "quorix-gin.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-property.hpp"
#include "quorix-la.hpp"
#include "quorix-md.hpp"
#include "quorix-rx-pair-term.hpp"

namespace {

// Table points, evenly spaced in r^2 from kTableStart to the reach of the term: the cubic splines
// LAMMPS makes of them stay within 1e-7 eV and 1e-6 eV/A of the pair terms beyond 1.2 A.
constexpr int kTablePoints = 5000;
constexpr double kTableStart = 0.5;  // A: closer pairs stop a LAMMPS run
constexpr double kDefaultScreeningFactor = 0.75;

// Appends the formatted text, however long.
__attribute__((format(printf, 2, 3))) void add_line(std::string& text, const char* format, ...) {
    va_list args, again;
    va_start(args, format);
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    if (length > 0) {
        const size_t start = text.size();
        text.resize(start + length + 1);
        std::vsnprintf(&text[start], length + 1, format, again);
        text.resize(start + length);
    }
    va_end(again);
}

// "Li1+", "O2-".
std::string species_label(const QUORIX_PROPERTY* ppt, int k) {
    char label[16];
    std::snprintf(label, sizeof label, "%s%d%c", ppt->type[k], std::abs(ppt->os[k]), ppt->os[k] < 0 ? '-' : '+');
    return label;
}

// The cell vectors in the frame of a LAMMPS triclinic box (A along x, B in the xy plane, C with
// z > 0; a left-handed cell is mirrored), and the box: the same lattice with its tilts reduced to
// at most half a box length, which LAMMPS requires.
struct Box {
    double cell[3][3];
    double reduced[3][3];
};

Box box_of(const QUORIX_CELL* cell) {
    double e[3][3];
    const double length = quorix_vector3_double_length(cell->a[0]);
    for (int k = 0; k < 3; k++) e[0][k] = cell->a[0][k] / length;
    const double along = quorix_vector3_double_dot(cell->a[1], e[0]);
    for (int k = 0; k < 3; k++) e[1][k] = cell->a[1][k] - along * e[0][k];
    const double across = quorix_vector3_double_length(e[1]);
    for (int k = 0; k < 3; k++) e[1][k] /= across;
    quorix_vector3_double_cross(e[2], e[0], e[1]);
    Box box{};
    for (int v = 0; v < 3; v++)
        for (int k = 0; k < 3; k++) box.cell[v][k] = quorix_vector3_double_dot(cell->a[v], e[k]);
    box.cell[2][2] = std::fabs(box.cell[2][2]);
    for (int v = 0; v < 3; v++)
        for (int k = 0; k < 3; k++) box.reduced[v][k] = box.cell[v][k];
    auto subtract = [&](int v, int u) {  // vector v -= (nearest integer of its tilt along u) * vector u
        const double n = std::round(box.reduced[v][u] / box.reduced[u][u]);
        for (int k = 0; k < 3; k++) box.reduced[v][k] -= n * box.reduced[u][k];
    };
    subtract(2, 1);
    subtract(2, 0);
    subtract(1, 0);
    return box;
}

// The position of an atom in the reduced box, wrapped into it.
void position_in_box(const Box& box, const double* fractional, double* x) {
    double r[3];
    quorix_vector3_double_sum3(r, box.cell[0], fractional[0], box.cell[1], fractional[1], box.cell[2], fractional[2]);
    const double (&b)[3][3] = box.reduced;
    double f[3];
    f[2] = r[2] / b[2][2];
    f[1] = (r[1] - f[2] * b[2][1]) / b[1][1];
    f[0] = (r[0] - f[1] * b[1][0] - f[2] * b[2][0]) / b[0][0];
    for (double& value : f) value -= std::floor(value);
    quorix_vector3_double_sum3(x, b[0], f[0], b[1], f[1], b[2], f[2]);
}

std::string data_text(const QUORIX_CELL* cell, const QUORIX_PROPERTY* ppt, const char* cif) {
    const Box box = box_of(cell);
    const double (&b)[3][3] = box.reduced;
    std::string text;
    add_line(text, "LAMMPS data file written by quorix.x from %s\n\n", cif);
    add_line(text, "%ld atoms\n%d atom types\n\n", cell->total, ppt->total);
    add_line(text, "0.0 %.12f xlo xhi\n0.0 %.12f ylo yhi\n0.0 %.12f zlo zhi\n", b[0][0], b[1][1], b[2][2]);
    add_line(text, "%.12f %.12f %.12f xy xz yz\n\nMasses\n\n", b[1][0], b[2][0], b[2][1]);
    for (int k = 0; k < ppt->total; k++)
        add_line(text, "%d %.6f # %s\n", k + 1, ppt->uni[k].m, species_label(ppt, k).c_str());
    add_line(text, "\nAtoms # charge\n\n");
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        const int k = quorix_property_find_index(ppt, atom.type, atom.os);
        double x[3];
        position_in_box(box, atom.x_f, x);
        add_line(text, "%ld %d %.10f %.12f %.12f %.12f\n", i + 1, k + 1, ppt->uni[k].q, x[0], x[1], x[2]);
    }
    return text;
}

std::string pair_keyword(const QUORIX_PROPERTY* ppt, int a, int b) {
    return species_label(ppt, a) + "_" + species_label(ppt, b);
}

// One section per pair of species: energy (eV) and force -dE/dr (eV/A) of the pair term of the
// lattice energy, from kTableStart to its reach.
std::string table_text(const QUORIX_PROPERTY* ppt) {
    std::string text = "# Pair terms of the bond-valence force field in eV and eV/A, written by quorix.x\n";
    for (int a = 0; a < ppt->total; a++)
        for (int b = a; b < ppt->total; b++) {
            const QuorixPairTerm term = quorix_pair_term(ppt, a, b, QuorixPairModel::lattice);
            add_line(text, "\n%s\nN %d RSQ %.15g %.15g\n\n", pair_keyword(ppt, a, b).c_str(), kTablePoints,
                     kTableStart, term.reach);
            const double start2 = kTableStart * kTableStart;
            const double step = (term.reach * term.reach - start2) / (kTablePoints - 1);
            for (int n = 0; n < kTablePoints; n++) {
                const double d = std::sqrt(start2 + n * step);
                add_line(text, "%d %.15g %.15g %.15g\n", n + 1, d, term.energy(d), -term.slope(d));
            }
        }
    return text;
}

std::string file_name_of(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string input_text(const QUORIX_PROPERTY* ppt, const QuorixLammpsSettings& settings, const std::string& data,
                       const std::string& table) {
    const std::string mobile = species_label(ppt, ppt->conducting);
    std::string text;
    add_line(text, "# Langevin dynamics of %s in the frozen framework of %s, written by quorix.x.\n", mobile.c_str(),
             settings.cif);
    const std::string script = file_name_of(settings.base) + ".lammps.in";
    add_line(text,
             "#\n"
             "# Run it in the directory of %s and %s, on one core or in parallel:\n"
             "#   lmp -in %s\n"
             "#   mpirun -np 4 lmp -in %s\n"
             "# Settings below can be changed on the command line, e.g. -var temperature 600; with\n"
             "#   -var temperature 0 -var equilibration 0 -var steps 0\n"
             "# LAMMPS computes the energy and the forces of the structure as written (thermo, dump).\n"
             "#\n"
             "# The framework is frozen: its atoms are not integrated and keep zero velocity. To let it\n"
             "# move, put every atom under the thermostat and the integrator: replace \"mobile\" by \"all\"\n"
             "# in the two fix lines and in the velocity line. While the framework is frozen, its pairs\n"
             "# add a constant to the energy; \"neigh_modify exclude group framework framework\" skips them.\n"
             "# Energies in eV, distances in A, time in ps (units metal).\n\n",
             file_name_of(data).c_str(), file_name_of(table).c_str(), script.c_str(), script.c_str());
    add_line(text,
             "variable temperature index %.6g\nvariable dt index 0.001\nvariable damp index 0.5\n"
             "variable equilibration index 2000\nvariable steps index 10000\nvariable sample index 100\n"
             "variable seed index 4928459\n\n",
             settings.temperature);
    add_line(text, "units metal\natom_style charge\nboundary p p p\nread_data %s\n\n", file_name_of(data).c_str());
    add_line(text, "pair_style table spline %d\n", kTablePoints);
    for (int a = 0; a < ppt->total; a++)
        for (int b = a; b < ppt->total; b++)
            add_line(text, "pair_coeff %d %d %s %s %.15g\n", a + 1, b + 1, file_name_of(table).c_str(),
                     pair_keyword(ppt, a, b).c_str(), quorix_pair_term(ppt, a, b, QuorixPairModel::lattice).reach);
    add_line(text,
             "neighbor 0.5 bin\nneigh_modify every 1 delay 0 check yes\n\n"
             "group mobile type %d\ngroup framework subtract all mobile\n"
             "compute mobile_temp mobile temp\ncompute_modify mobile_temp extra/dof 0\n"
             "velocity mobile create ${temperature} ${seed} dist gaussian temp mobile_temp\n"
             "fix thermostat mobile langevin ${temperature} ${temperature} ${damp} ${seed}\n"
             "fix integrate mobile nve\ntimestep ${dt}\n\n"
             "thermo ${sample}\nthermo_style custom step time c_mobile_temp pe ke etotal\n"
             "thermo_modify format float %%.10g\nrun ${equilibration}\n\n"
             "# Production: the mean squared displacement of the mobile ions from here on (c_msd[4], A^2),\n"
             "# and each ion's distance from its start in the dump (c_displacement[4], A).\n"
             "reset_timestep 0\ncompute msd mobile msd\ncompute displacement mobile displace/atom\n"
             "thermo_style custom step time c_mobile_temp pe ke etotal c_msd[4]\n"
             "thermo_modify format float %%.10g\n"
             "dump trajectory all custom ${sample} %s.lammps.dump id type x y z fx fy fz c_displacement[4]\n"
             "dump_modify trajectory sort id format float %%.10g\nrun ${steps}\n",
             ppt->conducting + 1, file_name_of(settings.base).c_str());
    return text;
}

// The structure with every site fully occupied and its parameter set, the conducting species set
// and every pair term defined.
int prepare(const QuorixLammpsSettings& settings, CellPtr& cell, PropertyPtr& ppt) {
    CellPtr input(quorix_cell_import_cif_structure(settings.cif, settings.dir_symcards, settings.dir_unitary));
    if (!input || !quorix_cell_lattice_usable(input.get())) return 1;
    QUORIX_CELL* occupied = quorix_gin_occupied_cell(input.get(), cell);
    if (!occupied) return 1;
    if (!cell) cell = std::move(input);
    // Validated first at the default screening factor: the automatic search would report unusable
    // parameters as well, before falling back to the default.
    const double fixed_sf = settings.sf > 0 ? settings.sf : kDefaultScreeningFactor;
    for (const double sf : {fixed_sf, settings.sf}) {
        ppt.reset(quorix_property_import_from_cell(cell.get(), nullptr, 0, sf, settings.dir_unitary,
                                                   settings.dir_binary));
        if (!ppt) {
            std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
            return 1;
        }
        if (quorix_property_set_conducting(ppt.get(), settings.type, settings.os)) return 1;
        if (quorix_property_validate_generic(ppt.get())) return 1;
        if (sf == settings.sf) break;
    }
    return 0;
}

}  // namespace

int quorix_lammps_export_from_file(const QuorixLammpsSettings& settings) {
    if (!settings.cif || !settings.type || !settings.base) return 1;
    CellPtr cell;
    PropertyPtr ppt;
    if (prepare(settings, cell, ppt)) return 1;
    QuorixLammpsSettings used = settings;
    if (!(used.temperature > 0)) used.temperature = 300.0;
    const std::string base(settings.base);
    const std::string names[] = {base + ".lammps.data", base + ".lammps.table", base + ".lammps.in"};
    QuorixResultFile files[3];
    for (int n = 0; n < 3; n++) {
        const QuorixOpen status = files[n].open(names[n].c_str());
        if (status == QuorixOpen::failed) std::fprintf(stderr, "Error: unable to write to %s.\n", names[n].c_str());
        if (status != QuorixOpen::ok) return 1;
    }
    const std::string texts[] = {data_text(cell.get(), ppt.get(), settings.cif), table_text(ppt.get()),
                                 input_text(ppt.get(), used, names[0], names[1])};
    for (int n = 0; n < 3; n++) std::fputs(texts[n].c_str(), files[n].get());
    for (int n = 0; n < 3; n++) {
        if (!files[n].commit()) return 1;
        std::printf("Message: LAMMPS %s saved to %s\n", n == 0 ? "data" : n == 1 ? "pair table" : "input",
                    names[n].c_str());
    }
    return 0;
}
