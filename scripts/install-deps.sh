#!/usr/bin/env bash
# Installs what building and testing the project needs on Debian 12, and
# nothing when all of it is there already. Run as root.
set -euo pipefail

packages=(
  build-essential
  cmake
  pkg-config
  libboost-dev
  libsqlite3-dev
  nlohmann-json3-dev
  libcli11-dev
  sqlite3
  libgtest-dev
  libgmock-dev
  libbenchmark-dev
  clang-format
  clang
  libclang-rt-14-dev
  # the matrix page's browser test and its screenshot in docs/
  chromium
  fonts-dejavu-core
  # the manual page's test renders it
  groff-base
  # the server engine and its tests
  postgresql-15
  libpqxx-dev
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends "${missing[@]}"
