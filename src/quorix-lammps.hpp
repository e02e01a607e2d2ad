// Export for LAMMPS: the structure as a data file (atom style charge, triclinic box, one atom type
// for each species), the force field as tabulated pair terms in eV and eV/A (the model of the lattice
// energy), and an input script for a Langevin run of the conducting ions in the frozen framework.
#pragma once

struct QuorixLammpsSettings {
    const char* cif;
    const char* type;  // the conducting (mobile) species
    int os;
    double sf;           // non-positive: automatic
    double temperature;  // K; non-positive: 300
    const char* base;    // output names: base + ".lammps.data", ".lammps.table", ".lammps.in"
    const char* dir_symcards;
    const char* dir_unitary;
    const char* dir_binary;
};

// 0, or 1 after one error line; nothing is written unless every file can be.
int quorix_lammps_export_from_file(const QuorixLammpsSettings& settings);
