#!/usr/bin/python3
"""Writes data/database_symcards.dat: the operations of all 530 Hall settings of the 230
space groups, taken from spglib's Hall-symbol database, in Hall-number order.

    /usr/bin/python3 tools/make_symcards.py            # writes data/database_symcards.dat
    /usr/bin/python3 tools/make_symcards.py --dump     # prints every setting's operations

Each record is a marker line holding '#', then the International Tables number, the Hall
symbol in quotes, the Hermann-Mauguin spellings (each in quotes, the first one naming the
setting), the number of operations and one operation per line.

quorix finds a record by substring search, the first record in file order winning. The tool
therefore drops any spelling that an earlier record's line already contains (it would never
reach this record) or that contains a spelling of a later record (it would steal that one),
and lists what it dropped. Operations are written with the letters first
and the translation last as one digit over one digit, which is the only form the quorix
parser reads exactly; the tool parses every line back with the same rules and stops when an
operation does not come back unchanged.
"""

import argparse
import os
import sys
from fractions import Fraction

import spglib

SETTINGS = 530
MAX_HM = 15  # the reader takes at most 15 characters of the first spelling

# Symbols of the groups with an e (double) glide before 2002 ("C m c a" for Cmce), by axes
# choice; users still write them.
OLD_E_GLIDE = {
    39: {"": "A b m 2", "ba-c": "B m a 2", "cab": "B 2 c m", "-cba": "C 2 m b", "bca": "C m 2 a", "a-cb": "A c 2 m"},
    41: {"": "A b a 2", "ba-c": "B b a 2", "cab": "B 2 c b", "-cba": "C 2 c b", "bca": "C c 2 a", "a-cb": "A c 2 a"},
    64: {"": "C m c a", "ba-c": "C c m b", "cab": "A b m a", "-cba": "A c a m", "bca": "B b c m", "a-cb": "B m a b"},
    67: {"": "C m m a", "ba-c": "C m m b", "cab": "A b m m", "-cba": "A c m m", "bca": "B m c m", "a-cb": "B m a m"},
    68: {"": "C c c a", "ba-c": "C c c b", "cab": "A b a a", "-cba": "A c a a", "bca": "B b c b", "a-cb": "B b a b"},
}
# spglib names setting 2bca of group 68 "B b c b"; its modern symbol is "B b e b".
MODERN_FIX = {(68, "2bca"): "B b e b"}


def screw(symbol):
    return symbol.replace("_", "")


def compact(symbol):
    return symbol.replace(" ", "")


def monoclinic_short(full):
    """'P 1 21/c 1' -> 'P 21/c': the lattice letter and the one axis that is not 1."""
    lattice, *axes = full.split()
    return " ".join([lattice] + [a for a in axes if a != "1"])


def split_choice(number, choice):
    """Origin or rhombohedral choice ('1', '2', 'H', 'R') and axes choice of a setting."""
    if choice in ("H", "R"):
        return choice, ""
    if number >= 16 and choice[:1] in ("1", "2"):
        return choice[0], choice[1:]
    return "", "" if number < 16 else choice


class Setting:
    def __init__(self, hall_number):
        t = spglib.get_spacegroup_type(hall_number)
        self.hall_number = hall_number
        self.number = t["number"]
        self.hall = t["hall_symbol"]
        self.origin, self.axes = split_choice(self.number, t["choice"])
        self.full = screw(t["international_full"])
        if 3 <= self.number <= 15:
            self.modern = self.full
            self.short = monoclinic_short(self.full)
        else:
            self.short = None
            self.modern = MODERN_FIX.get((self.number, t["choice"]), screw(t["international"]))
        self.old = OLD_E_GLIDE.get(self.number, {}).get(self.axes)
        symmetry = spglib.get_symmetry_from_database(hall_number)
        self.operations = list(zip(symmetry["rotations"].tolist(), symmetry["translations"].tolist()))

    def suffixed(self, symbol, separator=" :"):
        return symbol + separator + self.origin if self.origin else symbol

    def spellings(self, primary):
        """The first spelling names the setting; the rest are forms users write in CIFs."""
        bases = [self.modern, self.old, self.short, self.full]
        out = [primary]
        for base in filter(None, bases):
            for form in (self.suffixed(base), self.suffixed(base, ":"), compact(self.suffixed(base, ":"))):
                if form not in out:
                    out.append(form)
        return out


