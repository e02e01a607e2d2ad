// Oxidation states of the atoms read from a CIF: mixed-valence sites split into their two
// neighbouring states, and the default states of the species database for the rest.
#include "quorix-import-cif-os.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

bool is_unknown_state(double value) { return std::fabs(value - kQuorixUnknownState) < 0.0001; }
bool is_integral_state(double value) { return std::fabs(value - std::round(value)) < 0.1; }

struct DefaultState {
    std::string type;
    int os;
};

// The (type, default state) lines between DATA_START and DATA_END, in file order.
std::vector<DefaultState> read_default_states(FILE* file) {
    std::vector<DefaultState> states;
    std::vector<char> line(1024);
    std::vector<char> type(1024);
    bool in_data = false;
    while (std::fgets(line.data(), static_cast<int>(line.size()), file)) {
        if (!in_data) {
            in_data = std::strstr(line.data(), "DATA_START") != nullptr;
            continue;
        }
        if (std::strstr(line.data(), "DATA_END")) break;
        int os = 0;
        if (std::sscanf(line.data(), "%*d %1023s %*d %d", type.data(), &os) == 2) states.push_back({type.data(), os});
    }
    return states;
}

}  // namespace

int quorix_atom_fork_os(QUORIX_ATOM** atom, long* total) {
    if (!atom || !total || (*total > 0 && !*atom)) return 1;
    QUORIX_ATOM* atoms = *atom;
    long splits = 0;
    for (long i = 0; i < *total; i++) {
        const double value = atoms[i].value;
        if (is_unknown_state(value)) continue;
        if (!std::isfinite(value) || std::fabs(value) > 1000.0) {
            std::fprintf(stderr, "Error: invalid oxidation state of atom %s.\n", atoms[i].name);
            return 1;
        }
        if (!is_integral_state(value)) splits++;
    }
    if (splits > 0) {
        auto* grown = static_cast<QUORIX_ATOM*>(std::realloc(atoms, (*total + splits) * sizeof(QUORIX_ATOM)));
        if (!grown) {
            std::fprintf(stderr, "Error: unable to reallocate QUORIX_ATOM.\n");
            return 1;
        }
        atoms = grown;
        *atom = grown;
    }
    long next = *total;
    for (long i = 0; i < *total; i++) {
        QUORIX_ATOM& a = atoms[i];
        const double value = a.value;
        if (is_unknown_state(value)) {
            a.os = kQuorixUnknownState;
        } else if (is_integral_state(value)) {
            a.os = static_cast<int>(std::lround(value));
        } else {
            // Split a mixed-valence site into its two neighbouring states, keeping the mean charge.
            const double low = std::floor(value);
            const double high = std::ceil(value);
            const double occ = a.occ;
            QUORIX_ATOM copy = a;
            a.os = static_cast<int>(high);
            a.occ = (value - low) * occ / (high - low);
            copy.os = static_cast<int>(low);
            copy.occ = (high - value) * occ / (high - low);
            copy.value = 0.0;
            atoms[next++] = copy;
        }
        a.value = 0.0;
    }
    *total = next;
    return 0;
}


int quorix_atom_update_default_os(QUORIX_ATOM* atom, long total, const char* dir_unitary) {
    FILE* file = dir_unitary ? std::fopen(dir_unitary, "rb") : nullptr;
    if (!file) {
        std::fprintf(stderr, "Error: unable to open %s\n", dir_unitary ? dir_unitary : "(null)");
        return 1;
    }
    const std::vector<DefaultState> states = read_default_states(file);
    std::fclose(file);
    for (long i = 0; i < total; i++) {
        if (atom[i].os != kQuorixUnknownState) continue;
        for (const DefaultState& state : states) {
            if (state.type == atom[i].type) {
                atom[i].os = state.os;
                break;
            }
        }
    }
    return 0;
}
