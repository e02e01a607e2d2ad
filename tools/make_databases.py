#!/usr/bin/python3
"""Generate data/database_unitary.dat and data/database_binary.dat.

Reads the tables of published bond-valence and softness parameters
(species.tsv, pairs.tsv, common_oxidation_states.tsv), chooses each element's
default oxidation state, fills the gaps of the published tables by the rules
below and writes the two parameter files in the layout the program reads:
a commented header, a line "DATA_START", whitespace-separated data lines,
a line "DATA_END".

Usage: /usr/bin/python3 tools/make_databases.py [--source DIR] [--out DIR] [--list]
  --source  folder of the published tables (default: ../shared/data/bv-parameters
            beside the repository)
  --out     folder to write the two files to (default: data/ of the repository)
  --list    also print every pair whose coordination number was estimated
"""
import argparse
import csv
import math
import os
import statistics
import sys
from collections import Counter, OrderedDict

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEFAULT_SOURCE = os.path.join(os.path.dirname(REPO), "shared", "data", "bv-parameters")

PUBLICATIONS = [
    "S. Adams and R. Prasada Rao, Phys. Status Solidi A 208 (2011) 1746-1753 (oxide pairs)",
    "S. Adams, Structure and Bonding 158 (2014) 91-128, supplementary tables"
    " (pairs with other anions; softness and radii of the ions)",
]

# --- default oxidation states ---------------------------------------------

# Elements that are anions in ionic solids: a structure that names them without
# a charge almost always holds the anion, whatever the source's default says.
ANION_DEFAULTS = OrderedDict([("N", -3), ("O", -2), ("S", -2), ("Se", -2), ("Te", -2),
                              ("F", -1), ("Cl", -1), ("Br", -1), ("I", -1)])

# Cations whose source default is an oxo-anion state (chromate, permanganate)
# or the rare upper state of an inert-pair element, while the great majority of
# their inorganic structures hold the state given here.
CATION_DEFAULTS = OrderedDict([("Cr", 3), ("Mn", 2), ("Tl", 1), ("Pb", 2)])

# --- corrections of evident slips in the published tables ------------------

MASS_FIXES = {("Ta", 4): 180.948}   # printed with the mass of Cd (112.411)
SOFTNESS_MISSING = 0.99999          # placeholder the tables use for "no value"

# --- estimates of missing reference coordination numbers -------------------
#
# Each rule estimates cn of (cation, anion) from the *published* cn of the same
# cation with a reference anion. Linear rules cn = k * cn_ref + c were fitted by
# least squares over the non-hydrogen cations for which the tables give both
# values; the four rules from F and from O to S are the ones the program itself
# applies to pairs missing from the file, so file and program agree. Rules are
# tried in this order; the first whose reference pair is published fills the pair.

LINEAR_RULES = [
    # (anion, reference anion, k, c, origin)
    ("F", "O", 0.5884, 3.4351, "fit over 73 cations, rms 1.33"),
    ("Cl", "F", 0.3984, 3.4568, "also the program's rule for pairs missing from the file"),
    ("Cl", "O", 0.5367, 2.9147, "fit over 63 cations, rms 0.72"),
    ("Br", "F", 0.3457, 3.3798, "also the program's rule for pairs missing from the file"),
    ("Br", "O", 0.4140, 3.4080, "fit over 29 cations, rms 0.87"),
    ("I", "F", 0.3806, 2.7873, "also the program's rule for pairs missing from the file"),
    ("I", "O", 0.4081, 3.0468, "fit over 20 cations, rms 0.97"),
    ("S", "O", 0.7414, 0.9597, "also the program's rule for pairs missing from the file"),
    # Selenides and tellurides mostly take the structure types of the sulfides
    # (both published Li and Na cases agree within 0.6).
    ("Se", "S", 1.0, 0.0, "isotypic with the sulfide"),
    ("Se", "O", 0.7414, 0.9597, "through the sulfide rule"),
    ("Te", "S", 1.0, 0.0, "isotypic with the sulfide"),
    ("Te", "O", 0.7414, 0.9597, "through the sulfide rule"),
]

# Nitrides: no nitride cn is published, so none can be fitted. The bond-valence
# relation gives it instead: the cation's typical bond to O, d_O = R0_O - b_O
# ln(V / cn_O), lengthened by the radius difference of N3- and O2- (Shannon,
# four-coordinate: 1.46 - 1.38 A), is the typical bond to N, and V / cn_N bonds
# of that length have valence exp((R0_N - d_N) / b_N).
NITRIDE_BOND_SHIFT = 0.08

HYDROGEN_SPECIES = ("H", "Hx", "D")

