#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, only those that are missing, so
# that a second run costs a few dpkg queries. With --dev also the contributor tools
# (clang-format and its LLVM, about 165 MB).
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  zlib1g-dev libisal-dev
  libgtest-dev libgmock-dev
  libbenchmark-dev
  nlohmann-json3-dev
  libcurl4-openssl-dev
  # The desktop app, its tests (offscreen, and a smoke run under Xvfb) and its desktop files.
  # libqt6gui6 (from qt6-base-dev) carries the xcb platform plugin and depends on its libraries;
  # xauth is only recommended by xvfb but xvfb-run needs it; gio (libglib2.0-bin) lets the
  # desktop-files test see how a file is recognised.
  qt6-base-dev qt6-translations-l10n fonts-dejavu-core
  xvfb xauth desktop-file-utils shared-mime-info libxml2-utils libglib2.0-bin
)
if [ "${1:-}" = "--dev" ]; then
  packages+=(clang-format)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then
    sudo_cmd=(sudo)
  else
    echo "error: need root or sudo to install: ${missing[*]}" >&2
    exit 1
  fi
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
