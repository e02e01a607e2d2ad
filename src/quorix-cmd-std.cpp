// Handlers of the standards-based commands: import of any CIF into a CIF the other commands
// read to the same cell, and the space group by spglib.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include "quorix-cmd-args.hpp"
#include "quorix-cmd.hpp"
#include "quorix-import-spglib.hpp"
#include "quorix-import-std.hpp"
#include "quorix-import-write.hpp"
#include "quorix-os.hpp"

using namespace quorix_cmd;

namespace {

constexpr const char* kSymprecLine =
    "Command: {symprec}: tolerance of the symmetry search in Angstrom; images of one site closer than this are one "
    "atom. If set to non-positive, default value is used. Default 0.01, or more for coordinates given to few "
    "decimals: sqrt(3) * 10^-decimals * the longest cell edge (0.023 for a 13 A cell written to three decimals).\n";

constexpr const char* kGenCifStdUsage[] = {
    "Command: --gen-cif-std [input.cif] | {output_name} {symprec}\n\n",
    "Command: {output_name}: the name of the output file. If omitted, the input name appended by \".std.cif\" will "
    "be used. It must differ from the input.\n",
    kSymprecLine,
    "Command: reads any cif file through a standards-based parser (every operation form, missing occupancies taken "
    "as 1), finds the space group with spglib, takes oxidation states from the file or, where it gives none, "
    "chooses them by bond valence as --gen-cif-os does, and writes a cif file that the other commands read to the "
    "same cell.\n",
    "Example: ./quorix.x --gen-cif-std LiFePO4.cif\n",
    "Example: ./quorix.x --gen-cif-std LiFePO4.cif LiFePO4-std.cif 0.05\n",
};

constexpr const char* kCalSymStdUsage[] = {
    "Command: --cal-sym-std [input.cif] | {symprec}\n\n",
    kSymprecLine,
    "Command: finds the space group with spglib in any setting and prints its number and symbols, the Wyckoff "
    "letter and site symmetry of every atom and the standardised cell. Reads the file as --gen-cif-std does.\n",
    "Example: ./quorix.x --cal-sym-std LiFePO4.cif\n",
};

// The tolerance asked for; 0 when none is, so that the import chooses it for the file.
bool parse_symprec(const QUORIX_CMD_OPT* opt, int index, double& symprec) {
    symprec = 0;
    if (!parse_double(opt, index, symprec, "symprec")) return false;
    if (!(symprec > 0)) symprec = 0;
    return true;
}

bool same_file(const std::string& input, const std::string& output) {
    std::error_code error;
    return input == output || std::filesystem::equivalent(input, output, error);
}

std::string species_text(const char* type, int os) {
    return std::string(type) + std::to_string(std::abs(os)) + (os < 0 ? "-" : "+");
}

// Occupancy summed per element, e.g. "Fe4 Li4 O16 P4".
std::string formula(const QUORIX_CELL& cell) {
    std::map<std::string, double> amount;
    for (long i = 0; i < cell.total; i++) amount[cell.atom[i].type] += cell.atom[i].occ;
    std::string text;
    for (const auto& [type, sum] : amount) {
        char part[64];
        std::snprintf(part, sizeof part, "%s%s%g", text.empty() ? "" : " ", type.c_str(), std::round(sum * 1000) / 1000);
        text += part;
    }
    return text;
}

std::string states(const QUORIX_CELL& cell) {
    std::string text;
    std::string last;
    for (long i = 0; i < cell.total; i++) {
        const std::string species = species_text(cell.atom[i].type, cell.atom[i].os);
        if (species != last) text += (text.empty() ? "" : " ") + species;
        last = species;
    }
    return text;
}

size_t distinct_positions(const QUORIX_STD_GROUP& group) {
    size_t count = 0;
    for (size_t p = 0; p < group.representative.size(); p++)
        if (group.representative[p] == static_cast<int>(p)) count++;
    return count;
}

void print_report(const QUORIX_STD_STRUCTURE& structure, const QUORIX_STD_GROUP& group, bool in_p1, double symprec,
                  bool os_from_file) {
    const QUORIX_CELL& cell = *structure.cell;
    std::printf("STD: data block: %s\n", structure.block.c_str());
    std::printf("STD: symmetry in the file: %s\n", structure.symmetry_source.c_str());
    std::printf("STD: formula per cell: %s\n", formula(cell).c_str());
    std::printf("STD: space group by spglib (symprec %g A): %d %s\n", symprec, group.number,
                group.international.c_str());
    if (in_p1)
        std::printf("Warning: the operations of %s cannot be written exactly in the form the cif reader reads; the "
                    "cell is written in P 1.\n",
                    group.international.c_str());
    std::printf("STD: sites: %zu symmetry-distinct, %ld atoms in the cell\n", distinct_positions(group), cell.total);
    std::printf("STD: oxidation states %s: %s\n", os_from_file ? "from the file" : "chosen by bond valence",
                states(cell).c_str());
    for (const std::string& note : structure.notes) std::printf("STD: dropped: %s\n", note.c_str());
}

void print_standardised_cell(const QUORIX_STD_GROUP& group) {
    std::printf("SYM: standardised cell, vectors as rows:\n");
    for (const auto& row : group.std_lattice) std::printf("SYM:            %11.6f %11.6f %11.6f\n", row[0], row[1], row[2]);
    std::printf("SYM: standardised cell atoms: %zu\n", group.std_position.size());
    for (size_t s = 0; s < group.std_position.size(); s++)
        std::printf("SYM: [%3zu] %9.6f %9.6f %9.6f  %s\n", s, group.std_position[s][0], group.std_position[s][1],
                    group.std_position[s][2], group.species[group.std_species[s]].c_str());
}

}  // namespace