# The program, meeting a Cl, Br, I or S pair without a cn, also takes the cutoff
# of the same cation's F or O pair. The file does the same for those pairs, so
# that it gives the results the program derives from the published tables.
PROGRAM_CUTOFF_REFERENCE = {"Cl": "F", "Br": "F", "I": "F", "S": "O"}


def read_tsv(path):
    with open(path, newline="") as handle:
        return list(csv.DictReader(handle, delimiter="\t"))


def load_species(source):
    species = []
    for row in read_tsv(os.path.join(source, "species.tsv")):
        species.append({
            "an": int(row["atomic_number"]), "symbol": row["symbol"],
            "os": int(row["oxidation_state"]),
            "default": int(row["default_oxidation_state"]),
            "mass": float(row["mass"]), "n": int(row["principal_quantum_number"]),
            "group": int(row["group"]), "block": int(row["block_code"]),
            "radius": float(row["radius"]), "softness": float(row["softness"]),
        })
    return species


def load_pairs(source):
    pairs = []
    for row in read_tsv(os.path.join(source, "pairs.tsv")):
        pairs.append({
            "cation": row["cation"], "cos": int(row["cation_oxidation_state"]),
            "anion": row["anion"], "aos": int(row["anion_oxidation_state"]),
            "r0": float(row["r0"]), "b": float(row["b"]),
            "cn": float(row["reference_cn"]), "cutoff": float(row["cutoff"]),
            "rule": "published",
        })
    return pairs


def load_common_states(source):
    common = {}
    for row in read_tsv(os.path.join(source, "common_oxidation_states.tsv")):
        text = row["common_oxidation_states"] or ""
        common[int(row["atomic_number"])] = [int(v) for v in text.split(",") if v]
    return common


def choose_default(symbol, lines, common):
    """Default oxidation state of one symbol and the reason for it."""
    states = [line["os"] for line in lines]
    source_default = lines[0]["default"]
    if symbol in ANION_DEFAULTS:
        return ANION_DEFAULTS[symbol], "anion"
    if symbol in CATION_DEFAULTS:
        return CATION_DEFAULTS[symbol], "chemist"
    usual = [s for s in common.get(lines[0]["an"], []) if s in states]
    if usual and source_default not in common[lines[0]["an"]]:
        return max(usual), "common"
    if source_default not in states:
        return min(s for s in states if s > 0), "tabulated"
    return source_default, "source"


def order_species(species, common):
    """Group lines by symbol, default state first; returns lines and choices."""
    by_symbol = OrderedDict()
    for line in species:
        by_symbol.setdefault(line["symbol"], []).append(line)
    ordered, choices = [], []
    for symbol, lines in by_symbol.items():
        default, reason = choose_default(symbol, lines, common)
        if default not in [line["os"] for line in lines]:
            sys.exit(f"no line for the default state {default} of {symbol}")
        if default != lines[0]["default"]:
            choices.append((symbol, lines[0]["default"], default, reason))
        lines.sort(key=lambda line: line["os"] != default)
        usual = ",".join(str(state) for state in common.get(lines[0]["an"], [])) or "-"
        for line in lines:
            ordered.append(dict(line, default=default, common=usual))
    return ordered, choices


def fix_species(species):
    """Correct the evident slips of the tables; returns notes for the header."""
    notes = []
    by_key = {(s["symbol"], s["os"]): s for s in species}
    for key, mass in MASS_FIXES.items():
        notes.append(f"mass of {key[0]}{key[1]:+d}: {by_key[key]['mass']} -> {mass}")
        by_key[key]["mass"] = mass
    # Tb4+ softness from Tb3+ scaled as Ce4+ is to Ce3+ (the neighbouring
    # lanthanide with both states published).
    tb4, tb3 = by_key[("Tb", 4)], by_key[("Tb", 3)]
    if tb4["softness"] == SOFTNESS_MISSING:
        ratio = by_key[("Ce", 4)]["softness"] / by_key[("Ce", 3)]["softness"]
        tb4["softness"] = round(tb3["softness"] * ratio, 5)
        notes.append(f"softness of Tb+4: placeholder {SOFTNESS_MISSING} -> {tb4['softness']}"
                     " (Tb+3 times Ce+4/Ce+3)")
    return notes


def nitride_cn(pair, oxide):
    valence = pair["cos"]
    d_oxide = oxide["r0"] - oxide["b"] * math.log(valence / oxide["cn"])
    d_nitride = d_oxide + NITRIDE_BOND_SHIFT
    return valence * math.exp((d_nitride - pair["r0"]) / pair["b"])


