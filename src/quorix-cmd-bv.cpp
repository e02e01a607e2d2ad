// Handlers of the force-field, bond-valence, coordination, total-energy and random-assignment
// commands.
#include "quorix-cmd-args.hpp"
#include "quorix-cmd.hpp"
#include "quorix-import-build.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-write.hpp"

#include <cstdio>

#include "quorix-bv.hpp"
#include "quorix-cn.hpp"
#include "quorix-import-property.hpp"
#include "quorix-os.hpp"
#include "quorix-rx.hpp"

using namespace quorix_cmd;

namespace {

constexpr const char* kAtomNameLine =
    "Command: {atom_name}: name of the center atom. if multiple atoms have the same name, only the first atom is "
    "considered.\n";
constexpr const char* kTypeLine = "Command: {type}: type of the center atom.\n";
constexpr const char* kOsLine = "Command: {os}: oxidation state of the center atom.\n";
constexpr const char* kTypeCLine = "Command: {type_c}: type of the coordinated atom.\n";
constexpr const char* kOsCLine = "Command: {os_c}: oxidation state of the coordinated atom.\n";
constexpr const char* kRdsCutoffLine =
    "Command: {rds_cutoff}: controlling the sensitivity of detecting coordination shells. The larger this parameter "
    "is, the smaller each shell tends to be. Only change when necessary. If omitted, set to zero or negative, "
    "default value is used. Default value 0.01.\n";
constexpr const char* kAssignOutputLine =
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".assign.cif\" "
    "will be used.\n";

constexpr const char* kPrintPptUsage[] = {
    "Command: --print-ppt [input.cif] | {screening factor}.\n\n",
    "Command: {screening factor}: a double in (0, 1)\n",
    "Command: prints the force-field parameters of the loaded cell in the layout of the parameter files.\n",
    "Example: ./quorix.x --print-ppt Li2O.cif.\n",
    "         will trigger automatic calculation of screening factor.\n",
    "Example: ./quorix.x --print-ppt Li2O.cif 0.72.\n",
    "         will use provided screening factor 0.72.\n",
};

constexpr const char* kPrintPptFullUsage[] = {
    "Command: --print-ppt-full: [input.cif] | {screening factor} {conducting ion type} {conducting ion os}.\n\n",
    "Command: reserved for debugging purpose\n",
    "Command: {screening factor}: a double in (0, 1). Ignored when the conducting ion is given; the screening factor "
    "is then calculated automatically.\n",
    "Command: {conducting ion type} {conducting ion os}: type and oxidation state of the conducting ion, given "
    "together.\n",
    "Example: ./quorix.x --print-ppt-full Li2O.cif 0.72\n",
    "Example: ./quorix.x --print-ppt-full Li2O.cif -1 Li 1\n",
};

constexpr const char* kCalBvUsage[] = {
    "Command: --cal-bv [intput.cif]\n\n",
    "Command: calculates and prints all bond valence sums for each ion.\n",
    "Example: ./quorix.x --cal-bv LiFePO4.cif\n",
};

constexpr const char* kCalBvTypeUsage[] = {
    "Command: --cal-bv-type [intput.cif] [type1] [os1] [type2] [os2]\n\n",
    "Command: {type1}: type of the cation.\n",
    "Command: {os1}: oxidation state of the cation.\n",
    "Command: {type2}: type of the anion.\n",
    "Command: {os2}: oxidation state of the anion.\n",
    "Command: calculates and prints bond valence sums for the specified ion type pair.\n",
    "Example: ./quorix.x --cal-bv LiFePO4.cif Fe 2 O -2\n",
};

constexpr const char* kCalGiiUsage[] = {
    "Command: --cal-gii [input.cif]\n\n",
    "Command: calculates global instability index. The larger it is, the less stable this structure is ESTIMATED "
    "to be.\n",
    "Example: ./quorix.x --cal-gii LiFePO4.cif\n",
};

constexpr const char* kCalCnUsage[] = {
    "Command: --cal-cn [input.cif] {atom_name} | {rds_cutoff}\n\n",
    kAtomNameLine,
    kRdsCutoffLine,
    "Command: calculates coordination number of the specified atom.\n",
    "Example: ./quorix.x --cal-cn LiFePO4.cif Fe1\n",
};

constexpr const char* kCalCnAtomUsage[] = {
    "Command: --cal-cn-atom [input.cif] {atom_name} {type_c} {os_c} | {rds_cutoff}\n\n",
    kAtomNameLine,
    kTypeCLine,
    kOsCLine,
    kRdsCutoffLine,
    "Command: calculates coordination shell of the specified atom.\n",
    "Example: ./quorix.x --cal-cn-atom LiFePO4.cif Fe1 O -2\n",
};

constexpr const char* kCalCnTypeUsage[] = {
    "Command: --cal-cn-type [input.cif] {type} {os} {type_c} {os_c} | {rds_cutoff}\n\n",
    kTypeLine,
    kOsLine,
    kTypeCLine,
    kOsCLine,
    kRdsCutoffLine,
    "Command: calculates averaged coordination number of the specified pair of ions.\n",
    "Example: ./quorix.x --cal-cn-type LiFePO4.cif Fe 2 O -2\n",
};

constexpr const char* kCalCnBvUsage[] = {
    "Command: --cal-cn-bv [input.cif] {atom_name}\n\n",
    kAtomNameLine,
    "Command: calculates coordination number of the specified atom by bond valence.\n",
    "Command: lists the bonds of the atom to its counter-ions within the bond-valence cutoff, strongest first: "
    "distance r, occupancy, running occupancy n, bond valence bv, running sum bv_sum, running mean bv_ave and the "
    "share of the bond valence sum reached, of_sum.\n",
    "Command: the coordination number is n at the first bond where the running sum reaches 95% of the bond valence "
    "sum (marked \"<- cn\"). Weaker bonds than 0.01 v.u. beyond it are summed but not listed.\n",
    "Example: ./quorix.x --cal-cn-bv LiFePO4.cif Fe1\n",
};

constexpr const char* kGenCifOsUsage[] = {
    "Command: --gen-cif-os [input.cif] | {output_name}\n\n",
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".os.cif\" will "
    "be used.\n",
    "Command: assigns oxidation states by bond valence: of the charge-neutral combinations of the common oxidation "
    "states of each element, the one whose bond valence sums fit the states best. When no such combination is "
    "neutral, every tabulated state is tried, then one element of mixed valence over its sites.\n",
    "Command: the cell is written in cif format with an oxidation-number loop that the other commands read.\n",
    "Example: ./quorix.x --gen-cif-os LiFePO4.cif\n",
    "Example: ./quorix.x --gen-cif-os LiFePO4.cif LiFePO4-os.cif\n",
};

constexpr const char* kCalTotEnUsage[] = {
    "Command: --cal-tot-en [input.cif] | {sf}\n\n",
    kScreeningFactorLine,
    "Command: calculates the total energy of the loaded cell in eV.\n",
    "Example: ./quorix.x --cal-tot-en Li2O.cif\n",
    "Example: ./quorix.x --cal-tot-en Li2O.cif 0.72\n",
};

constexpr const char* kGenCifAssignUsage[] = {
    "Command: --gen-cif-assign [input.cif] [type] [os] | {output_name}\n\n",
    "Command: [type] the element type of partially occupied site, two characters.\n",
    "Command: [os] the oxidation state of partially occupied site, integer.\n",
    kAssignOutputLine,
    "Command: partially occupied sites of the specified ion are randomly assigned occupancy = 1.0; the result is "
    "written without symmetry.\n",
    "Example: ./quorix.x --gen-cif-assign Li6PS5Cl.cif Li 1\n",
};

constexpr const char* kGenCifAssignAllUsage[] = {
    "Command: --gen-cif-assign-all [input.cif] | {output_name}\n\n",
    kAssignOutputLine,
    "Command: all partially occupied sites are randomly assigned occupancy = 1.0; the result is written without "
    "symmetry.\n",
    "Example: ./quorix.x --gen-cif-assign-all Li6PS5Cl.cif\n",
};

// Writes a randomly assigned cell without symmetry; `assignment` names the function that made it.
void write_assigned(CellPtr assigned, const char* assignment, const std::string& name) {
    if (!assigned) {
        std::fprintf(stderr, "Error: %s() returns NULL.\n", assignment);
        return;
    }
    if (quorix_cell_export_cif_to_file(name.c_str(), assigned.get(), nullptr))
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
}

// Bond valence sums of a structure; reports a failure and returns null.
BvPtr bond_valence_sums(const QUORIX_CMD_OPT* opt, const Structure& structure) {
    BvPtr bv(quorix_bv_calculate_from_cell(structure.cell.get(), structure.symmetry.get(), opt->dir_unitary,
                                           opt->dir_binary));
    if (!bv) std::fprintf(stderr, "Error: quorix_bv_calculate_from_cell() returns non-zero.\n");
    return bv;
}

// --cal-bv and --text-cal-bv: the sums with their parts, then the GII and its verdict.
void print_bond_valence_sums(const QUORIX_CMD_OPT* opt, const Structure& structure) {
    const BvPtr bv = bond_valence_sums(opt, structure);
    if (!bv) return;
    quorix_bv_print(bv.get());
    quorix_gii_calculate_from_bv(bv.get());
}

// Omitted radial-density cutoff: the coordination functions replace it by their default.
constexpr double kDefaultRdsCutoff = -0.1;

// The force-field parameter set of a structure read (sorting its atoms); reports a failure.
PropertyPtr import_property(const QUORIX_CMD_OPT* opt, const Structure& structure, const char* conducting_type,
                            int conducting_os, double sf) {
    PropertyPtr ppt(quorix_property_import_from_cell(structure.cell.get(), conducting_type, conducting_os, sf,
                                                     opt->dir_unitary, opt->dir_binary));
    if (!ppt) std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
    return ppt;
}

}  // namespace

