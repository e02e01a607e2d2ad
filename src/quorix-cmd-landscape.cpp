// Handlers of the relaxation, landscape-analysis and transport-simulation commands.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "quorix-cmd-args.hpp"
#include "quorix-cmd.hpp"
#include "quorix-cube.hpp"
#include "quorix-fft.hpp"
#include "quorix-fp.hpp"
#include "quorix-gh-percolation.hpp"
#include "quorix-gh-sites.hpp"
#include "quorix-import-cif.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-constraint.hpp"
#include "quorix-import-property.hpp"
#include "quorix-import-write.hpp"
#include "quorix-kmc.hpp"
#include "quorix-md.hpp"
#include "quorix-rx-neb.hpp"
#include "quorix-rx-sd.hpp"

using namespace quorix_cmd;

namespace {

constexpr const char* kPeriodicCubeLine =
    "Command: {flag:periodic}: if set to true, cube file is treated as periodic. Default true.\n";
constexpr const char* kConductingTypeLine = "Command: {type}: type of conducting ions.\n";
constexpr const char* kConductingOsLine = "Command: {os}: oxidation state of conducting ions.\n";
constexpr const char* kLandscapeCubeLine =
    "Command: [input.cube]: site-energy landscape of the conducting ion in Gaussian cube format, as written by "
    "--gen-cube.\n";
constexpr const char* kStepLimitLine =
    "Command: {step_limit}: the number of steps before a relaxation stops if convergence has not been reached. A "
    "non-negative integer allows the relaxation to run untill convergence (or forever). Default 0.\n";

constexpr const char* kFftUsage[] = {
    "Command: --fft [input.cube] | {cap} {flag:periodic} {output_name}\n\n",
    "Command: {cap}: critical points with an energy above {global energy minimum} + {cap} will not be shown in the "
    "result. A non-positive value means no cap. Default: -0.1.\n",
    kPeriodicCubeLine,
    "Command: {output_name}: the base name of the results, written to {output_name}.fft.cif and "
    "{output_name}.fft.txt. If omitted, the input name is used.\n",
    "Command: finds the critical points of the landscape with their eigenvalues and eigenvectors.\n",
    "Example: ./quorix.x --fft Li2O.cube\n",
    "Example: ./quorix.x --fft Li2O.cube 1.0 t Li2O\n",
};

constexpr const char* kFftCubesUsage[] = {
    "Command: --fft-cubes [input.cube] | {flag:periodic} {output_name}\n\n",
    kPeriodicCubeLine,
    "Command: {output_name}: the base name of the derivative cubes, written to {output_name}.fft.*.cube. If "
    "omitted, the input name is used.\n",
    "Command: writes cubes of force, force constant, laplacian and slope of the landscape.\n",
    "Example: ./quorix.x --fft-cubes Li2O.cube\n",
};

constexpr const char* kFpMapUsage[] = {
    "Command: --fp-map [input.cube] | {barrier_max} {flag:periodic} {output_name}\n\n",
    "Command: {barrier_max}: Only paths with barrier below this value are shown. If set to non-positive value, all "
    "paths are shown. Default -0.1.\n",
    kPeriodicCubeLine,
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".fp.cif\" will "
    "be used.\n",
    "Command: writes the minima, saddle points and paths of the landscape as atoms of a cif file.\n",
    "Example: ./quorix.x --fp-map Li2O.cube\n",
    "Example: ./quorix.x --fp-map Li2O.cube 0.5\n",
};

constexpr const char* kGhUsage[] = {
    "Command: --gh [input.cif] [input.cube] [type] [os] | {barrier_max} {flag:periodic}\n\n",
    kLandscapeCubeLine,
    kConductingTypeLine,
    kConductingOsLine,
    "Command: {barrier_max}: Only paths with barrier below this value are shown. If set to non-positive value, all "
    "paths are considered.\n",
    kPeriodicCubeLine,
    "Command: writes the network of sites and hops that conducts ions as cif files and a csv file.\n",
    "Example: ./quorix.x --gh Li2O.cif Li2O.cube Li 1\n",
};

constexpr const char* kSitesUsage[] = {
    "Command: --sites [input.cif] [input.cube] {type} {os} | {de} {dr} {barrier_max} {flag:print_long} "
    "{flag:periodic}\n\n",
    kLandscapeCubeLine,
    kConductingTypeLine,
    kConductingOsLine,
    "Command: {de}: energy difference in eV below which sites are taken as equivalent. If set to non-positive "
    "value, default value is used. Default -0.1.\n",
    "Command: {dr}: distance in angstrom below which sites are taken as one. If set to non-positive value, default "
    "value is used. Default -0.1.\n",
    "Command: {barrier_max}: Only paths with barrier below this value are considered. If set to non-positive value, "
    "all paths are considered. Default -0.1.\n",
    "Command: {flag:print_long}: t or f. If true, every site is listed. Default false.\n",
    "Command: {flag:periodic}: t or f. If true, cube file is treated as periodic. Default true.\n",
    "Command: prints a summary of the sites found by the analysis of the conduction network.\n",
    "Example: ./quorix.x --sites Li2O.cif Li2O.cube Li 1\n",
    "Example: ./quorix.x --sites Li2O.cif Li2O.cube Li 1 -1 -1 0.5 t t\n",
};

// Relaxation help lines that print their defaults.
void print_force_convergence_line() {
    std::printf("Command: {f_conv}: force convergence criterion. If set to non-positive, default value is used. "
                "Default %f.\n",
                0.005);
}

void print_rx_sd_usage() {
    std::fputs("Command: --rx-sd [input.cif] | {step_limit} {step_p} {f_conv} {p_conv} {sf} {output_name}\n\n",
               stdout);
    std::fputs(kStepLimitLine, stdout);
    std::fputs("Command: {step_p}: the number of atomic steps in between which a relaxation of lattice parameters "
               "is performed. If set to non-positive integer, lattice relaxation will not be performed. Default 0.\n",
               stdout);
    print_force_convergence_line();
    std::printf("Command: {p_conv}: pressure convergence criterion. If set to non-positive, default value is used. "
                "Default %f.\n",
                0.001);
    std::fputs(kScreeningFactorLine, stdout);
    std::fputs("Command: {output_name}: the name of the output file. If omitted, the input name appended by "
               "\".rx.cif\" will be used.\n",
               stdout);
    std::fputs("Command: relaxes atomic positions, and lattice parameters when {step_p} is positive, by steepest "
               "descent and writes the relaxed cell to file in cif format.\n",
               stdout);
    std::fputs("Example: ./quorix.x --rx-sd Li2O.cif\n", stdout);
    std::fputs("Example: ./quorix.x --rx-sd Li2O.cif 1000 10 0.01 0.002 -1 Li2O-relaxed.cif\n", stdout);
}

// The two nudged-elastic-band commands share every line after the description of their inputs.
void print_neb_usage(Usage head, Usage tail) {
    print_lines(head);
    std::fputs(kStepLimitLine, stdout);
    std::printf("Command: {step_log}: the number of steps between which log files are updated. A negative integer "
                "turns off logging. Set to 0 to use the default value. Default %d.\n",
                50);
    std::fputs("Command: {flag:relax}: if set to true, two end images are relaxed to achieve local minima. Default "
               "true.\n",
               stdout);
    print_force_convergence_line();
    std::fputs(kScreeningFactorLine, stdout);
    std::printf("Command: {k} the spring constant. Set to non-positive to use the default. Default %f.\n", 0.5);
    print_lines(tail);
}

constexpr const char* kNebOutputLine =
    "Command: {output_name}: the base name of the log files and images. If omitted, the input name is used.\n";
constexpr const char* kNebDescriptionLine =
    "Command: finds the minimum energy path between the end images by the nudged elastic band method.\n";

constexpr const char* kRxNebHead[] = {
    "Command: --rx-neb [input1.cif] [input2.cif] [n] | {step_limit} {step_log} {flag:relax} {f_conv} {sf} {k} "
    "{output_name}\n\n",
    "Command: [input1.cif] [input2.cif]: the two end images, with the same atoms in the same order.\n",
    "Command: [n]: total number of images, the two end images included.\n",
};
constexpr const char* kRxNebTail[] = {
    kNebOutputLine,
    kNebDescriptionLine,
    "Example: ./quorix.x --rx-neb LiFePO4.cif LiFePO4-hop.cif 7\n",
};

constexpr const char* kRxNebImagesHead[] = {
    "Command: --rx-neb-images [input_name] [n] | {step_limit} {step_log} {flag:relax} {f_conv} {sf} {k} "
    "{output_name}\n\n",
    "Command: [input_name]: base name of the series of images, read from input_name.0.cif, input_name.1.cif, ...\n",
    "Command: [n]: total number of images in the series.\n",
};
constexpr const char* kRxNebImagesTail[] = {
    kNebOutputLine,
    kNebDescriptionLine,
    "Example: ./quorix.x --rx-neb-images LiFePO4 7\n",
    "         relaxes the path through the images LiFePO4.0.cif to LiFePO4.6.cif.\n",
};

void print_kmc_usage() {
    std::fputs("Command: --kmc [input.cif] [input.cube] {type} {os} | {s0 s1 s2} {sf} {temperature} {t_limit} "
               "{step_limit} {step_log} {cutoff}\n\n",
               stdout);
    std::fputs(kLandscapeCubeLine, stdout);
    std::fputs(kConductingTypeLine, stdout);
    std::fputs(kConductingOsLine, stdout);
    std::fputs("Command: {s1 s2 s3}: three positive integers defining the supercell. If missing or any of the three "
               "integers is non-positive, a default algorithm is triggered to generate the supercell.\n",
               stdout);
    std::fputs("Command: {sf}: screening factor. If set to non-positive value, automatic calculation is triggered. "
               "Default: -0.1.\n",
               stdout);
    std::fputs("Command: {temperature}: in K. If set to non-positive value, default value is used. Default: -0.1.\n",
               stdout);
    std::printf("Command: {t_limit}: in picosecond. Negative number to use default value; set to 0.0 to turn off "
                "limiting by time. Default: %.0lf ps.\n",
                0.0);
    std::printf("Command: {step_limit}: limiting number of steps. Negative or larger than {step_limit} means using "
                "the default. Default: %ld.\n",
                10000L);
    std::printf("Command: {step_log}: the number of steps result is logged. Negative number to use default value; "
                "set to 0 to turn off limiting by step. If both step_limit and t_limit are set to zero, default "
                "values are used for both. Default: %ld.\n",
                10000000L);
    std::printf("Command: {cutoff}: the cutoff radius within which the coulomb repulsion is considered. If set to "
                "non-positive value, default value is used. Default: %.3lf\n",
                5.0);
    std::fputs("Command: calculates conductivity by kinetic monte carlo method, importing cube file to skip the "
               "generation of cube.\n",
               stdout);
    std::fputs("Example: ./quorix.x --kmc Li2O.cif Li2O.cube Li 1\n", stdout);
    std::fputs("Example: ./quorix.x --kmc AgI-a.cif AgI-a.cube Ag 1 2 2 2 -1 600 1000000 -1 -1 -0.1\n", stdout);
}

// The usage of --md, and of --md-std with its name, its description and examples.
void print_md_usage(const char* command, const char* description) {
    std::printf("Command: %s [input.cif] {type} {os} | {sf} {temperature} {t_end} {t_equil} {dt} {t_log}\n\n",
                command);
    std::fputs("Command: [input.cif]: must not contain any partial occupancy of conducting ions.\n", stdout);
    std::fputs(kConductingTypeLine, stdout);
    std::fputs(kConductingOsLine, stdout);
    std::fputs("Command: {sf}: screening factor. If set to non-positive value, automatic calculation is triggered.\n",
               stdout);
    std::printf("Command: {temperature}: temperature in K. Set to non-positive to use the default value. Default "
                "%.0lf.\n",
                300.0);
    std::printf("Command: {t_end}: time of production in ps. Set to non-positive to use the default value. Default "
                "%.3lf.\n",
                10.0);
    std::printf("Command: {t_equil}: time of equilibration in ps. Set to non-positive to use the default value. "
                "Default %.3lf.\n",
                2.0);
    std::printf("Command: {dt}: time step in ps. Set to non-positive to use the default value. Default %.3lf.\n",
                0.001);
    std::printf("Command: {t_log}: time interval of sampling in ps. Set to non-positive to sample every %ld steps.\n",
                100L);
    std::fputs(description, stdout);
    std::printf("Example: ./quorix.x %s Li2O.cif Li 1\n", command);
    std::printf("Example: ./quorix.x %s Li2O.cif Li 1 600 100.0 10.0 0.005 1.0\n", command);
}

constexpr const char* kMdDescription =
    "Command: perform a molecular dynamics fixing all ions except those specified as conducting.\n";
constexpr const char* kMdStdDescription =
    "Command: perform a molecular dynamics fixing all ions except those specified as conducting, with every force "
    "and energy in eV and a Langevin thermostat that holds the target temperature; results in "
    "[input.cif].mdstd.txt, .mdstd.xyz, .mdstd.trj and .mdstd.cif.\n";

// The arguments of --md and --md-std; false after an error line, or after the usage when too few.
bool parse_md_settings(QUORIX_CMD_OPT* opt, const char* command, const char* description, char (&type)[3],
                       QuorixMdSettings& settings) {
    if (opt->argc <= 4) {
        print_md_usage(command, description);
        return false;
    }
    settings = {opt->argv[2], type, 0, -0.1, -0.1, -0.1, -0.1, -0.1, -0.1,
                opt->dir_symcards, opt->dir_unitary, opt->dir_binary};
    return parse_species(opt, 3, type, settings.os) && parse_double(opt, 5, settings.sf, "sf") &&
           parse_double(opt, 6, settings.temperature, "temperature") &&
           parse_double(opt, 7, settings.t_end, "t_end") && parse_double(opt, 8, settings.t_equil, "t_equil") &&
           parse_double(opt, 9, settings.dt, "dt") && parse_double(opt, 10, settings.t_log, "t_log");
}

// Settings of a nudged-elastic-band run; non-positive values select the defaults.
struct NebSettings {
    int images = 0;
    double sf = -0.1;
    QuorixNebSettings run{0, 0, true, -0.1, -0.1};
};

// Parses the run settings from argv[first] (the number of images) on; the relax flag, whose
// rule differs between the two commands, is left to the caller.
bool parse_neb_settings(const QUORIX_CMD_OPT* opt, int first, NebSettings& neb) {
    return parse_int(opt, first, neb.images, "total number of images") &&
           parse_long(opt, first + 1, neb.run.step_limit, "step_limit") &&
           parse_int(opt, first + 2, neb.run.step_log, "step_log") &&
           parse_double(opt, first + 4, neb.run.f_conv, "f_conv") && parse_double(opt, first + 5, neb.sf, "sf") &&
           parse_double(opt, first + 6, neb.run.k, "k");
}

// Fewer than 3 images make no band; each image holds a whole cell and its own pair list, so the
// count is bounded too. Checked before any file is read.
bool images_usable(int images) {
    constexpr int kMostImages = 1000;
    if (images < 3)
        std::fprintf(stderr, "Error: a band needs at least 3 images, %d given.\n", images);
    else if (images > kMostImages)
        std::fprintf(stderr, "Error: a band of %d images is more than the %d allowed.\n", images, kMostImages);
    return images >= 3 && images <= kMostImages;
}

// Frees a series of cells as read by quorix_cells_import_cif_from_file.
struct ImagesFree {
    int total;
    void operator()(QUORIX_CELL** cells) const {
        for (int i = 0; i < total; i++) quorix_cell_free(cells[i]);
        std::free(cells);
    }
};

// The relaxation constraints of `cell` from its CIF file; false (reported) on failure.
bool read_constraints(QUORIX_CELL* cell, const char* cif, QuorixFixedComponents& fixed) {
    if (quorix_cell_import_cif_read_constraint(cell, cif, fixed) == 0) return true;
    std::fprintf(stderr, "Error: quorix_cell_import_cif_read_constraint() returns non-zero.\n");
    return false;
}

// The force-field parameter set of a structure without conducting ion; null (reported) on failure.
PropertyPtr import_property(const QUORIX_CMD_OPT* opt, QUORIX_CELL* cell, double sf) {
    PropertyPtr ppt(quorix_property_import_from_cell(cell, nullptr, 0, sf, opt->dir_unitary, opt->dir_binary));
    if (!ppt) std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
    return ppt;
}

// The landscape cube argv[2] without its structure; null (reported) when it cannot be read.
CubePtr read_landscape(const QUORIX_CMD_OPT* opt, bool periodic) {
    QUORIX_CUBE* cube = nullptr;
    if (quorix_cube_import_from_file(&cube, nullptr, opt->argv[2], periodic ? 1 : 0, nullptr)) {
        std::fprintf(stderr, "Error: quorix_cube_import_from_file() returns non-zero.\n");
        return nullptr;
    }
    return CubePtr(cube);
}

}  // namespace

