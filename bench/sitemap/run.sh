#!/usr/bin/env bash
# Sitemap benchmark: builds bench_sitemap in Release, generates the crawl benchmark's site
# (20,000 pages by default), serves it with the private nginx and runs the benchmark on it.
# Usage: bench/sitemap/run.sh [--no-build] [--pages N] [--threads N]
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
cd "$root"

build=1
pages=20000
threads=16
while [ $# -gt 0 ]; do
  case "$1" in
    --no-build) build=0 ;;
    --pages) pages="$2"; shift ;;
    --threads) threads="$2"; shift ;;
    *) echo "unknown option $1" >&2; exit 2 ;;
  esac
  shift
done

if [ "$build" = 1 ]; then
  flock /tmp/orrelwick-build.lock sh -c '
    cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DORRELWICK_TESTS=OFF -DORRELWICK_BENCH=ON >/dev/null &&
    cmake --build build/release --target bench_sitemap -j2'
fi

site="$(python3 bench/crawl/gen_site.py --pages "$pages" --print-out)"
python3 bench/crawl/gen_site.py --pages "$pages" >/dev/null
port="$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')"
bench/crawl/nginx.sh start "$site/www" "$port" >/dev/null
trap 'bench/crawl/nginx.sh stop >/dev/null' EXIT
build/release/bench/sitemap/bench_sitemap "http://127.0.0.1:$port/" --threads "$threads"