def fill_cn(pairs):
    """Give every pair without a published cn an estimate; returns rule counts."""
    published = {(p["cation"], p["cos"], p["anion"]): p for p in pairs if p["cn"] > 0}
    tabulated = {(p["cation"], p["cos"], p["anion"]): p for p in pairs}
    counts = Counter()
    for pair in (p for p in pairs if p["cn"] <= 0):
        estimate = estimate_cn(pair, published)
        if estimate:
            pair["cn"], pair["rule"] = round(estimate[0], 3), estimate[1]
        reference = tabulated.get((pair["cation"], pair["cos"],
                                   PROGRAM_CUTOFF_REFERENCE.get(pair["anion"])))
        if reference and reference["cutoff"] > 0 and reference["cutoff"] != pair["cutoff"]:
            pair["cutoff"] = reference["cutoff"]
            counts[f"cutoff of {pair['anion']} from {reference['anion']}"] += 1
    # Cations without any reference pair take the typical cn of the anion.
    for pair in (p for p in pairs if p["cn"] <= 0):
        known = [p["cn"] for p in pairs if p["anion"] == pair["anion"] and p["cn"] > 0]
        pair["cn"] = round(statistics.median(known), 3)
        pair["rule"] = f"median of the other {pair['anion']} pairs"
    counts.update(p["rule"] for p in pairs if p["rule"] != "published")
    return counts


def estimate_cn(pair, published):
    """(cn, rule) from a published pair of the same cation, or None."""
    cation, cos, anion = pair["cation"], pair["cos"], pair["anion"]
    if cation in HYDROGEN_SPECIES:
        # Hydrogen is one- or two-coordinate whatever the anion.
        for reference in (("H", 1, anion), ("H", 1, "O")):
            if reference in published:
                return published[reference]["cn"], "H, Hx, D from the H pair"
    for rule_anion, reference, k, c, origin in LINEAR_RULES:
        if rule_anion == anion and (cation, cos, reference) in published:
            return (k * published[(cation, cos, reference)]["cn"] + c,
                    f"{anion} from {reference} ({origin})")
    if anion == "N" and (cation, cos, "O") in published:
        return nitride_cn(pair, published[(cation, cos, "O")]), "N from O (bond-valence relation)"
    return None


# --- writing -----------------------------------------------------------------

def comment_block(lines):
    return "".join(f"# {line}".rstrip() + "\n" for line in lines)


def unitary_header(choices, notes):
    lines = [
        "Per-species parameters of the bond-valence force field.",
        "",
        "Columns:",
        "  1 atomic number (-1 for the pseudo-species NH, ammonium, and Du, a dummy)",
        "  2 symbol (Hx and D are hydrogen variants, Ox a special oxygen)",
        "  3 oxidation state of this species",
        "  4 default oxidation state of the element (the same on every line of a symbol)",
        "  5 atomic mass (u)",
        "  6 principal quantum number as tabulated (1 for Li and B, as the source gives it)",
        "  7 group",
        "  8 block code (0 H, 1 s/p, 2 d, 3 f)",
        "  9 radius (A) setting the Coulomb screening length",
        " 10 absolute softness of the ion (0 where none is tabulated: H, Hx and D,",
        "    which the pair model treats specially, and the dummy Du)",
        " 11 common oxidation states of the element, most common first, comma-separated",
        "    without blanks ('-' where none is listed); the same on every line of a symbol.",
        "    Oxidation states assigned by bond valence are chosen among these first.",
        "",
        "Values from:",
    ] + [f"  {p}" for p in PUBLICATIONS] + [
        "",
        "Lines of a symbol are together; the first one holds the element's default",
        "oxidation state, and symbols of one atomic number start with the plain element",
        "(H before Hx and D, O before Ox), so a lookup by symbol or by atomic number",
        "finds the default first.",
        "",
        "Default oxidation state: the source's default_oxidation_state, except",
        "  - elements that are anions in ionic solids take the anion's state:",
        "    " + ", ".join(f"{s} {v}" for s, v in ANION_DEFAULTS.items()) + ";",
        "  - a source default that is not among the element's common states takes the",
        "    highest common state that is tabulated;",
        "  - a source default without a line of its own takes the lowest tabulated state;",
        "  - Cr 3, Mn 2, Tl 1 and Pb 2: the source gives the chromate/permanganate or",
        "    the rare upper state, while most structures of these elements hold these.",
        "Changed from the source:",
    ] + [f"  {s}: {old} -> {new} ({reason})" for s, old, new, reason in choices] + [
        "",
        "Corrected slips of the source tables:",
    ] + [f"  {n}" for n in notes] + [
        "The softness 0.99999 of Ar and Kr is the source's placeholder; they form no pairs.",
        "",
        "Generated by tools/make_databases.py; edit that script, not this file.",
    ]
    return comment_block(lines)