void quorix_cmd_opt_do_rx_sd(QUORIX_CMD_OPT* opt) {
    if (opt->argc <= 2) return print_rx_sd_usage();
    long step_limit = 0;
    long step_p = 0;
    double f_conv = -0.1;
    double p_conv = -0.1;
    double sf = -1.0;
    if (!parse_long(opt, 3, step_limit, "step_limit") || !parse_long(opt, 4, step_p, "step_p") ||
        !parse_double(opt, 5, f_conv, "f_conv") || !parse_double(opt, 6, p_conv, "p_conv") ||
        !parse_double(opt, 7, sf, "sf"))
        return;
    const std::string name = output_name(opt, 8, ".rx.cif");
    const Structure structure = read_structure(opt);
    if (!structure) return;
    QuorixFixedComponents fixed;
    if (!read_constraints(structure.cell.get(), opt->argv[2], fixed)) return;
    const PropertyPtr ppt = import_property(opt, structure.cell.get(), sf);
    if (!ppt) return;
    const QuorixRxSdSettings settings{step_p, f_conv, p_conv, &fixed};
    const CellPtr relaxed(quorix_cell_relax_sd(structure.cell.get(), ppt.get(), step_limit, &settings));
    if (!relaxed) {
        std::fprintf(stderr, "Error: quorix_cell_relax_sd() returns NULL.\n");
        return;
    }
    if (quorix_cell_export_cif_to_file(name.c_str(), relaxed.get(), nullptr) != 0)
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
}

