#!/bin/sh
# Runs fuzz targets one after another: fuzz/run-fuzzers.sh BUILD_DIR SECONDS TARGET...
# The build dir is configured with clang and -DQUORIX_FUZZ=ON. Crashers land in
# BUILD_DIR/artifacts/<target>/, the growing corpus in BUILD_DIR/work/<target>/; the committed
# corpus fuzz/corpus/<target>/ seeds each run.
set -eu
build=$1 seconds=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)
for target in "$@"; do
    mkdir -p "$build/work/$target" "$build/artifacts/$target" "$here/corpus/$target"
    nice -n 10 "$build/fuzz_$target" -fork=1 -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1 \
        -timeout=20 -rss_limit_mb=2048 -close_fd_mask=3 -max_total_time="$seconds" \
        -artifact_prefix="$build/artifacts/$target/" "$build/work/$target" "$here/corpus/$target" \
        > "$build/$target.log" 2>&1 || true
done