void quorix_cmd_opt_do_gen_cif_std(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kGenCifStdUsage)) return;
    double symprec = 0;
    if (!parse_symprec(opt, 4, symprec)) return;
    const std::string name = output_name(opt, 3, ".std.cif");
    if (same_file(opt->argv[2], name)) {
        std::fprintf(stderr, "Error: the output name %s is the input; give another.\n", name.c_str());
        return;
    }
    QUORIX_STD_STRUCTURE structure;
    if (quorix_std_import_from_file(&structure, opt->argv[2], symprec) ||
        quorix_std_keep_bv_elements(&structure, opt->dir_binary))
        return;
    symprec = structure.tolerance;
    QUORIX_CELL* cell = structure.cell.get();
    QUORIX_STD_GROUP group;
    if (quorix_std_group_find(&group, cell, symprec, false)) return;
    SymmetryPtr symmetry(quorix_std_group_to_symmetry(&group));
    if (symmetry && quorix_std_cell_symmetrise(cell, &group, symmetry.get(), symprec) != 0) symmetry.reset();
    const bool in_p1 = !symmetry;
    if (in_p1) symmetry.reset(quorix_symmetry_new_p1());
    if (!symmetry) {
        std::fprintf(stderr, "Error: quorix_symmetry_new_p1() returns NULL.\n");
        return;
    }
    const bool os_from_file = structure.os_from_file;
    if (!os_from_file && quorix_os_assign_by_bv(cell, symmetry.get(), opt->dir_unitary, opt->dir_binary) != 0) {
        std::fprintf(stderr, "Error: quorix_os_assign_by_bv() returns non-zero.\n");
        return;
    }
    print_report(structure, group, in_p1, symprec, os_from_file);
    if (quorix_cell_export_cif_to_file(name.c_str(), cell, symmetry.get()) != 0)
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_file() returns non-zero.\n");
}

void quorix_cmd_opt_do_cal_sym_std(QUORIX_CMD_OPT* opt) {
    if (print_usage_if_short(opt, 2, kCalSymStdUsage)) return;
    double symprec = 0;
    if (!parse_symprec(opt, 3, symprec)) return;
    QUORIX_STD_STRUCTURE structure;
    if (quorix_std_import_from_file(&structure, opt->argv[2], symprec)) return;
    symprec = structure.tolerance;
    const QUORIX_CELL& cell = *structure.cell;
    QUORIX_STD_GROUP group;
    if (quorix_std_group_find(&group, &cell, symprec, true)) return;
    std::printf("SYM: space group: %d %s\n", group.number, group.international.c_str());
    std::printf("SYM: Hall symbol: %s\n", group.hall.c_str());
    std::printf("SYM: symprec: %g A\n", symprec);
    std::printf("SYM: atoms of the cell: %ld (name, species, x, y, z, Wyckoff letter, site symmetry)\n", cell.total);
    for (long i = 0; i < cell.total; i++) {
        const QUORIX_ATOM& atom = cell.atom[i];
        const long p = group.position_of_atom[i];
        const std::string species = atom.os == kQuorixUnknownState ? atom.type : species_text(atom.type, atom.os);
        std::printf("SYM: [%3ld] %-11s %-5s %9.6f %9.6f %9.6f  %c  %s\n", i, atom.name, species.c_str(), atom.x_f[0],
                    atom.x_f[1], atom.x_f[2], group.wyckoff[p], group.site_symmetry[p].c_str());
    }
    print_standardised_cell(group);
}
