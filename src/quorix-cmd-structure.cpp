// Handlers of the commands that read one structure and print it, rewrite it as CIF, find its
// symmetry or sum its charges.
#include <cstdio>

#include "quorix-cmd-args.hpp"
#include "quorix-cmd.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-symmetry.hpp"
#include "quorix-import-write.hpp"

using namespace quorix_cmd;

namespace {

constexpr const char* kPrintCellUsage[] = {
    "Command: --print-cell [input.cif].\n\n",
    "Command: [input.cif]: structure file in cif format.\n",
    "Command: reads the structure, completes it by symmetry and prints the cell with all its atoms.\n",
    "Example: ./quorix.x --print-cell LiFePO4.cif\n",
};

constexpr const char* kPrintSymUsage[] = {
    "Command: --print-sym [input.cif]\n\n",
    "Command: [input.cif]: structure file in cif format.\n",
    "Command: prints the space group and the symmetry operations read with the structure.\n",
    "Example: ./quorix.x --print-sym LiFePO4.cif\n",
};

constexpr const char* kGenCifUsage[] = {
    "Command: --gen-cif [input.cif] | {output_name}.\n\n",
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".cif\" will be "
    "used.\n",
    "Command: writes the loaded cell to file in cif format with its symmetry.\n",
    "Example: ./quorix.x --gen-cif Li2O.cif\n",
    "Example: ./quorix.x --gen-cif Li2O.cif Li2O-copy.cif\n",
};

constexpr const char* kGenCifReducedUsage[] = {
    "Command: --gen-cif-reduced [input.cif] | {output_name}\n\n",
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".reduced.cif\" "
    "will be used.\n",
    "Command: writes the symmetry-distinct atoms of the loaded cell to file in cif format, without symmetry "
    "operations.\n",
    "Example: ./quorix.x --gen-cif-reduced LiFePO4.cif\n",
};

constexpr const char* kGenCifP1Usage[] = {
    "Command: --gen-cif-p1 [input.cif] | {output_name}\n\n",
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".p1.cif\" will "
    "be used.\n",
    "Command: writes all atoms of the loaded cell to file in cif format in space group P1.\n",
    "Example: ./quorix.x --gen-cif-p1 LiFePO4.cif\n",
};

constexpr const char* kCalSymUsage[] = {
    "Command: --cal-sym [input.cif] | {tolerance}\n\n",
    "Command: {tolerance}: largest distance in angstrom at which an atom and the symmetry image of another are "
    "taken as the same. If omitted, set to zero or negative, default value is used. Default value 0.01.\n",
    "Command: attempts to find out the symmetry group of a structure. Only works if the structure is in standard "
    "setting.\n",
    "Example: ./quorix.x --cal-sym LiFePO4.cif\n",
    "Example: ./quorix.x --cal-sym LiFePO4.cif 0.05\n",
};

void export_cif(const std::string& name, QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry) {
    if (quorix_cell_export_cif_to_file(name.c_str(), cell, symmetry))
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
}

SymmetryPtr new_p1() {
    SymmetryPtr p1(quorix_symmetry_new_p1());
    if (!p1) std::fprintf(stderr, "Error: quorix_symmetry_new_p1() returns NULL.\n");
    return p1;
}

}  // namespace

void quorix_cmd_opt_do_print_cell(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kPrintCellUsage)) return;
    if (const Structure structure = read_structure(opt)) quorix_cell_print(structure.cell.get());
}

void quorix_cmd_opt_do_print_sym(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kPrintSymUsage)) return;
    if (const Structure structure = read_structure(opt)) quorix_symmetry_print(structure.symmetry.get());
}

void quorix_cmd_opt_do_gen_cif(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenCifUsage)) return;
    if (const Structure structure = read_structure(opt))
        export_cif(output_name(opt, 3, ".cif"), structure.cell.get(), structure.symmetry.get());
}

// The symmetry-distinct atoms are written as they stand, under P1.
void quorix_cmd_opt_do_gen_cif_reduced(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenCifReducedUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const CellPtr reduced(quorix_cell_reduce_by_symmetry(structure.cell.get(), structure.symmetry.get()));
    if (!reduced) {
        std::fprintf(stderr, "Error: quorix_cell_reduce_by_symmetry() returns NULL.\n");
        return;
    }
    if (const SymmetryPtr p1 = new_p1()) export_cif(output_name(opt, 3, ".reduced.cif"), reduced.get(), p1.get());
}

void quorix_cmd_opt_do_gen_cif_p1(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenCifP1Usage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    if (const SymmetryPtr p1 = new_p1()) export_cif(output_name(opt, 3, ".p1.cif"), structure.cell.get(), p1.get());
}

void quorix_cmd_opt_do_cal_sym(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kCalSymUsage)) return;
    double tolerance = -1.0;
    if (!parse_double(opt, 3, tolerance, "accuracy")) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const SymmetryPtr found(quorix_symmetry_calculate_from_cell(structure.cell.get(), tolerance, opt->dir_symcards));
    if (!found) std::fprintf(stderr, "Error: quorix_symmetry_calculate_from_cell() returns non-zero.\n");
}

// No usage text: the file argument is only checked for presence.
void quorix_cmd_opt_do_cal_charge(QUORIX_CMD_OPT* opt) {
    if (report_if_short(opt, 2)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    double charge = 0.0;
    const QUORIX_CELL& cell = *structure.cell;
    for (long i = 0; i < cell.total; i++) charge += cell.atom[i].os * cell.atom[i].occ;
    std::printf("Total charge per unit cell: %.3f\n", charge);
}