// Its further arguments are checked only once the structure has been read.
void quorix_cmd_opt_do_print_ppt(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kPrintPptUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    double sf = -1.0;
    if (!parse_double(opt, 3, sf, "sf")) return;
    const PropertyPtr ppt = import_property(opt, structure, nullptr, 0, sf);
    if (ppt) quorix_property_print_format(ppt.get());
}

// With a conducting ion given (argc of 6 or more) the screening factor argument is not read.
void quorix_cmd_opt_do_print_ppt_full(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kPrintPptFullUsage)) return;
    double sf = -1.0;
    char type[3] = "";
    int os = 0;
    if (opt->argc >= 6) {
        take_type(opt, 4, type);
        if (!scan_int(opt->argv[5], os)) {
            std::fprintf(stderr, "Error: wrong oxidation state.\n");
            return;
        }
    } else if (!parse_double(opt, 3, sf, "sf")) {
        return;
    }
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const PropertyPtr ppt = import_property(opt, structure, type[0] ? type : nullptr, os, sf);
    if (ppt) quorix_property_print(ppt.get());
}

void quorix_cmd_opt_do_cal_bv(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kCalBvUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    print_bond_valence_sums(opt, structure);
}

// No usage text: the file argument is only checked for presence.
void quorix_cmd_opt_do_cal_bv_gui(QUORIX_CMD_OPT* opt) {
    if (report_if_short(opt, 2)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const BvPtr bv = bond_valence_sums(opt, structure);
    if (bv) quorix_bv_print_gui(bv.get());
}

void quorix_cmd_opt_do_cal_bv_type(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 6, kCalBvTypeUsage)) return;
    char type1[3] = "", type2[3] = "";
    int os1 = 0, os2 = 0;
    if (!parse_type(opt, 3, type1, "type1") || !parse_int(opt, 4, os1, "os1") || !parse_type(opt, 5, type2, "type2") ||
        !parse_int(opt, 6, os2, "os2"))
        return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const BvPtr bv(quorix_bv_calculate_from_cell_with_type(structure.cell.get(), structure.symmetry.get(), type1, os1,
                                                        type2, os2, opt->dir_unitary, opt->dir_binary));
    if (!bv) {
        std::fprintf(stderr, "Error: quorix_bv_calculate_from_cell_with_type() returns NULL.\n");
        return;
    }
    quorix_bv_print(bv.get());
}

