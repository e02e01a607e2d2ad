// Handlers of the commands that compute or print a site-energy cube and of the GULP export.
#include <cstdio>

#include "quorix-cmd-args.hpp"
#include "quorix-cmd.hpp"
#include "quorix-cube.hpp"

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

constexpr double kDefaultResolution = 0.1;

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
    [[maybe_unused]] const bool ignore_conducting = flag(opt, 7, true);
    [[maybe_unused]] const bool periodic = flag(opt, 8, true);
    const std::string cube_name = output_name(opt, 9, ".cube");
    const std::string cif_name = assigned_cell_name(opt);
    const Structure structure = read_structure(opt);
    if (!structure) return;
    report_not_implemented();
}

// Its further arguments are checked only once the structure has been read.
void quorix_cmd_opt_do_gen_gin_lib(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenGinLibUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    double sf = -1.0;
    if (!parse_double(opt, 3, sf, "screening factor")) return;
    const std::string name = output_name(opt, 4, ".lib");
    report_not_implemented();
}

// Its further arguments are checked only once the structure has been read.
void quorix_cmd_opt_do_gen_gin(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenGinUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    double sf = -1.0;
    if (!parse_double(opt, 3, sf, "screening factor")) return;
    const std::string name = output_name(opt, 4, "");
    report_not_implemented();
}

void quorix_cmd_opt_do_text_gen_gin_lib(QUORIX_CMD_OPT* opt) {
    if (report_if_short(opt, 2)) return;
    const Structure structure = read_inline_structure(opt);
    if (!structure) return;
    report_not_implemented();
}

// argv[2] is the screening factor; the structure follows "-:text".
void quorix_cmd_opt_do_text_gen_gin_lib_set_sf(QUORIX_CMD_OPT* opt) {
    if (report_if_short(opt, 3)) return;
    const Structure structure = read_inline_structure(opt);
    if (!structure) return;
    double sf = -0.1;
    if (!parse_double(opt, 2, sf, "sf")) return;
    report_not_implemented();
}
