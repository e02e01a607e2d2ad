// Handlers of the commands that compute or print a site-energy cube and of the GULP and LAMMPS exports.
#include <cstdio>

#include "quorix-cmd-args.hpp"
#include "quorix-cmd.hpp"
#include "quorix-cube.hpp"
#include "quorix-gin.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-property.hpp"
#include "quorix-lammps.hpp"

using namespace quorix_cmd;

namespace {

constexpr const char* kPrintCubeUsage[] = {
    "Command: --print-cube [input.cube] | {flag:periodic}\n\n",
    "Command: [input.cube]: in Guassian cube format. Headers are optional.\n",
    "Command: {flag:periodic}: t or f. If true, the cube is treated as periodic, namely boundaries are not "
    "repeatedly recorded in the file. Default value true.\n",
    "Command: prints the cell stored in the cube file and a summary of the grid.\n",
    "Example: ./quorix.x --print-cube Li2O.cube\n",
    "Example: ./quorix.x --print-cube Li2O.cube f\n",
};

constexpr const char* kGenCubeUsage[] = {
    "Command: --gen-cube [input.cif] [type] [os] | {sf} {resolution} {flag:ignore_conducting_ion} {flag:periodic} "
    "{output_name}\n\n",
    "Command: [type] the element type of conducting ion, two characters.\n",
    "Command: [os] the oxidation state of conducting ion, integer.\n",
    kScreeningFactorLine,
    "Command: {resolution}: preferred seperation between voxels. Actual resolution will be slightly different "
    "guarantee the number of voxels along each lattice parameter is a multiple of 12. Default 0.1.\n",
    "Command: {flag:ignore_conducting_ion}: if set to true, all ions with the same type and os as the conducting "
    "ion are ignored during calculation. Default true.\n",
    "Command: {flag:periodic}: if set to true, generated cube file contains voxels along boundaries only once. "
    "Default true.\n",
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".cube\" will be "
    "used.\n",
    "Command: we advice staying with the default setting. If the screening factor cannot be calculated "
    "automatically, a suitable estimate of about 0.74 can be used.\n",
    "Example: ./quorix.x --gen-cube Li2O.cif Li 1\n",
    "Example: ./quorix.x --gen-cube Li2O.cif Li 1 0.71 0.05 f t\n",
};

constexpr const char* kGenGinLibUsage[] = {
    "Command: --gen-gin-lib [input.cif] | {sf} {output_name}\n\n",
    kScreeningFactorLine,
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".lib\" will be "
    "used.\n",
    "Command: writes the force field of the loaded cell as a library file for GULP.\n",
    "Example: ./quorix.x --gen-gin-lib Li2O.cif\n",
    "Example: ./quorix.x --gen-gin-lib Li2O.cif 0.72 Li2O.lib\n",
};

constexpr const char* kGenGinUsage[] = {
    "Command: --gen-gin [input.cif] | {sf} {output_name}\n\n",
    kScreeningFactorLine,
    "Command: {output_name}: the name of the output file, whose extension is replaced by \".gin\". If omitted, the "
    "input name is used.\n",
    "Command: writes an input file for a molecular dynamics calculation with GULP, force field included.\n",
    "Example: ./quorix.x --gen-gin Li2O.cif\n",
    "Example: ./quorix.x --gen-gin Li2O.cif 0.72 Li2O-md\n",
};

constexpr const char* kGenLammpsUsage[] = {
    "Command: --gen-lammps [input.cif] {type} {os} | {sf} {temperature} {output_name}\n\n",
    "Command: {type}: type of conducting ions, which move in the frozen framework of the other ions.\n",
    "Command: {os}: oxidation state of conducting ions.\n",
    kScreeningFactorLine,
    "Command: {temperature}: temperature in K of the Langevin thermostat. Set to non-positive to use the default "
    "value. Default 300.\n",
    "Command: {output_name}: the base name of the results, written to {output_name}.lammps.data (structure), "
    "{output_name}.lammps.table (pair terms in eV) and {output_name}.lammps.in (input script). If omitted, the input "
    "name is used.\n",
    "Command: writes the structure, the force field and a molecular dynamics input for LAMMPS. Partial occupancies "
    "are assigned at random in a supercell, as for --gen-gin.\n",
    "Example: ./quorix.x --gen-lammps Li2O.cif Li 1\n",
    "Example: ./quorix.x --gen-lammps Li2O.cif Li 1 -1 1000 Li2O-1000K\n",
};

constexpr double kDefaultResolution = 0.1;

// The parameter set of a structure without conducting species; reports a failure with `ending`
// after the message (the inline commands print it without a line break).
PropertyPtr host_parameters(const QUORIX_CMD_OPT* opt, QUORIX_CELL* cell, double sf, const char* ending = "\n") {
    PropertyPtr ppt(quorix_property_import_from_cell(cell, nullptr, 0, sf, opt->dir_unitary, opt->dir_binary));
    if (!ppt) std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL%s", ending);
    return ppt;
}

// The GULP library of the structure given inline, printed after a rule.
void print_inline_library(const QUORIX_CMD_OPT* opt, QUORIX_CELL* cell, double sf) {
    const PropertyPtr ppt = host_parameters(opt, cell, sf, "");
    if (!ppt) return;
    const TextPtr library(quorix_gin_lib_import_from_property(ppt.get()));
    if (!library) {
        std::fprintf(stderr, "Error: quorix_gin_lib_import_from_property() returns NULL.\n");
        return;
    }
    std::printf("\n=====================================\n\n");
    std::fputs(library->content, stdout);
}

}  // namespace