void quorix_cmd_opt_do_rx_neb(QUORIX_CMD_OPT* opt) {
    if (opt->argc <= 4) return print_neb_usage(kRxNebHead, kRxNebTail);
    NebSettings neb;
    if (!parse_neb_settings(opt, 4, neb)) return;
    neb.run.relax = flag(opt, 7, true);
    const std::string name = output_name(opt, 11, "");
    if (!images_usable(neb.images)) return;
    const Structure first = read_structure(opt, 2);
    if (!first) return;
    const Structure last = read_structure(opt, 3);
    if (!last || !quorix_neb_images_compatible(first.cell.get(), last.cell.get())) return;
    QuorixFixedComponents fixed;
    if (!read_constraints(first.cell.get(), opt->argv[2], fixed)) return;
    neb.run.fixed = &fixed;
    const PropertyPtr ppt = import_property(opt, first.cell.get(), neb.sf);
    if (ppt && quorix_cell_relax_neb(first.cell.get(), last.cell.get(), neb.images, ppt.get(), neb.run, name.c_str()))
        std::fprintf(stderr, "Error: quorix_cell_relax_neb() returns non-zero.\n");
}

// Unlike --rx-neb, relaxation of the end images is on only when asked for with "t" or "T".
void quorix_cmd_opt_do_rx_neb_images(QUORIX_CMD_OPT* opt) {
    if (opt->argc <= 3) return print_neb_usage(kRxNebImagesHead, kRxNebImagesTail);
    NebSettings neb;
    if (!parse_neb_settings(opt, 3, neb)) return;
    neb.run.relax = flag_true_only(opt, 6);
    const std::string name = output_name(opt, 10, "");
    if (!images_usable(neb.images)) return;
    std::unique_ptr<QUORIX_CELL*[], ImagesFree> cells(
        quorix_cells_import_cif_from_file(opt->argv[2], neb.images, opt->dir_symcards, opt->dir_unitary),
        ImagesFree{neb.images});
    if (!cells) {
        std::fprintf(stderr, "Error: quorix_cells_import_cif_from_file() returns NULL.\n");
        return;
    }
    for (int i = 1; i < neb.images; i++)
        if (!quorix_neb_images_compatible(cells[0], cells[i])) return;
    QuorixFixedComponents fixed;
    if (!read_constraints(cells[0], quorix_cells_image_name(opt->argv[2], 0).c_str(), fixed)) return;
    neb.run.fixed = &fixed;
    const PropertyPtr ppt = import_property(opt, cells[0], neb.sf);
    if (ppt && quorix_cell_relax_neb_images(cells.get(), neb.images, ppt.get(), neb.run, name.c_str()))
        std::fprintf(stderr, "Error: quorix_cell_relax_neb() returns non-zero.\n");
}

