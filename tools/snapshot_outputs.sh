#!/usr/bin/env bash
# Runs every command that reads a CIF or a cube on the developer CIFs and keeps what each prints
# and writes, so that two builds can be compared with `diff -r OUT_A OUT_B`.
#
# usage: tools/snapshot_outputs.sh BUILD_DIR OUT_DIR [CIF_DIR] [TEST_DATA_DIR]
#
# The CIFs of CIF_DIR (default ../shared/cifs beside the repository) and the *_occupancy.cif copies of TEST_DATA_DIR
# (default tests/data) are copied to a fixed scratch directory, where the executable and its
# databases are copied too, so that every path that appears in an output is the same for both
# builds. Commands that assign partial occupancies draw random numbers seeded from the clock:
# --gen-cif-assign and --gen-cif-assign-all, and --gen-gin, --gen-cube (with the cube analyses
# after it) on a structure with a partially occupied site. They run in a directory of their own
# and land in OUT_DIR/random/, which is not meant to be compared; everything else lands in
# OUT_DIR/log/ (stdout, stderr, exit code of each command) and OUT_DIR/files/ (what they wrote).
set -u
build=$(cd "$1" && pwd)
out=$(mkdir -p "$2" && cd "$2" && pwd)
here=$(cd "$(dirname "$0")/.." && pwd)
cif_dir=${3:-$here/../shared/cifs}
test_data=${4:-$here/tests/data}
resolution=${QUORIX_SNAPSHOT_RESOLUTION:-0.3}

scratch=/tmp/quorix-snapshot
rm -rf "$scratch"
mkdir -p "$scratch/bin" "$scratch/run" "$scratch/random/run"
cp "$build/quorix.x" "$build"/*.dat "$scratch/bin/"
cp "$cif_dir"/*.cif "$scratch/run/"
cp "$test_data"/*_occupancy.cif "$scratch/run/"
cd "$scratch/run" || exit 1
exe=../bin/quorix.x
export QUORIX_THREADS=${QUORIX_THREADS:-2}

# The conducting ion of a structure: its first element, or the anion where the first element
# is not mobile in it.
conducting_ion() {
    case "$1" in
        CaF2*) echo "F -1" ;;
        La2CuO4* | SrTiO3* | TiO2* | YBa2Cu3O6.9* | DyBO3* | Al2O3*) echo "O -2" ;;
        Lepidolite* | Li*) echo "Li 1" ;;
        Ag*) echo "Ag 1" ;;
        Cu2O*) echo "Cu 1" ;;
        CdSe*) echo "Cd 2" ;;
        Cs*) echo "Cs 1" ;;
        Fe3O4*) echo "Fe 2" ;;
        K*) echo "K 1" ;;
        Mg*) echo "Mg 2" ;;
        Na*) echo "Na 1" ;;
        Zn*) echo "Zn 2" ;;
        *) echo "" ;;
    esac
}

# run NAME ARGS...: stdout, stderr and exit code of one command, under $log/NAME.
log=$out/log
run() {
    local name=$1
    shift
    mkdir -p "$log"
    "$exe" "$@" >"$log/$name.out" 2>"$log/$name.err"
    echo "$?" >"$log/$name.rc"
}

# True when the cell printed by --print-cell has a site with an occupancy below one.
partially_occupied() {
    grep -o 'occ=[0-9.]*' "$out/log/$1--print-cell.out" | grep -qv 'occ=1.000'
}

# The landscape of a structure and the analyses of the cube: in the current directory.
landscape_chain() {
    local base=$1 type=$2 os=$3
    run "$base--gen-cube" --gen-cube "$base.cif" "$type" "$os" 0 "$resolution" f t "$base.cube"
    [ -f "$base.cube" ] || return
    run "$base--print-cube" --print-cube "$base.cube"
    run "$base--fft" --fft "$base.cube"
    run "$base--fft-cubes" --fft-cubes "$base.cube"
    run "$base--fp-map" --fp-map "$base.cube"
    run "$base--gh" --gh "$base.cif" "$base.cube" "$type" "$os"
    run "$base--sites" --sites "$base.cif" "$base.cube" "$type" "$os"
}

for cif in *.cif; do
    base=${cif%.cif}
    read -r type os <<<"$(conducting_ion "$base")"
    for cmd in --print-cell --print-ppt --print-ppt-full --print-sym --gen-cif --gen-cif-reduced --gen-cif-p1 \
        --gen-cif-os --gen-gin-lib --gen-cif-std --cal-sym-std --cal-bv --cal-gii --cal-cn --cal-cn-bv --cal-sym --cal-tot-en; do
        run "$base$cmd" "$cmd" "$cif"
    done
    if [ -n "$type" ]; then
        run "$base--cal-bv-type" --cal-bv-type "$cif" "$type" "$os" O -2
        run "$base--cal-cn-type" --cal-cn-type "$cif" "$type" "$os" O -2
        run "$base--print-ppt-full-ion" --print-ppt-full "$cif" 0 "$type" "$os"
    fi
    if partially_occupied "$base"; then
        (
            cp "$cif" "$scratch/random/run/" && cd "$scratch/random/run" && exe=../../bin/quorix.x &&
                log=$out/random/log && run "$base--gen-gin" --gen-gin "$cif" &&
                run "$base--gen-cif-assign-all" --gen-cif-assign-all "$cif" &&
                { [ -z "$type" ] || run "$base--gen-cif-assign" --gen-cif-assign "$cif" "$type" "$os"; } &&
                { [ -z "$type" ] || landscape_chain "$base" "$type" "$os"; }
        )
    else
        run "$base--gen-gin" --gen-gin "$cif"
        [ -n "$type" ] && landscape_chain "$base" "$type" "$os"
    fi
done

mkdir -p "$out/random/files"
cp -r "$scratch/random/run/." "$out/random/files/"

mkdir -p "$out/files"
cp -r "$scratch/run/." "$out/files/"
rm -rf "$scratch"
