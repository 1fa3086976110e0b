#!/usr/bin/env bash
# Start-up cost of the app at the login screen, under Xvfb:
#   - time to the first frame of the window, from the moment the process
#     started (median of several cold-ish runs, each on a fresh install);
#   - memory: maximum resident set size while idle at the login screen
#     (/usr/bin/time -v over a run that idles a few seconds).
# Targets: first frame < 350 ms, RSS < 140 MB.
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD_DIR=${BUILD_DIR:-build}
RUNS=${RUNS:-7}
IDLE_SECONDS=${IDLE_SECONDS:-5}

export CCACHE_BASEDIR="$PWD"
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$BUILD_DIR" --target velmarin -- -j"${JOBS:-2}" >/dev/null
APP="$PWD/$BUILD_DIR/src/qml/velmarin"

# A server on a well-known address would sign the fresh install in.
for port in 8391 8395; do
    if (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
        echo "startup: 127.0.0.1:$port answers; stop it so the app stays at the login screen." >&2
        exit 1
    fi
done

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

xvfb-run -a -s "-screen 0 1280x800x24" bash -s "$APP" "$WORK" "$RUNS" "$IDLE_SECONDS" <<'INNER'
set -euo pipefail
APP=$1 WORK=$2 RUNS=$3 IDLE=$4
fresh() {
    local dir="$WORK/$1"
    mkdir -p "$dir/config" "$dir/data" "$dir/cache" "$dir/runtime"
    chmod 700 "$dir/runtime"
    echo "XDG_CONFIG_HOME=$dir/config XDG_DATA_HOME=$dir/data XDG_CACHE_HOME=$dir/cache XDG_RUNTIME_DIR=$dir/runtime"
}
# One warm-up run fills the page cache, as any second start would find it.
env $(fresh warmup) "$APP" --quit-after-first-frame >/dev/null 2>&1
frames=()
for i in $(seq "$RUNS"); do
    line=$(env $(fresh "run$i") "$APP" --quit-after-first-frame 2>/dev/null | grep '^first-frame-ms')
    frames+=("$(echo "$line" | awk '{print $2}')")
    echo "run $i: $line"
done
median=$(printf '%s\n' "${frames[@]}" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}')
rss_kb=$(env $(fresh idle) /usr/bin/time -v "$APP" --quit-after "$IDLE" 2>&1 >/dev/null \
    | awk -F: '/Maximum resident set size/ {gsub(/ /, "", $2); print $2}')
rss_mb=$(awk -v kb="$rss_kb" 'BEGIN {printf "%.1f", kb / 1024}')
echo
printf 'first frame at the login screen: %s ms (median of %s runs; target < 350 ms)\n' "$median" "$RUNS"
printf 'RSS idle at the login screen:    %s MB (after %s s; target < 140 MB)\n' "$rss_mb" "$IDLE"
INNER
