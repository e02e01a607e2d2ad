// CIF writer: the asymmetric unit of a cell, its lattice, space group, operations,
// species with their oxidation numbers and the atom sites.
#include "quorix-import-write.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"

namespace {

// Appends one line formatted into a 1024-character buffer.
__attribute__((format(printf, 2, 3))) void append_line(std::string& out, const char* format, ...) {
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof(line), format, args);
    va_end(args);
    out += line;
}

char sign_of(int os) { return os < 0 ? '-' : '+'; }

void append_header(std::string& out, QUORIX_CELL* cell, const QUORIX_SYMMETRY* symmetry) {
    append_line(out, "data_generated-by-quorix\r\n\n");
    append_line(out, "_chemical_name_systematic         '%s'\r\n", cell->name);
    append_line(out, "_cell_length_a                    %.3f\r\n", cell->parameter[0]);
    append_line(out, "_cell_length_b                    %.3f\r\n", cell->parameter[1]);
    append_line(out, "_cell_length_c                    %.3f\r\n", cell->parameter[2]);
    append_line(out, "_cell_angle_alpha                 %.3f\r\n", cell->angle[0]);
    append_line(out, "_cell_angle_beta                  %.3f\r\n", cell->angle[1]);
    append_line(out, "_cell_angle_gamma                 %.3f\r\n", cell->angle[2]);
    append_line(out, "_cell_volume                      %.3f\r\n", quorix_cell_calculate_volume(cell));
    append_line(out, "_cell_formula_units_Z             %d\r\n", cell->Z);
    append_line(out, "_symmetry_space_group_name_H-M    '%s'\r\n", symmetry->sg_HM);
    append_line(out, "_symmetry_Int_Tables_number       %d\r\n", symmetry->sg_id);
}

void append_operations(std::string& out, const QUORIX_SYMMETRY* symmetry) {
    append_line(out, "\r\nloop_\r\n");
    append_line(out, "  _symmetry_equiv_pos_site_id\r\n");
    append_line(out, "  _symmetry_equiv_pos_as_xyz\r\n");
    for (int i = 0; i < symmetry->total; i++) append_line(out, "  %3d    '%s'\r\n", i + 1, symmetry->card[i].text);
}

// One line per run of equal (type, oxidation state) in the sorted atoms.
void append_species(std::string& out, const QUORIX_CELL* reduced) {
    append_line(out, "\r\nloop_\r\n");
    append_line(out, "  _atom_type_symbol\r\n");
    append_line(out, "  _atom_type_oxidation_number\r\n");
    for (long i = 0; i < reduced->total; i++) {
        const QUORIX_ATOM& atom = reduced->atom[i];
        const bool same_as_previous = i > 0 && reduced->atom[i - 1].os == atom.os &&
                                      std::string(reduced->atom[i - 1].type) == atom.type;
        if (same_as_previous) continue;
        append_line(out, "  %s%d%c     %d\r\n", atom.type, std::abs(atom.os), sign_of(atom.os), atom.os);
    }
}

void append_sites(std::string& out, const QUORIX_CELL* reduced) {
    append_line(out, "\r\nloop_\r\n");
    append_line(out, "  _atom_site_label\r\n");
    append_line(out, "  _atom_site_type_symbol\r\n");
    append_line(out, "  _atom_site_fract_x\r\n");
    append_line(out, "  _atom_site_fract_y\n");
    append_line(out, "  _atom_site_fract_z\r\n");
    append_line(out, "  _atom_site_occupancy\r\n");
    for (long i = 0; i < reduced->total; i++) {
        const QUORIX_ATOM& atom = reduced->atom[i];
        append_line(out, "  %s  %s%d%c  %.3f  %.3f  %.3f  %.3f\r\n", atom.name, atom.type, std::abs(atom.os),
                    sign_of(atom.os), atom.x_f[0], atom.x_f[1], atom.x_f[2], atom.occ);
    }
}

}  // namespace

QUORIX_TEXT* quorix_cell_export_cif_to_text(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry) {
    SymmetryPtr p1;
    if (!symmetry) {
        std::printf("Message: symmetry info missing. Using P1.\n");
        p1.reset(quorix_symmetry_new_p1());
        if (!p1) {
            std::fprintf(stderr, "Error: quorix_symmetry_new_p1() returns NULL.\n");
            return nullptr;
        }
        symmetry = p1.get();
    }
    CellPtr reduced(quorix_cell_reduce_by_symmetry(cell, symmetry));
    if (!reduced) {
        std::fprintf(stderr, "Error: quorix_cell_reduce_by_symmetry() returns NULL.\n");
        return nullptr;
    }
    quorix_atom_sort(reduced->atom, reduced->total);

    std::string out;
    append_header(out, cell, symmetry);
    append_operations(out, symmetry);
    append_species(out, reduced.get());
    append_sites(out, reduced.get());
    append_line(out, "\r\n#end of data\r\n");

    QUORIX_TEXT* text = quorix_text_new(out.c_str());
    if (!text) std::fprintf(stderr, "Error: quorix_text_new() returns NULL.\n");
    return text;
}

int quorix_cell_export_cif_to_file(const char* filename, QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry) {
    TextPtr text(quorix_cell_export_cif_to_text(cell, symmetry));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_cell_export_cif_to_text() returns NULL.\n");
        return 1;
    }
    if (quorix_text_export_to_file(text.get(), filename)) {
        std::fprintf(stderr, "Error: quorix_text_export_to_file() returns non-zero.\n");
        return 1;
    }
    std::printf("Message: cif file saved to %s\n", filename);
    return 0;
}
