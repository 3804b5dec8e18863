#!/bin/bash
# Makes what the Windows build links against, in build/deps/windows: LZO, GoogleTest, fmt and libarchive, cross-compiled
# from Debian's sources as static libraries, and the two header-only libraries of the tool. A part that is already
# there, made of the same source version by the same script, is kept.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
prefix=$root/build/deps/windows
work=$root/build/deps/work
mkdir -p "$prefix/include" "$prefix/stamps" "$work"

version_of() { dpkg-query -W -f '${Version}' "$1"; }

# Tells whether a part must be made; its stamp holds what it was made from.
stale()
{
    local part=$1 made_from=$2
    [[ ! -f $prefix/stamps/$part ]] || [[ $(< "$prefix/stamps/$part") != "$made_from" ]]
}

# Cross-compiles one CMake project: build NAME SOURCE TARGET... -- OPTION...
build()
{
    local name=$1 source=$2 targets=()
    shift 2
    while [[ $1 != -- ]]; do targets+=("$1"); shift; done
    shift
    local launcher=()
    if command -v ccache > /dev/null; then launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
    rm -rf "$work/$name-build"
    cmake -S "$source" -B "$work/$name-build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_POSITION_INDEPENDENT_CODE=ON \
        -DCMAKE_POLICY_DEFAULT_CMP0074=NEW -Wno-dev "${launcher[@]}" "$@"
    cmake --build "$work/$name-build" --target "${targets[@]}"
}

# What the library's speed doesn't hang on is made with less care.
less=('-DCMAKE_C_FLAGS_RELEASE=-O1 -DNDEBUG' '-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG')

make_lzo()
{
    "$root/scripts/fetch-debian-source" lzo2 "$work/lzo"
    build lzo "$work/lzo" lzo_static_lib -- -DENABLE_SHARED=OFF
    install -D -t "$prefix/lib" "$work/lzo-build/liblzo2.a"
    install -D -m 644 -t "$prefix/include/lzo" "$work"/lzo/include/lzo/*.h
}

make_gtest()
{
    build gtest /usr/src/googletest install -- "${less[@]}" -DBUILD_GMOCK=ON
}

make_fmt()
{
    "$root/scripts/fetch-debian-source" fmtlib "$work/fmt"
    build fmt "$work/fmt" install -- "${less[@]}" -DFMT_DOC=OFF -DFMT_TEST=OFF
}

versions_of_libarchive()
{
    local version
    version=$(version_of libarchive-dev)
    echo "libarchive ${version%%-*}, x86_64-w64-mingw32-gcc $(x86_64-w64-mingw32-gcc -dumpversion | grep -o '^[0-9]*')"
}

# Reads zip and tar with deflate, which is what a pak is; nothing else of it is wanted.
make_libarchive()
{
    "$root/scripts/fetch-debian-source" libarchive "$work/libarchive"
    # zlib is the static one; how to call it is stated, since the build's own question would start Wine.
    local zlib=/usr/x86_64-w64-mingw32/lib/libz.a feature
    local options=(-DENABLE_TEST=OFF -DENABLE_ZLIB=ON "-DZLIB_LIBRARY=$zlib" -DZLIB_WINAPI=OFF
        "-DZLIB_WINAPI_WITH_LIB=$zlib")
    for feature in TAR CPIO CAT MBEDTLS NETTLE OPENSSL LIBB2 LZ4 LZO LZMA ZSTD BZip2 LIBXML2 EXPAT PCREPOSIX CNG ACL \
        XATTR ICONV WERROR; do
        options+=("-DENABLE_$feature=OFF")
    done
    # Its own questions take minutes.
    local answers=$root/cmake/libarchive-mingw-w64.cmake
    if [[ $(head -n 1 "$answers") == "# $(versions_of_libarchive)" ]]; then options+=(-C "$answers"); fi
    build libarchive "$work/libarchive" archive_static -- "${less[@]}" "${options[@]}"
    # The archive takes zlib's objects in, so that whoever links it needs no second library.
    (cd "$work" && x86_64-w64-mingw32-ar -M) << END
create libarchive.a
addlib libarchive-build/libarchive/libarchive_static.a
addlib $zlib
save
end
END
    install -D -m 644 -t "$prefix/lib" "$work/libarchive.a"
    # Whoever includes the headers of a static libarchive has to say so; they say it themselves here.
    local header
    for header in archive.h archive_entry.h; do
        { echo '#define LIBARCHIVE_STATIC 1'; cat "$work/libarchive/libarchive/$header"; } > "$prefix/include/$header"
    done
}

# Only these folders are taken from the host's include path; the path itself never becomes visible.
make_header_only()
{
    cp -rL /usr/include/CLI /usr/include/nlohmann "$prefix/include/"
    mkdir -p "$prefix/share/cmake"
    cp -rL /usr/share/cmake/CLI11 /usr/share/cmake/nlohmann_json "$prefix/share/cmake/"
}

script=$(cat "$0" "$root"/cmake/{mingw-w64,libarchive-mingw-w64}.cmake | sha256sum | cut -c 1-16)
make_part()
{
    local part=$1 made_from
    shift
    made_from="$script $(for package in "$@"; do version_of "$package"; echo; done | tr '\n' ' ')"
    if ! stale "$part" "$made_from"; then return; fi
    echo "windows dependencies: making $part"
    local started=$SECONDS
    # A subshell outside any condition: inside one, bash would go on after a failed step.
    local status=0
    set +e
    (set -e; "make_$part") > "$work/$part.log" 2>&1 < /dev/null
    status=$?
    set -e
    if ((status != 0)); then
        tail -n 40 "$work/$part.log" >&2
        echo "build-windows-deps: $part could not be made; the whole log is $work/$part.log" >&2
        exit 1
    fi
    echo "$made_from" > "$prefix/stamps/$part"
    echo "windows dependencies: $part made in $((SECONDS - started)) s"
}

make_part lzo liblzo2-dev
make_part gtest googletest
make_part fmt libfmt-dev
make_part libarchive libarchive-dev libz-mingw-w64-dev
make_part header_only libcli11-dev nlohmann-json3-dev
