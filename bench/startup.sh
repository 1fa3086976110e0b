#!/usr/bin/env bash
# Start-up cost of the app at the login screen, under Xvfb:
#   - time to the first frame of the window, from the moment the process
#     started (median of several cold-ish runs, each on a fresh install);
#   - memory: maximum resident set size while idle at the login screen
#     (/usr/bin/time -v over a run that idles a few seconds);
# and then against velmarin-server with its demo (people, groups, agent sessions):
#   - time to the first frame of the signed-in main window, from process start
#     (a fresh install finds the server on the well-known port and signs in);
#   - memory: maximum RSS after loading the demo with a conversation open.
# Targets: first frame < 350 ms, RSS < 140 MB.
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD_DIR=${BUILD_DIR:-build}
RUNS=${RUNS:-7}
IDLE_SECONDS=${IDLE_SECONDS:-5}

export CCACHE_BASEDIR="$PWD"
cmake -S . -B "$BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$BUILD_DIR" --target velmarin velmarin-server -- -j"${JOBS:-2}" >/dev/null
APP="$PWD/$BUILD_DIR/src/qml/velmarin"
SERVER=${VELMARIN_SERVER:-$PWD/$BUILD_DIR/server/velmarin-server}

# A server on a well-known address would sign the fresh install in.
for port in 8391 8395; do
    if (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
        echo "startup: 127.0.0.1:$port answers; stop it so the app stays at the login screen." >&2
        exit 1
    fi
done

WORK=$(mktemp -d)
SERVER_PID=""
cleanup() {
    # Under set -e a failing last step here would end the trap before the clean-up.
    if [ -n "$SERVER_PID" ]; then kill "$SERVER_PID" 2>/dev/null && wait "$SERVER_PID" 2>/dev/null || true; fi
    rm -rf "$WORK"
}
trap cleanup EXIT

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

# The same app against the demo server.
"$SERVER" --data-dir "$WORK/server" --port 8391 --owner ana --names ana --seed-demo \
    >"$WORK/server.log" 2>&1 &
SERVER_PID=$!
for _ in $(seq 150); do
    grep -q 'velmarin-server ready' "$WORK/server.log" && break
    sleep 0.1
done
grep -q 'velmarin-server ready' "$WORK/server.log" || { cat "$WORK/server.log" >&2; exit 1; }

xvfb-run -a -s "-screen 0 1280x800x24" bash -s "$APP" "$WORK" "$RUNS" "$IDLE_SECONDS" <<'INNER'
set -euo pipefail
APP=$1 WORK=$2 RUNS=$3 IDLE=$4
fresh() {
    local dir="$WORK/demo-$1"
    mkdir -p "$dir/config" "$dir/data" "$dir/cache" "$dir/runtime"
    chmod 700 "$dir/runtime"
    echo "XDG_CONFIG_HOME=$dir/config XDG_DATA_HOME=$dir/data XDG_CACHE_HOME=$dir/cache XDG_RUNTIME_DIR=$dir/runtime"
}
frames=()
for i in $(seq "$RUNS"); do
    line=$(env $(fresh "run$i") timeout 30 "$APP" --quit-after-main-frame 2>/dev/null \
        | grep '^main-frame-ms' || true)
    [ -z "$line" ] && { echo "run $i: no signed-in frame within 30 s" >&2; exit 1; }
    frames+=("$(echo "$line" | awk '{print $2}')")
    echo "demo run $i: $line"
done
median=$(printf '%s\n' "${frames[@]}" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}')
rss_kb=$(env $(fresh idle) /usr/bin/time -v "$APP" --open-chat "Design crew" \
    --quit-after "$IDLE" 2>&1 >/dev/null \
    | awk -F: '/Maximum resident set size/ {gsub(/ /, "", $2); print $2}')
rss_mb=$(awk -v kb="$rss_kb" 'BEGIN {printf "%.1f", kb / 1024}')
echo
printf 'first signed-in frame, demo:     %s ms (median of %s runs; sign-in over loopback included)\n' "$median" "$RUNS"
printf 'RSS with the demo loaded:        %s MB (a conversation open, after %s s; target < 140 MB)\n' "$rss_mb" "$IDLE"
INNER
