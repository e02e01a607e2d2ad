// Export for GULP: the force field of a structure as a library, and a molecular-dynamics input.
#include "quorix-gin.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "quorix-import-build.hpp"
#include "quorix-import-occ.hpp"
#include "quorix-import-pair.hpp"
#include "quorix-import-property.hpp"

namespace {


// Appends one line formatted into a 1024-character buffer.
__attribute__((format(printf, 2, 3))) void add_line(std::string& text, const char* format, ...) {
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    text += line;
}

char sign_of(int os) { return os >= 0 ? '+' : '-'; }

int magnitude(int os) { return os < 0 ? -os : os; }

bool set_usable(const QUORIX_PROPERTY* ppt) {
    return ppt && ppt->total > 0 && ppt->type && ppt->os && ppt->uni && ppt->bin;
}

// Species i and j as GULP core labels, e.g. "Li1+ core O2- core".
void add_pair_label(std::string& text, const QUORIX_PROPERTY* ppt, int i, int j) {
    add_line(text, "%2s%d%c core %2s%d%c core", ppt->type[i], magnitude(ppt->os[i]), sign_of(ppt->os[i]), ppt->type[j],
             magnitude(ppt->os[j]), sign_of(ppt->os[j]));
}

std::string library(const QUORIX_PROPERTY* ppt, double sf) {
    std::string text;
    add_line(text, "# quorix forcefield generated for MD using GULP\r\n");
    add_line(text, "# Turn off Ewald sum and charged interactions\r\n");
    add_line(text, "keyword noelectrostatics\r\n");
    add_line(text, "species\r\n");
    for (int i = 0; i < ppt->total; i++)
        add_line(text, "%2s%d%c core %11.8f\r\n", ppt->type[i], magnitude(ppt->os[i]), sign_of(ppt->os[i]),
                 ppt->uni[i].q);
    add_line(text, "morse    ener\r\n");
    for (int i = 0; i < ppt->total; i++)
        for (int j = 0; j < ppt->total; j++) {
            const QUORIX_PROPERTY_BINARY& p = ppt->bin[i][j];
            if (!(p.cutoff > 0)) continue;
            add_pair_label(text, ppt, i, j);
            add_line(text, " %9.6f %9.6f %9.6f %9.6f %9.6f %9.6f\r\n", kQuorixEvPerUnit * p.d0, 1.0 / p.b, p.rmin, 0.0, 0.0,
                     kQuorixCoulombReach);
        }
    add_line(text, "qerfc    ener\r\n");
    add_line(text, "# fractional radius = %f\r\n", sf);
    for (int i = 0; i < ppt->total; i++)
        for (int j = i; j < ppt->total; j++) {
            if (static_cast<long>(ppt->os[i]) * ppt->os[j] <= 0) continue;
            add_pair_label(text, ppt, i, j);
            add_line(text, " %9.6f %9.6f\r\n", sf * (ppt->uni[i].rc + ppt->uni[j].rc), kQuorixCoulombReach);
        }
    return text;
}

QUORIX_TEXT* library_text(const QUORIX_PROPERTY* ppt, double sf) {
    if (!set_usable(ppt)) {
        std::fprintf(stderr, "Error: QUORIX_PROPERTY has not been properly initialized.\n");
        return nullptr;
    }
    QUORIX_TEXT* text = quorix_text_new(library(ppt, sf).c_str());
    if (!text) std::fprintf(stderr, "Error: quorix_text_new() returns NULL.\n");
    return text;
}

bool fully_occupied(const QUORIX_CELL* cell, bool report) {
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        if (atom.occ >= 1.0) continue;
        if (report)
            std::fprintf(stderr, "Error: partial occupancy detected at atom[%ld]: %s(%d%c); occ=%f\n", i, atom.type,
                         magnitude(atom.os), sign_of(atom.os), atom.occ);
        return false;
    }
    return true;
}

std::string structure_and_run(const QUORIX_CELL* cell, const QUORIX_GIN_CONF* conf) {
    std::string text;
    add_line(text, "conv md\r\n");
    add_line(text, "title\r\n%s\r\nend\r\n", cell->name);
    add_line(text, "cell\r\n%f %f %f %f %f %f\r\n", cell->parameter[0], cell->parameter[1], cell->parameter[2],
             cell->angle[0], cell->angle[1], cell->angle[2]);
    add_line(text, "fractional   %ld\r\n", cell->total);
    for (long i = 0; i < cell->total; i++) {
        const QUORIX_ATOM& atom = cell->atom[i];
        add_line(text, "%2s%d%c core %8.6f %8.6f %8.6f\r\n", atom.type, magnitude(atom.os), sign_of(atom.os),
                 atom.x_f[0], atom.x_f[1], atom.x_f[2]);
    }
    add_line(text, "ensemble %s\r\n", conf->ensemble);
    add_line(text, "temperature   %7.3f\r\n", conf->temperature);
    add_line(text, "equilibration %7.3f ps\r\n", conf->t_eql);
    add_line(text, "production    %7.3f ps\r\n", conf->t_pro);
    add_line(text, "timestep      %7.3f ps\r\n", conf->dt);
    add_line(text, "sample        %7.3f ps\r\n", conf->t_sample);
    add_line(text, "write         %7.3f ps\r\n", conf->t_write);
    add_line(text, "output dcd       %s.dcd\r\n", conf->filename);
    add_line(text, "output xyz       %s.xyz\r\n", conf->filename);
    add_line(text, "dump every 1     %s.grs\r\n", conf->filename);
    return text;
}