def primary_symbols(settings):
    """Modern symbol with the origin or cell choice; the pre-2002 symbol where the modern one
    does not tell the axes settings of a group apart."""
    seen = set()
    names = []
    for s in settings:
        name = s.suffixed(s.modern)
        if name in seen and s.old:
            name = s.suffixed(s.old)
        if name in seen or len(name) > MAX_HM:
            sys.exit(f"make_symcards: setting {s.hall_number} has no distinct name of at most {MAX_HM} characters")
        seen.add(name)
        names.append(name)
    return names


# ---------------------------------------------------------------- operations


def fraction(value):
    """A translation in [0, 1) as one digit over one digit, or None for zero."""
    f = Fraction(value).limit_denominator(12) % 1
    off = (float(f) - value) % 1.0
    if min(off, 1.0 - off) > 1e-9:
        sys.exit(f"make_symcards: translation {value} is not a simple fraction")
    if f == 0:
        return None
    if f.numerator > 9 or f.denominator > 9:
        sys.exit(f"make_symcards: translation {f} needs more than one digit")
    return f


def write_operation(rotation, translation):
    fields = []
    for row, t in zip(rotation, translation):
        field = ""
        for coefficient, letter in zip(row, "xyz"):
            if coefficient not in (-1, 0, 1):
                sys.exit(f"make_symcards: rotation entry {coefficient} cannot be written")
            if coefficient:
                field += ("-" if coefficient < 0 else ("+" if field else "")) + letter
        f = fraction(t)
        if f is not None:
            field += f"+{f.numerator}/{f.denominator}" if field else f"{f.numerator}/{f.denominator}"
        fields.append(field)
    return ",".join(fields)


def parse_field(field):
    """The quorix parser's reading of one field: letters by their preceding character,
    one digit over one digit negative when a '-' follows the character before the numerator."""
    row = []
    for letter in "xyz":
        k = field.find(letter)
        if k < 0:
            k = field.find(letter.upper())
        row.append(0 if k < 0 else (1 if k == 0 or field[k - 1] == "+" else -1))
    slash = field.find("/")
    t = 0.0
    if slash > 0:
        t = int(field[slash - 1]) / int(field[slash + 1])
        if "-" in field[max(slash - 2, 0):]:
            t = -t
    return row, t


def check_round_trip(text, rotation, translation):
    fields = text.split(",")
    for field, row, t in zip(fields, rotation, translation):
        parsed_row, parsed_t = parse_field(field)
        if parsed_row != row or abs((parsed_t - t + 0.5) % 1.0 - 0.5) > 1e-9 or not -1 <= parsed_t <= 1:
            sys.exit(f"make_symcards: '{text}' does not read back as {rotation} {translation}")
    if len(text) > 35:
        sys.exit(f"make_symcards: '{text}' is longer than a card holds")


# ---------------------------------------------------------------- the file

HEADER = """\
# database_symcards.dat: symmetry operations of the 230 space groups in all 530 Hall settings.
# Generated by tools/make_symcards.py from the Hall-symbol database of spglib {version}; do not edit.
#
# Records are in Hall-number order, so International Tables numbers ascend and the first
# setting of each group is its standard one. Each record is:
#   a marker line holding '#'
#   the International Tables number
#   the Hall symbol in single quotes
#   the Hermann-Mauguin symbol of the setting in single quotes (CIF spelling, screw axes as 21,
#     ' :1', ' :2', ' :H', ' :R' for origin and axes choices), then other spellings that CIFs
#     use, each in single quotes; a spelling appears only in the first record that holds it
#   the number of operations
#   one operation per line, such as -x+1/2,y,z
#
# Translations are written last, as one digit over one digit, in [0, 1).
"""


