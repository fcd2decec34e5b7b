#!/usr/bin/env bash
# Installs the Debian packages that building, testing and benchmarking need, when missing.
# Usage: tools/setup.sh [extra package...]
set -euo pipefail

packages=(
  cmake ninja-build g++ ccache pkg-config
  qt6-base-dev libcurl4-openssl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  clang clang-format libclang-rt-14-dev libxml2-dev
  python3 openssl nginx-light graphviz chromium
  python3-pyftpdlib libxml2-utils
  apache2 w3c-markup-validator default-jre-headless
  "$@"
)
# tools/validator.sh installs the HTML5 checker (vnu-jar) with npm; a node.js from elsewhere
# brings its own npm.
command -v npm >/dev/null || packages+=(npm)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