int write_text(const QUORIX_TEXT* text, const std::string& path, const char* kind) {
    if (quorix_text_export_to_file(text, path.c_str())) {
        std::fprintf(stderr, "Error: quorix_text_export_to_file() returns non-zero value.\n");
        return 1;
    }
    std::printf("Message: %s file saved to %s\n", kind, path.c_str());
    return 0;
}

}  // namespace

QUORIX_GIN_CONF* quorix_gin_conf_new(const char* path) {
    auto* conf = static_cast<QUORIX_GIN_CONF*>(std::calloc(1, sizeof(QUORIX_GIN_CONF)));
    if (!conf) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_GIN_CONF.\n");
        return nullptr;
    }
    std::string name = path ? path : "quorix-default";
    const std::string::size_type dot = name.rfind('.');
    const std::string::size_type slash = name.rfind('/');
    if (path && dot != std::string::npos && (slash == std::string::npos || dot > slash)) name.resize(dot);
    conf->filename = static_cast<char*>(std::malloc(name.size() + 1));
    if (!conf->filename) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_GIN_CONF->filename.\n");
        std::free(conf);
        return nullptr;
    }
    std::memcpy(conf->filename, name.c_str(), name.size() + 1);
    quorix_copy_bounded(conf->ensemble, "nvt", sizeof conf->ensemble);
    conf->temperature = 298.0;
    conf->t_eql = 5.0;
    conf->t_pro = 25.0;
    conf->dt = 0.001;
    conf->t_sample = 0.5;
    conf->t_write = 0.5;
    conf->sf = -1.0;
    return conf;
}

void quorix_gin_conf_free(QUORIX_GIN_CONF* conf) {
    if (!conf) return;
    std::free(conf->filename);
    std::free(conf);
}

QUORIX_TEXT* quorix_gin_lib_import_from_property(const QUORIX_PROPERTY* ppt) {
    return library_text(ppt, ppt ? ppt->sf : 0.0);
}

QUORIX_TEXT* quorix_gin_import_from_cell(const QUORIX_CELL* cell, const QUORIX_GIN_CONF* conf,
                                         const QUORIX_PROPERTY* ppt) {
    if (!cell || !cell->atom || !ppt) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_PROPERTY has not been initialized properly.\n");
        return nullptr;
    }
    if (!conf || !conf->filename) {
        std::fprintf(stderr, "Error: QUORIX_GIN_CONF has not been initialized properly.\n");
        return nullptr;
    }
    if (!fully_occupied(cell, true)) return nullptr;
    TextPtr text(quorix_text_new(structure_and_run(cell, conf).c_str()));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_text_new() returns NULL.\n");
        return nullptr;
    }
    const TextPtr lib(quorix_gin_lib_import_from_property(ppt));
    if (!lib) {
        std::fprintf(stderr, "Error: quorix_gin_lib_import_from_property() returns NULL.\n");
        return nullptr;
    }
    if (quorix_text_cat(text.get(), lib.get())) {
        std::fprintf(stderr, "Error: quorix_text_cat() returns non-zero value.\n");
        text.release();  // a failed append has released the text already
        return nullptr;
    }
    return text.release();
}

// The cell itself when fully occupied, otherwise a default supercell with its partial
// occupancies assigned at random (owned by `made`).
QUORIX_CELL* quorix_gin_occupied_cell(QUORIX_CELL* cell, CellPtr& made) {
    if (fully_occupied(cell, false)) return cell;
    const CellPtr super(quorix_cell_supercell_default(cell));
    if (!super) {
        std::fprintf(stderr, "Error: quorix_cell_supercell_default() returns NULL.\n");
        return nullptr;
    }
    made.reset(quorix_cell_assign_partial_occ_all(super.get()));
    if (!made) std::fprintf(stderr, "Error: quorix_cell_assign_partial_occ_all() returns NULL.\n");
    return made.get();
}

int quorix_gin_write_to_file(QUORIX_CELL* cell, const char* dir_unitary, const char* dir_binary,
                             const QUORIX_GIN_CONF* conf) {
    if (!cell || !cell->atom || !conf || !conf->filename) {
        std::fprintf(stderr, "Error: QUORIX_CELL or QUORIX_GIN_CONF has not been properly initialized.\n");
        return 1;
    }
    CellPtr assigned;
    QUORIX_CELL* occupied = quorix_gin_occupied_cell(cell, assigned);
    if (!occupied) return 1;
    const PropertyPtr ppt(quorix_property_import_from_cell(occupied, nullptr, 0, conf->sf, dir_unitary, dir_binary));
    if (!ppt) {
        std::fprintf(stderr, "Error: quorix_property_import_from_cell() returns NULL.\n");
        return 1;
    }
    const TextPtr text(quorix_gin_import_from_cell(occupied, conf, ppt.get()));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_gin_import_from_cell() returns NULL.\n");
        return 1;
    }
    return write_text(text.get(), std::string(conf->filename) + ".gin", ".gin");
}

int quorix_gin_lib_write_to_file(const QUORIX_PROPERTY* ppt, double sf, const char* path) {
    const TextPtr text(library_text(ppt, sf > 0 ? sf : ppt ? ppt->sf : 0.0));
    if (!text) {
        std::fprintf(stderr, "Error: quorix_gin_lib_import_from_property() returns NULL.\n");
        return 1;
    }
    if (!path) {
        std::fprintf(stderr, "Error: quorix_text_export_to_file() returns non-zero value.\n");
        return 1;
    }
    return write_text(text.get(), path, ".lib");
}
