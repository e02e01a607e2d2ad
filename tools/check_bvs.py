#!/usr/bin/python3
"""Bond valence sums and global instability index from the parameter databases.

An independent check of data/database_unitary.dat and data/database_binary.dat:
reads CIF files with ASE, expands each site by the space group, and sums
s = occ_j exp((R0 - d) / b) over the neighbours j of opposite sign within the
pair's cutoff (and beyond 0.3 A). The GII is the root mean square of
(sum - oxidation state) over the sites, weighted by multiplicity and occupancy.
Oxidation states come from the CIF (charges in _atom_site_type_symbol or the
_atom_type_oxidation_number loop), else from the element's default state.
b is the file's value: the program's b, averaged over the anions of the
structure, differs from it only in structures with more than one anion.

Usage: /usr/bin/python3 tools/check_bvs.py [-v] [--data DIR] [CIF ...]
  with no CIF, every *.cif of ../shared/cifs beside the repository.
  -v prints the sum of every site.
"""
import argparse
import glob
import math
import os
import re
import sys
import warnings

import numpy as np
from ase.io.cif import parse_cif
from ase.spacegroup.spacegroup import parse_sitesym

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_CIFS = os.path.join(os.path.dirname(REPO), "shared", "cifs")
MIN_DISTANCE = 0.3
SAME_SITE = 1e-3   # fractional tolerance when merging symmetry images


def data_lines(path):
    """Whitespace-split data lines between DATA_START and DATA_END."""
    with open(path) as handle:
        lines = handle.read().splitlines()
    start = next(i for i, line in enumerate(lines) if "DATA_START" in line)
    for line in lines[start + 1:]:
        if "DATA_END" in line:
            break
        if line.split():
            yield line.split()


def load_databases(folder):
    defaults, pairs = {}, {}
    for cols in data_lines(os.path.join(folder, "database_unitary.dat")):
        defaults.setdefault(cols[1], int(cols[3]))
    for cols in data_lines(os.path.join(folder, "database_binary.dat")):
        key = (cols[0], int(cols[1]), cols[2], int(cols[3]))
        pairs.setdefault(key, tuple(float(v) for v in cols[4:8]))
    return defaults, pairs


def element_of(text, known):
    """Element symbol at the start of a label or type symbol ('LiM2' -> Li, 'O-H4' -> O)."""
    match = re.match(r"([A-Za-z])([a-z]?)", text)
    if not match:
        return None
    one, two = match.group(1).upper(), match.group(1).upper() + match.group(2)
    return two if two in known else one if one in known else None


def charge_of(type_symbol):
    """Integer charge written in a type symbol ('Li1+', 'O2-', 'F-'), or None."""
    match = re.search(r"[A-Za-z](\d*)([+-])$", type_symbol)
    if not match:
        return None   # no charge, or a fractional one such as Mn3.5+
    size = int(match.group(1)) if match.group(1) else 1
    return size if match.group(2) == "+" else -size


def number(value):
    """CIF number without its standard uncertainty."""
    if isinstance(value, (int, float)):
        return float(value)
    return float(re.sub(r"\(\d+\)$", "", value))


def symmetry_operations(block):
    """Rotations and translations: the file's operator loop, else its space group."""
    for tag in ("_space_group_symop_operation_xyz", "_symmetry_equiv_pos_as_xyz"):
        if tag in block:
            ops = block[tag]
            return parse_sitesym([ops] if isinstance(ops, str) else list(ops))
    return block.get_spacegroup(subtrans_included=True).get_op()


def orbit_of(position, operations):
    """Distinct images of a fractional position, wrapped into the cell."""
    rotations, translations = operations
    images = np.mod(rotations @ position + translations, 1.0)
    orbit = []
    for image in images:
        if not any(np.abs((image - kept + 0.5) % 1.0 - 0.5).max() < SAME_SITE for kept in orbit):
            orbit.append(image)
    return np.array(orbit)


