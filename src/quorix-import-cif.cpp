// CIF reader: the whole read of a structure into a full cell with its symmetry, from the
// text rows through the atom loop, the oxidation states and the symmetry expansion.
#include "quorix-import-cif.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "quorix-alloc.hpp"
#include "quorix-import-atom.hpp"
#include "quorix-import-cif-fields.hpp"
#include "quorix-import-cif-os.hpp"
#include "quorix-import-cif-text.hpp"
#include "quorix-import-group.hpp"
#include "quorix-import-symmetry.hpp"

namespace {

// Text rows of a CIF, released together.
struct Rows {
    char** row = nullptr;
    long count = 0;
    Rows() = default;
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;
    ~Rows() { quorix_array_char_2D_free(row, static_cast<int>(count)); }
};

// Type and charge columns of the atom loop (steps that depend on which columns the file has).
int read_atom_types(QUORIX_ATOM* atom, QuorixLoopTable& atoms, char** content, long row) {
    if (!quorix_cell_import_cif_exist_keyword("_atom_site_type_symbol", content, row)) {
        std::printf("Message: unable to find keyword '_atom_site_type_symbol'.\n");
        return 0;
    }
    if (!quorix_cell_import_cif_exist_keyword("_atom_type_oxidation_number", content, row)) {
        if (quorix_cell_import_cif_read_atom_type(atom, atoms.table, atoms.rows, atoms.cols)) {
            std::fprintf(stderr, "Error: quorix_cell_import_cif_read_atom_type() returns non-zero.\n");
            return 1;
        }
        return 0;
    }
    QuorixLoopTable types;
    if (types.read("_atom_type_symbol", content, row)) {
        std::fprintf(stderr, "Error: unable to find keyword '_atom_type_symbol' in cif file.\n");
        return 1;
    }
    if (quorix_cell_import_cif_read_atom_typeos(atom, atoms.table, atoms.rows, atoms.cols, types.table, types.rows,
                                                types.cols)) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_read_atom_typeos() returns non-zero.\n");
        return 1;
    }
    return 0;
}

// Names, element types, charges, coordinates and occupancies from the atom loop.
int read_atom_sites(QUORIX_ATOM* atom, long count, QuorixLoopTable& atoms, char** content, long row) {
    if (quorix_cell_import_cif_read_atom_name(atom, atoms.table, atoms.rows, atoms.cols)) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_read_atom_name() returns non-zero.\n");
        return 1;
    }
    if (read_atom_types(atom, atoms, content, row)) return 1;
    if (quorix_cell_import_cif_read_atom(atom, atoms.table, atoms.rows, atoms.cols)) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_read_atom() returns non-zero.\n");
        return 1;
    }
    if (quorix_atom_name_to_type(atom, static_cast<int>(count))) {
        std::fprintf(stderr, "Error: quorix_atom_name_to_typeos() returns non-zero.\n");
        return 1;
    }
    return 0;
}

// Runs `replace` on the array held by `atom`, which may swap it for a new one.
template <class Replace>
int replace_atoms(AtomPtr& atom, Replace&& replace) {
    QUORIX_ATOM* raw = atom.release();
    const int status = replace(&raw);
    atom.reset(raw);
    return status;
}

// The atoms of the asymmetric unit with settled oxidation states, expanded by the symmetry
// into the full cell. Returns the atom array (owned) and its count.
QUORIX_ATOM* read_full_cell_atoms(long* total, char** content, long row, QUORIX_SYMMETRY* symmetry) {
    QuorixLoopTable atoms;
    if (atoms.read("_atom_site_label", content, row)) {
        std::fprintf(stderr, "Error: unable to find compulsory keyword '_atom_site_label' in cif file.\n");
        return nullptr;
    }
    long count = atoms.rows - 1;
    AtomPtr atom(quorix_atom_new(count));
    if (!atom) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_ATOM.\n");
        return nullptr;
    }
    if (read_atom_sites(atom.get(), count, atoms, content, row)) return nullptr;
    if (replace_atoms(atom, [&](QUORIX_ATOM** a) { return quorix_atom_fork_os(a, &count); })) {
        std::fprintf(stderr, "Error: quorix_atom_fork_os() returns non-zero.\n");
        return nullptr;
    }
    if (replace_atoms(atom, [&](QUORIX_ATOM** a) { return quorix_atom_spawn_by_symmetry(a, &count, symmetry); })) {
        std::fprintf(stderr, "Error: quorix_atom_spawn_by_symmetry() returns non-zero.\n");
        return nullptr;
    }
    *total = count;
    return atom.release();
}

// A cell holding `atom`, with its lattice read from the rows.
QUORIX_CELL* new_cell_with_lattice(AtomPtr atom, long total, char** content, long row) {
    CellPtr cell(quorix_cell_new(0));
    if (!cell) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return nullptr;
    }
    cell->atom = atom.release();
    cell->total = total;
    if (quorix_cell_import_cif_read_lattice(cell.get(), content, row)) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_read_lattice() returns non-zero.\n");
        return nullptr;
    }
    return cell.release();
}

// Finite positive edges and angles strictly between 0 and 180 degrees; any other angle has a
// cosine that some angle in that range has too, and would be read as that one without a word.
bool parameters_possible(const QUORIX_CELL* cell) {
    for (int k = 0; k < 3; k++)
        if (!(cell->parameter[k] > 0.0 && std::isfinite(cell->parameter[k]) && cell->angle[k] > 0.0 &&
              cell->angle[k] < 180.0))
            return false;
    return true;
}

