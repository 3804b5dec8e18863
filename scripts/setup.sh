#!/bin/bash
# Installs the Debian packages that the builds and tests need and this machine lacks. Does nothing, quickly, when all
# are there. Works as root or through sudo, asks nothing.
#   scripts/setup.sh [--quiet] [demo | native | all]
#   demo    the native build of the library and the tool
#   native  what ./test --quick needs as well
#   all     everything (the default): clang, the Windows cross compiler, Wine, benchmarks, checkers
set -euo pipefail

demo_packages=(
    g++ cmake make ninja-build pkg-config ccache  # the build
    liblzo2-dev libdw-dev libelf-dev             # the library
    libcli11-dev nlohmann-json3-dev libfmt-dev   # the tool: arguments, JSON, terminal text
    libarchive-dev                               # the tool: listings of paks
)
native_packages=(
    libgtest-dev libgmock-dev                    # the tests
    libbenchmark-dev liblmdb-dev libcdb-dev libssl-dev inotify-tools   # the benchmarks, and what they compare with
    python3 binutils clang-format-14             # the rule checks
)
all_packages=(
    clang-14 clang-tidy-14 libclang-rt-14-dev clang shellcheck
    g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 lld-14 wine wine64
    googletest libz-mingw-w64-dev                # what the Windows build takes from Debian
    dpkg-dev debian-archive-keyring ca-certificates xz-utils
)

quiet=
set_name=all
for argument in "$@"; do
    case $argument in
        --quiet) quiet=yes ;;
        demo | native | all) set_name=$argument ;;
        *) echo "usage: scripts/setup.sh [--quiet] [demo | native | all]" >&2; exit 2 ;;
    esac
done

packages=("${demo_packages[@]}")
if [[ $set_name != demo ]]; then packages+=("${native_packages[@]}"); fi
if [[ $set_name == all ]]; then packages+=("${all_packages[@]}"); fi

if ! command -v dpkg-query apt-get > /dev/null; then
    echo "setup: this machine has no apt-get; these Debian packages have to be provided by other means:" >&2
    echo "  ${packages[*]}" >&2
    exit 1
fi

installed=$(dpkg-query -W -f '${Package} ${db:Status-Status}\n' | sed -n 's/ installed$//p')
missing=()
for package in "${packages[@]}"; do
    if ! grep -qx -- "$package" <<< "$installed"; then missing+=("$package"); fi
done

if ((${#missing[@]} == 0)); then
    if [[ -z $quiet ]]; then echo "setup: nothing is missing"; fi
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    if ! command -v sudo > /dev/null; then
        echo "setup: run as root, or install sudo; missing packages: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo -n)
fi

apt_get()
{
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300 "$@" < /dev/null
}

echo "setup: installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { apt_get update && apt_get install --no-install-recommends "${missing[@]}"; } > "$log" 2>&1; then
    cat "$log" >&2
    echo "setup: the packages could not be installed" >&2
    exit 1
fi
