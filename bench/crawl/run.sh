#!/usr/bin/env bash
# Crawl benchmark: installs the peer tools when missing, builds orrelwick-cli in Release, then
# generates the site, serves it with a private nginx and measures orrelwick-cli, the server's
# ceiling and the peers (bench/crawl/measure.py; results in build/bench-crawl/results.md).
# Usage: bench/crawl/run.sh [--no-build] [--pages N] [--links N] [--broken F] [--cap MIN]
#                           [--small-pages N] [--tools orrelwick,ceiling,floor,wget,linkinator,linkchecker]
#                           [--profile] [--hold-lock]
# --hold-lock keeps the shared build lock while measuring, so that no build of the shared tree
# starts on the two cores in the middle of a measurement (others' builds wait a few minutes).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
cd "$root"

build=1
hold=0
args=()
for a in "$@"; do
  case "$a" in
    --no-build) build=0 ;;
    --hold-lock) hold=1 ;;
    -h | --help) exec python3 bench/crawl/measure.py --help ;;
    *) args+=("$a") ;;
  esac
done

# Debian packages: the load generator, two peers, GNU time and perf (nginx is on the project's
# own list).
tools/setup.sh wrk linkchecker wget time linux-perf binutils

# linkinator from npm into build/ (never committed). The 6.x line runs on the Node.js that
# Debian ships; later lines need a newer Node.js or report healthy pages as failed under it.
tools_dir="$root/build/bench-tools"
linkinator_version="6.3.0"
if ! [ -x "$tools_dir/node_modules/.bin/linkinator" ] ||
  [ "$(node -p "require('$tools_dir/node_modules/linkinator/package.json').version" 2>/dev/null)" != "$linkinator_version" ]; then
  command -v npm >/dev/null || tools/setup.sh npm
  mkdir -p "$tools_dir"
  npm install --silent --no-audit --no-fund --prefix "$tools_dir" "linkinator@$linkinator_version"
fi

if [ "$build" = 1 ]; then
  flock /tmp/orrelwick-build.lock sh -c '
    cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DORRELWICK_TESTS=OFF -DORRELWICK_BENCH=ON >/dev/null &&
    cmake --build build/release --target orrelwick-cli fetch_floor -j2'
fi

if [ "$hold" = 1 ]; then
  exec flock /tmp/orrelwick-build.lock python3 bench/crawl/measure.py ${args[@]+"${args[@]}"}
fi
exec python3 bench/crawl/measure.py ${args[@]+"${args[@]}"}