void quorix_cmd_opt_do_print_cube(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kPrintCubeUsage)) return;
    const bool periodic = flag(opt, 3, true);
    QUORIX_CUBE* cube = nullptr;
    QUORIX_CELL* cell = nullptr;
    if (quorix_cube_import_from_file(&cube, &cell, opt->argv[2], periodic ? 1 : 0, opt->dir_unitary)) {
        std::fprintf(stderr, "Error: quorix_cube_import_from_file() returns non-zero.\n");
        return;
    }
    const CubePtr owned_cube(cube);
    const CellPtr owned_cell(cell);
    quorix_cell_print(cell);
    quorix_cube_print_info(cube);
}

// All arguments are checked before the structure is read.
void quorix_cmd_opt_do_gen_cube(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 4, kGenCubeUsage)) return;
    char type[3] = "";
    int os = 0;
    double sf = -0.1;
    double resolution = kDefaultResolution;
    take_type(opt, 3, type);
    if (!parse_int(opt, 4, os, "conducting os") || !parse_double(opt, 5, sf, "screening factor") ||
        !parse_double(opt, 6, resolution, "resolution"))
        return;
    if (resolution <= 0.0) resolution = kDefaultResolution;
    const bool ignore_conducting = flag(opt, 7, true);
    const bool periodic = flag(opt, 8, true);
    const std::string cube_name = output_name(opt, 9, ".cube");
    const std::string cif_name = assigned_cell_name(opt);
    const Structure structure = read_structure(opt);
    if (!structure) return;
    if (quorix_cube_calculate_from_cell_and_write_to_file_assign_partial_occ(
            cube_name.c_str(), cif_name.c_str(), structure.cell.get(), structure.symmetry.get(), type, os, sf,
            resolution, ignore_conducting, periodic, opt->dir_unitary, opt->dir_binary))
        std::fprintf(stderr,
                     "Error: quorix_cube_calculate_from_cell_and_write_to_file_assign_partial_occ() returns non-zero.\n");
}

// Its further arguments are checked only once the structure has been read.
void quorix_cmd_opt_do_gen_gin_lib(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenGinLibUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    double sf = -1.0;
    if (!parse_double(opt, 3, sf, "screening factor")) return;
    const std::string name = output_name(opt, 4, ".lib");
    const PropertyPtr ppt = host_parameters(opt, structure.cell.get(), sf);
    if (!ppt) return;
    if (quorix_gin_lib_write_to_file(ppt.get(), sf, name.c_str()))
        std::fprintf(stderr, "Error: quorix_gin_lib_write_to_file() returns non-zero.\n");
}

// Its further arguments are checked only once the structure has been read.
void quorix_cmd_opt_do_gen_gin(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenGinUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    double sf = -1.0;
    if (!parse_double(opt, 3, sf, "screening factor")) return;
    const GinConfPtr conf(quorix_gin_conf_new(output_name(opt, 4, "").c_str()));
    if (!conf) {
        std::fprintf(stderr, "Error: quorix_gin_conf_new() returns NULL.\n");
        return;
    }
    conf->sf = sf;
    if (quorix_gin_write_to_file(structure.cell.get(), opt->dir_unitary, opt->dir_binary, conf.get()))
        std::fprintf(stderr, "Error: quorix_gin_write_to_file() returns non-zero.\n");
}

void quorix_cmd_opt_do_text_gen_gin_lib(QUORIX_CMD_OPT* opt) {
    if (report_if_short(opt, 2)) return;
    const Structure structure = read_inline_structure(opt);
    if (!structure) return;
    print_inline_library(opt, structure.cell.get(), -1.0);
}

// argv[2] is the screening factor; the structure follows "-:text".
void quorix_cmd_opt_do_text_gen_gin_lib_set_sf(QUORIX_CMD_OPT* opt) {
    if (report_if_short(opt, 3)) return;
    const Structure structure = read_inline_structure(opt);
    if (!structure) return;
    double sf = -0.1;
    if (!parse_double(opt, 2, sf, "sf")) return;
    print_inline_library(opt, structure.cell.get(), sf);
}

void quorix_cmd_opt_do_gen_lammps(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 4, kGenLammpsUsage)) return;
    char type[3] = "";
    QuorixLammpsSettings settings{opt->argv[2], type, 0, -1.0, -1.0, nullptr,
                                  opt->dir_symcards, opt->dir_unitary, opt->dir_binary};
    if (!parse_species(opt, 3, type, settings.os) || !parse_double(opt, 5, settings.sf, "sf") ||
        !parse_double(opt, 6, settings.temperature, "temperature"))
        return;
    const std::string base = output_name(opt, 7, "");
    settings.base = base.c_str();
    quorix_lammps_export_from_file(settings);
}