// Occupancies above kQuorixMostOccupancy or below 0 are not occupancies.
bool occupancy_possible(const QUORIX_ATOM& atom) {
    if (atom.occ >= 0.0 && atom.occ <= kQuorixMostOccupancy) return true;
    std::fprintf(stderr, "Error: atom %s has an occupancy of %g.\n", atom.name, atom.occ);
    return false;
}

bool occupancies_possible(const QUORIX_CELL* cell) {
    for (long i = 0; i < cell->total; i++)
        if (!occupancy_possible(cell->atom[i])) return false;
    return true;
}

}  // namespace

// ---------------------------------------------------------------- whole structures

int quorix_cell_import_cif_from_text(QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry, QUORIX_TEXT* text,
                                     const char* dir_symcards, const char* dir_unitary) {
    if (!cell || !symmetry || !text || !text->content) {
        std::fprintf(stderr, "Error: QUORIX_TEXT has not been properly initialized.\n");
        return 1;
    }
    *cell = nullptr;
    *symmetry = nullptr;
    std::printf("Message: reading cif file...\n");
    Rows rows;
    if (quorix_text_segregate_into_rows(&rows.row, &rows.count, text, '\n')) {
        std::fprintf(stderr, "Error: quorix_text_segregate_rows() returns non-zero.\n");
        return 1;
    }
    SymmetryPtr sym(quorix_symmetry_import_from_array_char_2D(rows.row, rows.count, dir_symcards));
    if (!sym) {
        std::fprintf(stderr, "Error: quorix_symmetry_import_from_array_char_2D() returns NULL.\n");
        return 1;
    }
    long total = 0;
    AtomPtr atom(read_full_cell_atoms(&total, rows.row, rows.count, sym.get()));
    if (!atom) return 1;
    CellPtr result(new_cell_with_lattice(std::move(atom), total, rows.row, rows.count));
    if (!result) return 1;
    quorix_cell_update_cartesion(result.get());
    const double volume = quorix_cell_calculate_volume(result.get());
    if (!parameters_possible(result.get()) || !(volume > 0.0) || !std::isfinite(volume)) {
        std::fprintf(stderr, "Error: the cell parameters describe no cell.\n");
        return 1;
    }
    if (!occupancies_possible(result.get())) return 1;
    if (quorix_atom_update_default_os(result->atom, result->total, dir_unitary)) {
        std::fprintf(stderr, "Error: quorix_atom_update_default_os() returns non-zero.\n");
        return 1;
    }
    quorix_cell_update_name(result.get());
    std::printf("Message: calculated cell volume = %f\n", volume);
    *cell = result.release();
    *symmetry = sym.release();
    return 0;
}

int quorix_cell_import_cif_from_file(QUORIX_CELL** cell, QUORIX_SYMMETRY** symmetry, const char* cif,
                                     const char* dir_symcards, const char* dir_unitary) {
    TextPtr text(quorix_text_import_from_file(cif));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_text_import_from_file() returns NULL.\n");
        return 1;
    }
    if (quorix_cell_import_cif_from_text(cell, symmetry, text.get(), dir_symcards, dir_unitary) > 0) {
        std::fprintf(stderr, "Error: quorix_cell_import_cif_from_text() returns NULL.\n");
        return 1;
    }
    if (!quorix_symmetry_is_group(*symmetry))
        std::fprintf(stderr,
                     "Warning: the symmetry operations of %s do not form a group; the structure may be misread (try "
                     "--gen-cif-std).\n",
                     cif);
    return 0;
}

QUORIX_CELL* quorix_cell_import_cif_structure(const char* cif, const char* dir_symcards, const char* dir_unitary) {
    QUORIX_CELL* cell = nullptr;
    QUORIX_SYMMETRY* symmetry = nullptr;
    const int failed = quorix_cell_import_cif_from_file(&cell, &symmetry, cif, dir_symcards, dir_unitary);
    quorix_symmetry_free(symmetry);
    if (!failed && cell) return cell;
    quorix_cell_free(cell);
    std::fprintf(stderr, "Error: quorix_cell_import_cif_from_file() returns non-zero.\n");
    return nullptr;
}

std::string quorix_cells_image_name(const char* base, int i) {
    return std::string(base ? base : "") + "." + std::to_string(i) + ".cif";
}

QUORIX_CELL** quorix_cells_import_cif_from_file(const char* filename, int total, const char* dir_symcard,
                                                const char* dir_unitary) {
    if (total < 1) {
        std::fprintf(stderr, "Error: number of cells must be larger than zero.\n");
        return nullptr;
    }
    auto** cells = static_cast<QUORIX_CELL**>(std::calloc(total, sizeof(QUORIX_CELL*)));
    if (!cells) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_CELL[].\n");
        return nullptr;
    }
    for (int i = 0; i < total; i++) {
        cells[i] = quorix_cell_import_cif_structure(quorix_cells_image_name(filename, i).c_str(), dir_symcard,
                                                    dir_unitary);
        if (!cells[i]) {
            for (int k = 0; k < i; k++) quorix_cell_free(cells[k]);
            std::free(cells);
            return nullptr;
        }
    }
    return cells;
}