void quorix_cmd_opt_do_fft(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kFftUsage)) return;
    double cap = -0.1;
    if (!parse_double(opt, 3, cap, "cap")) return;
    const bool periodic = flag(opt, 4, true);
    const std::string name = output_name(opt, 5, "");
    const CubePtr cube = read_landscape(opt, periodic);
    if (cube && quorix_fft_analyze_export_to_file(cube.get(), cap, name.c_str()))
        std::fprintf(stderr, "Error: quorix_fft_analyze_export_to_file() returns non-zero.\n");
}

void quorix_cmd_opt_do_fft_cubes(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kFftCubesUsage)) return;
    const bool periodic = flag(opt, 3, true);
    const std::string name = output_name(opt, 4, "");
    const CubePtr cube = read_landscape(opt, periodic);
    if (cube && quorix_fft_analyze_export_cubes_to_file(cube.get(), name.c_str()))
        std::fprintf(stderr, "Error: quorix_fft_analyze_export_cubes_to_file() returns non-zero.\n");
}

void quorix_cmd_opt_do_fp_map(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kFpMapUsage)) return;
    double barrier_max = -0.1;
    if (!parse_double(opt, 3, barrier_max, "barrier_max")) return;
    const bool periodic = flag(opt, 4, true);
    const std::string name = output_name(opt, 5, ".fp.cif");
    const CubePtr cube = read_landscape(opt, periodic);
    if (cube && quorix_fpcube_export_cif_to_file(cube.get(), barrier_max, name.c_str()))
        std::fprintf(stderr, "Error: quorix_fpcube_export_cif_to_file() returns non-zero.\n");
}

