#!/usr/bin/env bash
# A validation run of a generated site against the local validator service: orrelwick-cli crawls
# N pages (200) with every page validated, and the same crawl without validation for comparison;
# prints the wall time and the peak memory of each.
# Usage: bench/validation/run.sh [CLI] [PAGES]
#   CLI    the orrelwick-cli to measure (build/bench/src/cli/orrelwick-cli)
#   PAGES  pages of the site (200): a home page linking to the others; every fifth page is
#          invalid HTML 4.01, the rest valid
set -euo pipefail
cd "$(dirname "$0")/../.."

cli=${1:-build/bench/src/cli/orrelwick-cli}
pages=${2:-200}
[ -x "$cli" ] || { echo "no $cli: build the orrelwick-cli target first" >&2; exit 1; }

tools/validator.sh start >/dev/null
validator=http://127.0.0.1:${ORRELWICK_VALIDATOR_PORT:-8398}/w3c-validator

site=$(mktemp -d)
work=$(mktemp -d)
server_pid=""
cleanup() {
  [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null
  rm -rf "$site" "$work"
}
trap cleanup EXIT

head='<!DOCTYPE HTML PUBLIC "-//W3C//DTD HTML 4.01//EN" "http://www.w3.org/TR/html4/strict.dtd">
<html><head><meta http-equiv="Content-Type" content="text/html; charset=utf-8">'
{
  echo "$head<title>Home</title></head><body><ul>"
  for ((i = 1; i < pages; i++)); do
    echo "<li><a href=\"page$i.html\">Page $i</a></li>"
  done
  echo "</ul></body></html>"
} >"$site/index.html"
for ((i = 1; i < pages; i++)); do
  body="<p>Page $i of the site, with a paragraph of text and a <a href=\"index.html\">link home</a>.</p>"
  if ((i % 5 == 0)); then
    body="$body<p>Invalid: <blink>an element this DTD does not have</blink><zz></p>"
  fi
  echo "$head<title>Page $i</title></head><body>$body</body></html>" >"$site/page$i.html"
done

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
python3 -m http.server "$port" --bind 127.0.0.1 --directory "$site" >/dev/null 2>&1 &
server_pid=$!
for _ in $(seq 50); do
  curl -s -o /dev/null "http://127.0.0.1:$port/" && break
  sleep 0.1
done

export ORRELWICK_HOME=$work/home
measure() { # label, arguments of crawl
  local label=$1
  shift
  /usr/bin/time -f "%e %M" -o "$work/time" "$cli" crawl "http://127.0.0.1:$port/index.html" \
    --quiet "$@" >"$work/out" || true
  read -r seconds kib <"$work/time"
  printf '%-22s %7.1f s %7.1f MiB   %s\n' "$label" "$seconds" "$(echo "$kib / 1024" | bc -l)" \
    "$(tr '\n' ' ' <"$work/out")"
}

echo "$pages pages on 127.0.0.1:$port, validator $validator"
measure "crawl only" --set numberOfThreads=4
measure "crawl + validation" --set numberOfThreads=4 --validate "$validator" --validate-all \
  --set validationDelay=0 --validation-csv "$work/v.csv"
echo "invalid pages in the CSV: $(grep -o '"Invalid"' "$work/v.csv" | wc -l)"
