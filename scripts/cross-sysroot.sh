#!/usr/bin/env bash
# Unpacks the Debian 12 packages of the libraries the build links (and the
# header-only ones it includes) for a foreign architecture into a folder
# that a cross build uses as its target root.
# Usage: scripts/cross-sysroot.sh ARCH DIR      (ARCH: arm64, armhf)
#
# The packages are fetched by an apt instance of their own (own state,
# cache and source list, the target as its only architecture), never by
# adding a foreign architecture to the system's apt: the system's package
# index stays native, so the system's `apt-get update` cannot fail on a
# foreign index that is out of step, and no foreign package is installed
# beside the native ones (multiarch fails on version skews of shared
# packages). A failed index download is retried; when every try fails, the
# packages downloaded by an earlier run are used if all are there.
# Downloads are kept in $VEQ_CROSS_CACHE (default ~/.cache/veq-migrate-cross).
set -euo pipefail
arch="${1:?usage: scripts/cross-sysroot.sh ARCH DIR}"
root="${2:?usage: scripts/cross-sysroot.sh ARCH DIR}"

packages=(
  libsqlite3-0 libsqlite3-dev libfmt9 libfmt-dev libdate-tz3 libhowardhinnant-date-dev
  libgtest-dev libgmock-dev nlohmann-json3-dev libcli11-dev
)

cache="${VEQ_CROSS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/veq-migrate-cross}/$arch"
state="$cache/apt"
debs="$cache/debs"
mkdir -p "$state/lists/partial" "$state/archives/partial" "$state/sources.list.d" "$debs"
touch "$state/status"

# The system's own package sources, read for the target architecture.
rm -f "$state/sources.list.d/"*
[ -f /etc/apt/sources.list ] && cp /etc/apt/sources.list "$state/sources.list" || : >"$state/sources.list"
for f in /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
  [ -f "$f" ] && cp "$f" "$state/sources.list.d/"
done

apt_target=(
  apt-get -q
  -o "APT::Architecture=$arch" -o "APT::Architectures::=$arch"
  -o "Dir::State=$state" -o "Dir::State::Lists=$state/lists" -o "Dir::State::status=$state/status"
  -o "Dir::Cache=$state" -o "Dir::Cache::Archives=$state/archives"
  -o "Dir::Etc::SourceList=$state/sources.list" -o "Dir::Etc::SourceParts=$state/sources.list.d"
  -o "Acquire::Retries=3" -o "Acquire::Languages=none"
)

# The newest downloaded file of a package, if any.
cached() { find "$debs" -maxdepth 1 -name "${1}_*_${arch}.deb" -o -maxdepth 1 -name "${1}_*_all.deb" | sort -V | tail -n 1; }

fetched=false
for try in 1 2 3 4 5; do
  # An index that fails to download leaves apt-get update with an error; the
  # download below tells whether the packages needed are known all the same.
  "${apt_target[@]}" update >"$state/update.log" 2>&1 || true
  if (cd "$debs" && "${apt_target[@]}" download "${packages[@]}" >"$state/download.log" 2>&1); then
    fetched=true
    break
  fi
  echo "cross-sysroot: $arch: package index or download failed (try $try of 5):" >&2
  tail -n 5 "$state/update.log" "$state/download.log" >&2
  sleep $((try * 15))
done
if ! $fetched; then
  for p in "${packages[@]}"; do
    [ -n "$(cached "$p")" ] || { echo "cross-sysroot: $arch: $p could not be downloaded" >&2; exit 1; }
  done
  echo "cross-sysroot: $arch: using the packages downloaded earlier" >&2
fi

# Unpack afresh when the set of package files changed.
files=()
for p in "${packages[@]}"; do files+=("$(cached "$p")"); done
stamp="$(printf '%s\n' "${files[@]##*/}")"
if [ -f "$root/.packages" ] && [ "$(cat "$root/.packages")" = "$stamp" ]; then exit 0; fi
rm -rf "$root"
mkdir -p "$root"
for f in "${files[@]}"; do dpkg-deb -x "$f" "$root"; done
printf '%s\n' "$stamp" >"$root/.packages"
echo "cross-sysroot: $arch: $root holds ${#files[@]} packages"