def build(settings):
    """H-M lines of all records. A spelling other than the name is left out when an earlier
    line holds it (the lookup would stop there) or when it holds a spelling of a later record
    ('P211' would catch 'P21')."""
    names = primary_symbols(settings)
    candidates = [s.spellings(name) for s, name in zip(settings, names)]
    lines, dropped, shadowed = [], [], []
    for k, s in enumerate(settings):
        kept = [names[k]]
        holder = next((j for j, line in enumerate(lines) if names[k] in line), None)
        if holder is not None:  # 'C 2 2 2' inside 'C 2 2 21': the name stays, the lookup cannot reach it
            shadowed.append((s.hall_number, names[k], settings[holder].hall_number))
        for spelling in candidates[k][1:]:
            holder = next((j for j, line in enumerate(lines) if spelling in line), None)
            victim = next((j for j in range(k + 1, len(settings))
                           if any(c != spelling and c in spelling for c in candidates[j])), None)
            if holder is not None:
                dropped.append((s.hall_number, spelling, f"setting {settings[holder].hall_number} holds it"))
            elif victim is not None:
                dropped.append((s.hall_number, spelling, f"it would catch a spelling of setting {victim + 1}"))
            else:
                kept.append(spelling)
        lines.append(" ".join(f"'{k}'" for k in kept))
    return lines, dropped, shadowed


def hall_shadows(settings):
    """Hall symbols that an earlier record's Hall symbol contains: looked up by Hall symbol,
    they find the earlier setting."""
    out = []
    for k, s in enumerate(settings):
        holder = next((j for j in range(k) if s.hall in settings[j].hall), None)
        if holder is not None:
            out.append((s.hall_number, s.hall, settings[holder].hall_number))
    return out


def write_file(path, settings):
    hm_lines, dropped, shadowed = build(settings)
    with open(path, "w", newline="\n") as out:
        out.write(HEADER.format(version=spglib.__version__))
        out.write("DATA_START\n")
        for s, hm_line in zip(settings, hm_lines):
            if s.operations[0] != ([[1, 0, 0], [0, 1, 0], [0, 0, 1]], [0.0, 0.0, 0.0]):
                sys.exit(f"make_symcards: setting {s.hall_number} does not start with the identity")
            out.write(f"# {s.number} setting {s.hall_number}\n{s.number}\n'{s.hall}'\n{hm_line}\n")
            out.write(f"{len(s.operations)}\n")
            for rotation, translation in s.operations:
                text = write_operation(rotation, translation)
                check_round_trip(text, rotation, translation)
                out.write(text + "\n")
        out.write("DATA_END\n")
    print(f"make_symcards: wrote {len(settings)} settings to {path}")
    for hall_number, spelling, reason in dropped:
        print(f"make_symcards: left out '{spelling}' of setting {hall_number}: {reason}")
    for hall_number, name, holder in shadowed:
        print(f"make_symcards: H-M symbol '{name}' of setting {hall_number} finds setting {holder} first")
    for hall_number, hall, holder in hall_shadows(settings):
        print(f"make_symcards: Hall symbol '{hall}' of setting {hall_number} finds setting {holder} first")


def dump(settings):
    """One line per operation: setting, nine rotation entries, three translations in [0, 1)."""
    for s in settings:
        for rotation, translation in s.operations:
            entries = [str(v) for row in rotation for v in row]
            entries += [repr(float(Fraction(t).limit_denominator(12) % 1)) for t in translation]
            print(s.hall_number, " ".join(entries))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--dump", action="store_true", help="print the operations instead of writing the file")
    parser.add_argument("--output", default=os.path.join(os.path.dirname(__file__), "..", "data",
                                                        "database_symcards.dat"))
    args = parser.parse_args()
    settings = [Setting(h) for h in range(1, SETTINGS + 1)]
    if args.dump:
        dump(settings)
    else:
        write_file(os.path.normpath(args.output), settings)


if __name__ == "__main__":
    main()