def binary_header(counts):
    lines = [
        "Per-pair bond-valence parameters, cation first (anion-first lines are never used).",
        "",
        "Columns:",
        "  1 cation symbol   2 cation oxidation state",
        "  3 anion symbol    4 anion oxidation state",
        "  5 R0 (A), softness-sensitive set",
        "  6 b (A), bond-valence softness parameter",
        "  7 reference coordination number of the cation",
        "  8 cutoff (A) of the bonding interaction",
        "",
        "Values from:",
    ] + [f"  {p}" for p in PUBLICATIONS] + [
        "",
        "R0 and b are as published, and so is the cutoff except on the Cl, Br, I and S",
        "pairs without a published cn, which take the cutoff of the same cation's F or",
        "O pair, as the program does when such a pair lacks a cn.",
        "Where no reference coordination number is published it is estimated from the",
        "same cation's published cn with another anion; the first rule that applies",
        "fills the pair:",
        "  - H, Hx, D: the H pair of the same anion, else H-O (hydrogen is one- or",
        "    two-coordinate whatever the anion);",
    ] + [f"  - cn_{a} = {k:.4f} * cn_{r} + {c:.4f} ({o})" for a, r, k, c, o in LINEAR_RULES] + [
        "  - N from O by the bond-valence relation: d_O = R0_O - b_O ln(V/cn_O) is the",
        f"    typical bond to O, d_N = d_O + {NITRIDE_BOND_SHIFT:.2f} A (radius difference of N3- and O2-),",
        "    cn_N = V exp((d_N - R0_N) / b_N);",
        "  - a cation without any usable reference pair: the median cn of the anion's",
        "    other pairs.",
        "Linear fits are least squares over the non-hydrogen cations with both values published.",
        "Pairs filled per rule (cutoffs counted where they changed):",
    ] + [f"  {n:3d} {rule}" for rule, n in sorted(counts.items())] + [
        "",
        "Generated by tools/make_databases.py; edit that script, not this file.",
    ]
    return comment_block(lines)


def format_unitary(line):
    return (f"{line['an']:3d} {line['symbol']:<2s} {line['os']:3d} {line['default']:3d} "
            f"{line['mass']:9.4f} {line['n']:2d} {line['group']:2d} {line['block']:2d} "
            f"{line['radius']:5.2f} {line['softness']:8.5f} {line['common']}\n")


def format_binary(pair):
    return (f"{pair['cation']:<2s} {pair['cos']:2d} {pair['anion']:<2s} {pair['aos']:2d} "
            f"{pair['r0']:8.5f} {pair['b']:6.3f} {pair['cn']:7.3f} {pair['cutoff']:4.1f}\n")


def write_database(path, header, lines):
    with open(path, "w", newline="\n") as handle:
        handle.write(header)
        handle.write("DATA_START\n")
        handle.writelines(lines)
        handle.write("DATA_END\n")


def check_pairs(pairs, species):
    keys = {(s["symbol"], s["os"]) for s in species}
    for pair in pairs:
        for key in ((pair["cation"], pair["cos"]), (pair["anion"], pair["aos"])):
            if key not in keys:
                sys.exit(f"pair {pair['cation']}-{pair['anion']}: species {key} not tabulated")
        if pair["cos"] <= 0 or pair["aos"] >= 0:
            sys.exit(f"pair {pair['cation']}-{pair['anion']} is not cation first")
        if pair["r0"] > 0 and min(pair["b"], pair["cn"], pair["cutoff"]) <= 0:
            sys.exit(f"pair {pair['cation']}{pair['cos']}-{pair['anion']} left incomplete")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--source", default=DEFAULT_SOURCE)
    parser.add_argument("--out", default=os.path.join(REPO, "data"))
    parser.add_argument("--list", action="store_true")
    args = parser.parse_args()

    species = load_species(args.source)
    notes = fix_species(species)
    species, choices = order_species(species, load_common_states(args.source))
    pairs = load_pairs(args.source)
    counts = fill_cn(pairs)
    check_pairs(pairs, species)

    write_database(os.path.join(args.out, "database_unitary.dat"),
                   unitary_header(choices, notes), [format_unitary(s) for s in species])
    write_database(os.path.join(args.out, "database_binary.dat"),
                   binary_header(counts), [format_binary(p) for p in pairs])

    print(f"{len(species)} species, {len(pairs)} pairs")
    for symbol, old, new, reason in choices:
        print(f"default {symbol}: {old} -> {new} ({reason})")
    for note in notes:
        print(f"corrected {note}")
    print("reference cn filled per rule:")
    for rule, n in sorted(counts.items()):
        print(f"  {n:3d} {rule}")
    if args.list:
        for p in pairs:
            if p["rule"] != "published":
                print(f"  {p['cation']}{p['cos']:+d}-{p['anion']}{p['aos']:+d}: "
                      f"cn {p['cn']:.3f} ({p['rule']})")


if __name__ == "__main__":
    main()
