// Space group of a full cell by spglib; its operations as a symmetry record whose texts the
// operation parser reads back exactly; the cell made exactly symmetric by them.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "quorix-alloc.hpp"

// The space group of a cell. Atoms sharing a position (mixed or split sites) form one position,
// typed by the set of (element, oxidation state, occupancy) it holds.
struct QUORIX_STD_GROUP {
    int number = 0;
    std::string international;
    std::string hall;
    std::vector<std::array<std::array<int, 3>, 3>> rotations;  // in the basis of the cell; row i gives coordinate i
    std::vector<std::array<double, 3>> translations;
    std::vector<long> position_of_atom;          // per atom
    std::vector<std::array<double, 3>> position;  // fractional, per position
    std::vector<int> species_of_position;        // index into `species`
    std::vector<int> representative;             // per position: the first position of its orbit
    std::vector<char> wyckoff;                   // per position
    std::vector<std::string> site_symmetry;      // per position
    std::vector<std::string> species;            // "Sn2+:0.900 In3+:0.067"; "Fe:1.000" where the state is unknown
    std::array<std::array<double, 3>, 3> std_lattice{};  // standardised cell, vectors as rows
    std::vector<std::array<double, 3>> std_position;
    std::vector<int> std_species;  // index into `species`
};

// Finds the group with tolerance `symprec` (A). Without `standardise`, a cell that a quick test
// shows to have no symmetry is P1 without asking spglib, and the standardised cell stays empty.
// 0 on success, else 1 after one "Error: " line.
int quorix_std_group_find(QUORIX_STD_GROUP* group, const QUORIX_CELL* cell, double symprec, bool standardise);

// The group's operations as a symmetry record with its number and symbols; every text is of the
// form "x-y+1/3" (or "-0.1234+x" for a translation that is no ninth or smaller fraction), which
// the operation parser reads to the same operation. NULL when an operation has no such text.
QUORIX_SYMMETRY* quorix_std_group_to_symmetry(const QUORIX_STD_GROUP* group);

// Puts the atoms of every representative position on the average of its images under the
// operations that keep it, and replaces the atoms by the images of those atoms under `symmetry`.
// 1 (nothing changed) when the images are not as many as the atoms.
int quorix_std_cell_symmetrise(QUORIX_CELL* cell, const QUORIX_STD_GROUP* group, QUORIX_SYMMETRY* symmetry,
                               double symprec);