void quorix_cmd_opt_do_gh(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 5, kGhUsage)) return;
    char type[3] = "";
    int os = 0;
    double barrier_max = -0.1;
    if (!parse_species(opt, 4, type, os) || !parse_double(opt, 6, barrier_max, "barrier_max")) return;
    const bool periodic = flag(opt, 7, true);
    // The driver reports its failures in one line each.
    quorix_graph_network_calculate_from_file_export_full(opt->argv[2], opt->argv[3], type, os, barrier_max,
                                                         periodic ? 1 : 0, opt->dir_symcards, opt->dir_unitary,
                                                         opt->dir_binary);
}

// Both flags are strict here: anything but t, T, f or F stops the command.
void quorix_cmd_opt_do_sites(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 5, kSitesUsage)) return;
    char type[3] = "";
    int os = 0;
    double de = -0.1;
    double dr = -0.1;
    double barrier_max = -0.1;
    bool print_long = false;
    bool periodic = true;
    if (!parse_species(opt, 4, type, os) || !parse_double(opt, 6, de, "de") || !parse_double(opt, 7, dr, "dr") ||
        !parse_double(opt, 8, barrier_max, "barrier_max") ||
        !parse_strict_flag(opt, 9, print_long, "print_long") || !parse_strict_flag(opt, 10, periodic, "periodic"))
        return;
    quorix_graph_sites_calculate_from_file(opt->argv[2], opt->argv[3], type, os, de, dr, barrier_max, print_long ? 1 : 0,
                                           periodic ? 1 : 0, opt->dir_symcards, opt->dir_unitary, opt->dir_binary);
}

