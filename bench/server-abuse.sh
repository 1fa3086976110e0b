#!/usr/bin/env bash
# Abuse of a running velmarin-server, measured: its resident memory before and
# after ten 1 GB request bodies sent without a token (streamed, never held
# here), and while 200 connections drip one byte at a time; meanwhile a
# signed-in client's requests are timed on a connection of their own.
#
#   bench/server-abuse.sh [path/to/velmarin-server]
#
# Prints one line per phase; exits 1 when the server's RSS reaches 100 MB or
# a timed request under abuse takes 50 ms or more. The timed requests of a
# quiet server come first, to tell the machine's own noise from the server's.
set -euo pipefail

server=${1:-build/server/velmarin-server}
data=$(mktemp -d)
log=$(mktemp)
trap 'kill "$pid" 2>/dev/null || true; rm -rf "$data" "$log"' EXIT

"$server" --data-dir "$data" --port 0 --names alice --no-loopback-owner \
    --request-timeout-ms 10000 >"$log" 2>&1 &
pid=$!
for _ in $(seq 100); do
    grep -q ' ready ' "$log" && break
    sleep 0.1
done
port=$(sed -n 's/.* ready port=\([0-9]*\).*/\1/p' "$log")
[ -n "$port" ] || { cat "$log"; exit 2; }

python3 - "$pid" "$port" <<'EOF'
import json, socket, sys, threading, time

pid, port = int(sys.argv[1]), int(sys.argv[2])
GB = 1 << 30
CHUNK = b"x" * (1 << 16)

def rss_mb():
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) / 1024
    return -1

def receive(sock):
    chunk = sock.recv(65536)
    if not chunk:
        raise ConnectionResetError("closed")
    return chunk

def exchange(sock, raw):
    sock.sendall(raw)
    data = b""
    while b"\r\n\r\n" not in data:
        data += receive(sock)
    head, _, body = data.partition(b"\r\n\r\n")
    length = 0
    for line in head.split(b"\r\n"):
        if line.lower().startswith(b"content-length:"):
            length = int(line.split(b":")[1])
    while len(body) < length:
        body += receive(sock)
    return int(head[9:12]), body

def connect():
    return socket.create_connection(("127.0.0.1", port))

payload = b'{"username":"alice"}'
status, body = exchange(connect(), b"POST /api/login HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                        b"Content-Type: application/json\r\nContent-Length: %d\r\n\r\n"
                        % len(payload) + payload)
token = json.loads(body)["token"]
timed = (b"GET /api/bootstrap HTTP/1.1\r\nHost: 127.0.0.1\r\nAuthorization: Bearer "
         + token.encode() + b"\r\n\r\n")

times = []
stop = threading.Event()

def time_requests():
    # A fresh connection whenever the idle timeout closed the last one.
    sock = connect()
    while not stop.is_set():
        start = time.monotonic()
        try:
            status, _ = exchange(sock, timed)
        except OSError:
            sock = connect()
            continue
        times.append((time.monotonic() - start) * 1000)
        if status != 200:
            print("timed request answered", status)
        time.sleep(0.05)

def summary(ms):
    ms = sorted(ms)
    return (f"{len(ms)} requests, median {ms[len(ms) // 2]:.1f} ms, "
            f"p99 {ms[int(len(ms) * 0.99)]:.1f} ms, slowest {ms[-1]:.1f} ms")

timer = threading.Thread(target=time_requests)
timer.start()
# The machine's own noise, before any abuse.
time.sleep(5)
quiet = len(times)
print("timed requests, quiet server:", summary(times[:quiet]))

before = rss_mb()
accepted = []
for _ in range(10):
    sock = connect()
    sock.sendall(b"POST /api/chats/1/messages HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                 b"Content-Type: application/json\r\nContent-Length: %d\r\n\r\n" % GB)
    sent = 0
    try:
        while sent < GB:
            sock.sendall(CHUNK)
            sent += len(CHUNK)
    except OSError:
        pass
    accepted.append(sent)
    sock.close()
after_bodies = rss_mb()
print(f"ten 1 GB bodies: RSS {before:.1f} MB before, {after_bodies:.1f} MB after; "
      f"at most {max(accepted) >> 20} MB left this side before the server cut each off")

drips = [connect() for _ in range(200)]
for s in drips:
    s.sendall(b"GET /api/bootstrap HTTP/1.1\r\nHost: 127.0.0.1\r\n")
peak = rss_mb()
closed = 0
for second in range(14):
    time.sleep(1)
    for s in drips:
        try:
            s.sendall(b"X")
        except OSError:
            pass
    peak = max(peak, rss_mb())
for s in drips:
    s.settimeout(0.01)
    try:
        closed += s.recv(1) == b""
    except OSError:
        closed += 1
after_drips = rss_mb()
stop.set()
timer.join()
print(f"200 slow-drip connections: RSS peak {peak:.1f} MB, {after_drips:.1f} MB after; "
      f"{closed} of 200 closed by the server within 14 s")
abused = times[quiet:]
print("timed requests, under abuse:", summary(abused))
sys.exit(0 if max(peak, after_bodies) < 100 and max(abused) < 50 else 1)
EOF