void quorix_cmd_opt_do_cal_gii(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kCalGiiUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const double gii = quorix_gii_calculate_from_cell(structure.cell.get(), structure.symmetry.get(), opt->dir_unitary,
                                                      opt->dir_binary);
    if (gii < 0) std::fprintf(stderr, "Error: quorix_gii_calculate_from_cell() returns negative value.\n");
}

void quorix_cmd_opt_do_cal_cn(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 3, kCalCnUsage)) return;
    char name[8] = "";
    double rds_cutoff = kDefaultRdsCutoff;
    if (!parse_name(opt, 3, name, "atom_name") || !parse_double(opt, 4, rds_cutoff, "rds_tiny")) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    quorix_cn_calculate(structure.cell.get(), name, rds_cutoff);
}

void quorix_cmd_opt_do_cal_cn_atom(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 5, kCalCnAtomUsage)) return;
    char name[8] = "", type_c[3] = "";
    int os_c = 0;
    double rds_cutoff = kDefaultRdsCutoff;
    if (!parse_name(opt, 3, name, "atom_name") || !parse_type(opt, 4, type_c, "type_c") ||
        !parse_int(opt, 5, os_c, "os_c") || !parse_double(opt, 6, rds_cutoff, "rds_tiny"))
        return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    quorix_cn_calculate_by_name(structure.cell.get(), name, type_c, os_c, rds_cutoff);
}

