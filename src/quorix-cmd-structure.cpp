// Handlers of the commands that read one structure and print it, rewrite it as CIF, find its
// symmetry or sum its charges.
#include "quorix-cmd-args.hpp"
#include "quorix-cmd.hpp"

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

// The commands that rewrite a cell share their pattern and differ in the default name only.
void write_cif(QUORIX_CMD_OPT* opt, Usage usage, const char* suffix) {
    if (print_usage_if_short(opt, 2, usage)) return;
    const std::string name = output_name(opt, 3, suffix);
    report_not_implemented();
}

}  // namespace

void quorix_cmd_opt_do_print_cell(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kPrintCellUsage)) return;
    report_not_implemented();
}

void quorix_cmd_opt_do_print_sym(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kPrintSymUsage)) return;
    report_not_implemented();
}

void quorix_cmd_opt_do_gen_cif(QUORIX_CMD_OPT* opt) { write_cif(opt, kGenCifUsage, ".cif"); }

void quorix_cmd_opt_do_gen_cif_reduced(QUORIX_CMD_OPT* opt) { write_cif(opt, kGenCifReducedUsage, ".reduced.cif"); }

void quorix_cmd_opt_do_gen_cif_p1(QUORIX_CMD_OPT* opt) { write_cif(opt, kGenCifP1Usage, ".p1.cif"); }

void quorix_cmd_opt_do_cal_sym(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kCalSymUsage)) return;
    double tolerance = -1.0;
    if (!parse_double(opt, 3, tolerance, "accuracy")) return;
    report_not_implemented();
}

// No usage text: the file argument is only checked for presence.
void quorix_cmd_opt_do_cal_charge(QUORIX_CMD_OPT* opt) {
    if (report_if_short(opt, 2)) return;
    report_not_implemented();
}