// Supercell counts left at 0 are chosen by the simulation itself.
void quorix_cmd_opt_do_kmc(QUORIX_CMD_OPT* opt) {
    if (opt->argc <= 5) return print_kmc_usage();
    char type[3] = "";
    int os = 0;
    int supercell[3] = {0, 0, 0};
    double sf = -0.1;
    double temperature = -0.1;
    double t_limit = -0.1;
    long step_limit = -1;
    long step_log = -1;
    double cutoff = -0.1;
    if (!parse_species(opt, 4, type, os) || !parse_int(opt, 6, supercell[0], "s[0]") ||
        !parse_int(opt, 7, supercell[1], "s[1]") || !parse_int(opt, 8, supercell[2], "s[2]") ||
        !parse_double(opt, 9, sf, "sf") || !parse_double(opt, 10, temperature, "temperature") ||
        !parse_double(opt, 11, t_limit, "t_limit") || !parse_long(opt, 12, step_limit, "step_limit") ||
        !parse_long(opt, 13, step_log, "step_log") || !parse_double(opt, 14, cutoff, "cutoff"))
        return;
    if (quorix_kmc_calculate_conductivity_from_file(opt->argv[2], opt->argv[3], type, os, supercell, sf, temperature,
                                                    t_limit, step_limit, step_log, cutoff, opt->dir_symcards,
                                                    opt->dir_unitary, opt->dir_binary) < 0.0)
        std::fprintf(stderr, "Error: quorix_kmc_calculate_conductivity_from_file() returns negative value.\n");
}

void quorix_cmd_opt_do_md(QUORIX_CMD_OPT* opt) {
    char type[3] = "";
    QuorixMdSettings s;
    if (!parse_md_settings(opt, "--md", kMdDescription, type, s)) return;
    if (quorix_md_conduction_from_file(s.cif, s.type, s.os, s.sf, s.temperature, s.t_end, s.t_equil, s.dt, s.t_log,
                                       s.dir_symcards, s.dir_unitary, s.dir_binary) < 0)
        std::fprintf(stderr, "Error: quorix_md_conduction_from_file() returns negative value.\n");
}

void quorix_cmd_opt_do_md_std(QUORIX_CMD_OPT* opt) {
    char type[3] = "";
    QuorixMdSettings settings;
    if (!parse_md_settings(opt, "--md-std", kMdStdDescription, type, settings)) return;
    if (quorix_md_std_conduction_from_file(settings) < 0)
        std::fprintf(stderr, "Error: quorix_md_std_conduction_from_file() returns negative value.\n");
}