void quorix_cmd_opt_do_cal_cn_type(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 6, kCalCnTypeUsage)) return;
    char type[3] = "", type_c[3] = "";
    int os = 0, os_c = 0;
    double rds_cutoff = kDefaultRdsCutoff;
    if (!parse_species(opt, 3, type, os) || !parse_type(opt, 5, type_c, "type_c") || !parse_int(opt, 6, os_c, "os_c") ||
        !parse_double(opt, 7, rds_cutoff, "rds_tiny"))
        return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    quorix_cn_calculate_by_type(structure.cell.get(), structure.symmetry.get(), type, os, type_c, os_c, rds_cutoff);
}

void quorix_cmd_opt_do_cal_cn_bv(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 3, kCalCnBvUsage)) return;
    char name[8] = "";
    if (!parse_name(opt, 3, name, "atom_name")) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    quorix_cn_calculate_by_bv(structure.cell.get(), structure.symmetry.get(), name, opt->dir_unitary, opt->dir_binary);
}

void quorix_cmd_opt_do_cal_tot_en(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kCalTotEnUsage)) return;
    double sf = -1.0;
    if (!parse_double(opt, 3, sf, "sf")) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const PropertyPtr ppt = import_property(opt, structure, nullptr, 0, sf);
    if (!ppt) return;
    const double energy = quorix_cell_total_energy(structure.cell.get(), ppt.get());
    if (energy != 0.0) std::printf("Message: total energy = %lf eV\n", energy);
}

// Its further arguments are checked only once the structure has been read.
void quorix_cmd_opt_do_gen_cif_assign(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 4, kGenCifAssignUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    char type[3] = "";
    int os = 0;
    take_type(opt, 3, type);
    if (!parse_int(opt, 4, os, "os")) return;
    const std::string name = output_name(opt, 5, ".assign.cif");
    write_assigned(CellPtr(quorix_cell_assign_partial_occ_at_conducting_site(structure.cell.get(), type, os)),
                   "quorix_cell_assign_partial_occ_at_conducting_site", name);
}

void quorix_cmd_opt_do_gen_cif_assign_all(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenCifAssignAllUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const std::string name = output_name(opt, 3, ".assign.cif");
    write_assigned(CellPtr(quorix_cell_assign_partial_occ_all(structure.cell.get())),
                   "quorix_cell_assign_partial_occ_all", name);
}

void quorix_cmd_opt_do_text_cal_bv(QUORIX_CMD_OPT* opt) {
    if (report_if_short(opt, 2)) return;
    const Structure structure = read_inline_structure(opt);
    if (!structure) return;
    print_bond_valence_sums(opt, structure);
}

void quorix_cmd_opt_do_gen_cif_os(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenCifOsUsage)) return;
    const Structure structure = read_structure(opt);
    if (!structure) return;
    const std::string name = output_name(opt, 3, ".os.cif");
    QUORIX_CELL* cell = structure.cell.get();
    if (quorix_os_assign_by_bv(cell, structure.symmetry.get(), opt->dir_unitary, opt->dir_binary) != 0) {
        std::fprintf(stderr, "Error: quorix_os_assign_by_bv() returns non-zero.\n");
        return;
    }
    if (quorix_cell_export_cif_to_file(name.c_str(), cell, structure.symmetry.get()) != 0)
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
}