def read_sites(path, defaults):
    """Cell (rows are lattice vectors) and the list of (label, element, os, occ, orbit)."""
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        block = next(b for b in parse_cif(path) if b.has_structure())
        operations = symmetry_operations(block)
    cell = np.array(block.get_cell())
    labels = [str(v) for v in block["_atom_site_label"]]
    types = [str(v) for v in block.get("_atom_site_type_symbol", labels)]
    occupancies = [number(v) for v in block.get("_atom_site_occupancy", [1.0] * len(labels))]
    positions = np.array([[number(v) for v in block[f"_atom_site_fract_{axis}"]]
                          for axis in "xyz"]).T
    type_charges = {}
    if "_atom_type_symbol" in block and "_atom_type_oxidation_number" in block:
        for symbol, charge in zip(block["_atom_type_symbol"], block["_atom_type_oxidation_number"]):
            type_charges[str(symbol)] = int(round(number(charge)))
    sites = []
    for label, type_symbol, occ, position in zip(labels, types, occupancies, positions):
        element = element_of(type_symbol, defaults) or element_of(label, defaults)
        if element is None:
            raise ValueError(f"no element for site {label}")
        os_ = type_charges.get(type_symbol, charge_of(type_symbol))
        if os_ is None:
            os_ = defaults[element]
        sites.append((label, element, os_, occ, orbit_of(position, operations)))
    return cell, sites


def lattice_shifts(cell, reach):
    """Integer translations that can bring an atom within `reach` of any point of the cell."""
    volume = abs(np.linalg.det(cell))
    counts = []
    for i in range(3):
        height = volume / np.linalg.norm(np.cross(cell[(i + 1) % 3], cell[(i + 2) % 3]))
        counts.append(int(math.ceil(reach / height)) + 1)
    ranges = [np.arange(-n, n + 1) for n in counts]
    grid = np.array(np.meshgrid(*ranges, indexing="ij")).reshape(3, -1).T
    return grid @ cell


def bond_valence_sums(cell, sites, pairs):
    """Sum of each site's representative, in the order of `sites`."""
    reach = max(p[3] for p in pairs.values())
    shifts = lattice_shifts(cell, reach)
    sums = []
    for label, element, os_, _, orbit in sites:
        centre = orbit[0] @ cell
        total = 0.0
        for _, other, other_os, other_occ, other_orbit in sites:
            if os_ * other_os >= 0:
                continue
            key = (element, os_, other, other_os) if os_ > 0 else (other, other_os, element, os_)
            if key not in pairs:
                raise KeyError(f"no parameters for {key[0]}{key[1]:+d}-{key[2]}{key[3]:+d}")
            r0, b, _, cutoff = pairs[key]
            points = (other_orbit @ cell)[:, None, :] + shifts[None, :, :]
            d = np.linalg.norm(points - centre, axis=2).ravel()
            d = d[(d > MIN_DISTANCE) & (d < cutoff)]
            total += other_occ * np.exp((r0 - d) / b).sum()
        sums.append(total if os_ > 0 else -total)
    return sums


def global_instability_index(sites, sums):
    weights = np.array([len(orbit) * occ for _, _, _, occ, orbit in sites])
    deviations = np.array([s - site[2] for site, s in zip(sites, sums)])
    return math.sqrt((weights * deviations ** 2).sum() / weights.sum())


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("cifs", nargs="*")
    parser.add_argument("--data", default=os.path.join(REPO, "data"))
    parser.add_argument("-v", action="store_true", dest="verbose")
    args = parser.parse_args()
    defaults, pairs = load_databases(args.data)
    paths = args.cifs or sorted(glob.glob(os.path.join(DEFAULT_CIFS, "*.cif")))
    failures = 0
    for path in paths:
        name = os.path.basename(path)
        try:
            cell, sites = read_sites(path, defaults)
            sums = bond_valence_sums(cell, sites, pairs)
        except Exception as error:   # report and go on with the next structure
            print(f"{name:45s} error: {error}")
            failures += 1
            continue
        print(f"{name:45s} GII {global_instability_index(sites, sums):6.3f}")
        if args.verbose:
            for (label, element, os_, occ, orbit), s in zip(sites, sums):
                print(f"    {label:8s} {element}{os_:+d} occ {occ:5.3f} x{len(orbit):<3d} bvs {s:7.3f}")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
