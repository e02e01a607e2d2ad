// CIF writer: exact layout, the space-group lines of each symmetry source, file output.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support.hpp"
#include "quorix-alloc.hpp"
#include "quorix-import-write.hpp"

namespace {

// An orthorhombic 4 x 5 x 6 cell with O, Li and Na (state 0) in that unsorted order.
CellPtr three_species_cell() {
    CellPtr cell(quorix_cell_new(3));
    const double lengths[3] = {4.0, 5.0, 6.0};
    for (int k = 0; k < 3; k++) {
        cell->parameter[k] = lengths[k];
        cell->angle[k] = 90.0;
    }
    cell->Z = 2;
    cell->atom[0] = quorix_test::make_atom("O1", "O", -2, 0.5, 0.5, 0.5, 1.0);
    cell->atom[1] = quorix_test::make_atom("Li1", "Li", 1, 0.0, 0.0, 0.0, 0.5);
    cell->atom[2] = quorix_test::make_atom("Na1", "Na", 0, 0.25, 0.125, 0.0625, 1.0);
    quorix_copy_bounded(cell->name, "O2-:1.000 Li1+:0.500 Na0+:1.000 ", sizeof(cell->name));
    return cell;
}

std::string export_text(QUORIX_CELL* cell, QUORIX_SYMMETRY* symmetry, std::string* out = nullptr) {
    quorix_test::Capture capture;
    TextPtr text(quorix_cell_export_cif_to_text(cell, symmetry));
    const std::string printed = capture.finish().out;
    if (out) *out = printed;
    return text ? std::string(text->content) : "(null)";
}

}  // namespace

TEST(WriteCif, P1LayoutWhenNoSymmetryIsGiven) {
    CellPtr cell = three_species_cell();
    std::string printed;
    const std::string text = export_text(cell.get(), nullptr, &printed);
    EXPECT_EQ(printed, "Message: symmetry info missing. Using P1.\n");
    const std::string expected =
        "data_generated-by-quorix\r\n\n"
        "_chemical_name_systematic         'O2-:1.000 Li1+:0.500 Na0+:1.000 '\r\n"
        "_cell_length_a                    4.000\r\n"
        "_cell_length_b                    5.000\r\n"
        "_cell_length_c                    6.000\r\n"
        "_cell_angle_alpha                 90.000\r\n"
        "_cell_angle_beta                  90.000\r\n"
        "_cell_angle_gamma                 90.000\r\n"
        "_cell_volume                      120.000\r\n"
        "_cell_formula_units_Z             2\r\n"
        "_symmetry_space_group_name_H-M    'P 1'\r\n"
        "_symmetry_Int_Tables_number       1\r\n"
        "\r\nloop_\r\n"
        "  _symmetry_equiv_pos_site_id\r\n"
        "  _symmetry_equiv_pos_as_xyz\r\n"
        "    1    'x, y, z'\r\n"
        "\r\nloop_\r\n"
        "  _atom_type_symbol\r\n"
        "  _atom_type_oxidation_number\r\n"
        "  Li1+     1\r\n"
        "  Na0+     0\r\n"
        "  O2-     -2\r\n"
        "\r\nloop_\r\n"
        "  _atom_site_label\r\n"
        "  _atom_site_type_symbol\r\n"
        "  _atom_site_fract_x\r\n"
        "  _atom_site_fract_y\n"
        "  _atom_site_fract_z\r\n"
        "  _atom_site_occupancy\r\n"
        "  Li1  Li1+  0.000  0.000  0.000  0.500\r\n"
        "  Na1  Na0+  0.250  0.125  0.062  1.000\r\n"
        "  O1  O2-  0.500  0.500  0.500  1.000\r\n"
        "\r\n#end of data\r\n";
    EXPECT_EQ(text, expected);
}
