#!/usr/bin/env bash
# Builds the dependencies of the Windows target that no mingw package offers, once for each set of
# versions, into .cache/windows-deps/<key>. The link .cache/windows-deps/current points to the set in use.
#
#   windows_deps.sh          builds what is missing and prints the folder
#   windows_deps.sh --ready  exits with 0 when there is nothing to build
#
# The folder has bin (DLLs, those of the C++ runtime too), include, lib (import libraries, TBB's CMake
# package), symbols (PDB files) and share/licenses. It is renamed to its name as the last step, so it is
# either complete or missing.
set -euo pipefail

QZ_ROOT=$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/.." && pwd)
# shellcheck source=scripts/lib.sh
source "$QZ_ROOT/scripts/lib.sh"

# This package contains all of GNU libiconv 1.14. The checksum is that of the registry's archive.
ICONV_PACKAGE="iconv"
ICONV_VERSION=3.0.1
ICONV_SHA512=9499c52f155cd1df3647b19f53b6bd46e8ca55443711e7b5f6d3ca59958126d0041911d51321730ad6cd97718f2ae0e71c10514f8fe70d2e11bbd0080d3ef6a8

# This package contains all of PhysicsFS in this version; PhysicsFS's own source package is no longer
# available.
PHYSFS_VERSION=3.1
PHYSFS_PACKAGE="love"
PHYSFS_PACKAGE_VERSION=11.4-1

TRIPLET=x86_64-w64-mingw32
CACHE=$QZ_ROOT/.cache/windows-deps
DEB_SRC=$QZ_ROOT/scripts/deb_src.awk

# The versions that the Linux build uses, so that both targets run the same code; fails when one of
# the packages is not installed.
find_versions() {
    TBB_VERSION=$(installed source:Version libtbb-dev) &&
        LUA_VERSION=$(installed source:Version liblua5.1-0-dev) &&
        ZLIB_VERSION=$(installed source:Version zlib1g-dev) &&
        COMPILER_VERSION=$(installed Version g++-mingw-w64-x86-64-posix) &&
        CLANG_VERSION=$(installed Version clang-14) &&
        HEADERS_VERSION=$(installed Version mingw-w64-x86-64-dev)
}

installed() { # <field> <package>
    dpkg-query -W -f "\${$1}" "$2" 2>/dev/null
}

key() {
    local checksum
    checksum=$(printf '%s\n' "$TBB_VERSION" "$LUA_VERSION" "$ZLIB_VERSION" "$COMPILER_VERSION" \
        "$CLANG_VERSION" "$HEADERS_VERSION" |
        cat - "$QZ_ROOT"/scripts/windows_deps.sh "$QZ_ROOT"/scripts/windows_deps/CMakeLists.txt |
        sha256sum)
    printf 'tbb%s-lua%s-physfs%s-iconv%s-gcc%s-%s\n' "${TBB_VERSION%%-*}" "${LUA_VERSION%%-*}" \
        "$PHYSFS_VERSION" "$ICONV_VERSION" "${COMPILER_VERSION%%-*}" "${checksum:0:10}"
}

# Runs apt-get with separate package lists, made from the machine's sources with only the type changed.
# Proxies, keys and signature checks are the machine's, and its configuration is not changed.
source_apt() {
    apt-get -q -o Acquire::Retries=3 -o Dir::State::Lists="$WORK/apt/lists" \
        -o Dir::Cache="$WORK/apt/cache" -o Dir::Etc::SourceList="$WORK/apt/sources.list" \
        -o Dir::Etc::SourceParts="$WORK/apt/sources.list.d" "$@"
}

# Prints those of the machine's sources whose signed index says that they are Debian's own archive.
debian_archives() {
    # shellcheck disable=SC2016 # apt's own variables
    apt-get "$@" indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' | sort -u
}

# A machine that never updated its lists, or removed them, has no index; then the archives are asked.
debian_archives_or_update() {
    local private=(-o "Dir::State::Lists=$WORK/apt/binary-lists")
    debian_archives | grep . || {
        mkdir -p "$WORK/apt/binary-lists/partial"
        apt-get -q "${private[@]}" update >&2
        debian_archives "${private[@]}" | grep .
    }
}

write_source_lists() {
    local file
    mkdir -p "$WORK"/apt/{lists/partial,cache/archives/partial,sources.list.d}
    debian_archives_or_update >"$WORK/apt/archives"
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ ! -f "$file" ] || awk -f "$DEB_SRC" "$WORK/apt/archives" "$file"
    done >"$WORK/apt/sources.list"
    for file in /etc/apt/sources.list.d/*.sources; do
        [ ! -f "$file" ] || awk -f "$DEB_SRC" "$WORK/apt/archives" RS= "$file"
    done >"$WORK/apt/sources.list.d/debian.sources"
    cat "$WORK/apt/sources.list" "$WORK/apt/sources.list.d/debian.sources"
}

# fetch_debian_source <package> <version>: unpacks it, with Debian's patches, to $WORK/<package>.
# The archive removes a version when a newer one comes; then the newest version is fetched.
fetch_debian_source() {
    mkdir -p "$WORK/download/$1"
    cd "$WORK/download/$1"
    source_apt source --download-only --only-source "$1=$2" ||
        source_apt source --download-only --only-source "$1"
    dpkg-source -x ./*.dsc "$WORK/$1"
}

fetch_debian_sources() {
    write_source_lists
    source_apt update
    fetch_debian_source onetbb "$TBB_VERSION"
    fetch_debian_source lua5.1 "$LUA_VERSION"
    fetch_debian_source zlib "$ZLIB_VERSION"
    fetch_debian_source "$PHYSFS_PACKAGE" "$PHYSFS_PACKAGE_VERSION"
}

fetch_iconv() {
    mkdir -p "$WORK/iconv"
    cd "$WORK/iconv"
    npm pack --cache "$WORK/npm" "$ICONV_PACKAGE@$ICONV_VERSION"
    echo "$ICONV_SHA512 $ICONV_PACKAGE-$ICONV_VERSION.tgz" | sha512sum -c
    tar -xzf "$ICONV_PACKAGE-$ICONV_VERSION.tgz" --strip-components=1
}

# Built by GCC, for which oneTBB has its lists of exports, and for Windows 7, because oneTBB otherwise uses a
# function that Windows 7 lacks.
build_tbb() {
    QZ_WINDOWS_DEPS=$PREFIX cmake -S "$WORK/onetbb" -B "$WORK/onetbb/build" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$QZ_ROOT/cmake/toolchain-mingw-w64.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$PREFIX" -DCMAKE_INSTALL_LIBDIR=lib \
        -DCMAKE_CXX_FLAGS="-DWINVER=0x0601 -D_WIN32_WINNT=0x0601" -DTBB_TEST=OFF -DTBB_STRICT=OFF \
        -DTBBMALLOC_BUILD=ON -DTBBMALLOC_PROXY_BUILD=OFF -DTBB_DISABLE_HWLOC_AUTOMATIC_SEARCH=ON
    cmake --build "$WORK/onetbb/build" -j "$QZ_JOBS"
    cmake --install "$WORK/onetbb/build" --strip
    # The .pc file names this folder, which will be renamed; the CMake package needs no fixed path.
    rm -rf "$PREFIX/lib/pkgconfig" "$PREFIX/share/doc"
    keep_licence onetbb "$WORK/onetbb/LICENSE.txt" "$WORK/onetbb/debian/copyright"
}

# Lua, PhysicsFS, zlib and libiconv, which have no build files that suit this target.
build_plain() {
    QZ_WINDOWS_DEPS=$PREFIX cmake -S "$QZ_ROOT/scripts/windows_deps" -B "$WORK/plain" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$QZ_ROOT/cmake/toolchain-windows.cmake" \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX="$PREFIX" -DCMAKE_INSTALL_LIBDIR=lib \
        -DQZ_SOURCES="$WORK" -DQZ_PHYSFS="$WORK/$PHYSFS_PACKAGE/src/libraries/physfs"
    cmake --build "$WORK/plain" -j "$QZ_JOBS"
    cmake --install "$WORK/plain"
    keep_licence lua "$WORK/lua5.1/COPYRIGHT"
    keep_licence physfs "$WORK/$PHYSFS_PACKAGE/debian/copyright"
    keep_licence zlib "$WORK/zlib/debian/copyright"
    keep_licence libiconv "$WORK/iconv/LICENSE" /usr/share/common-licenses/LGPL-2
}

copy_runtime() {
    local name file
    for name in libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll; do
        file=$("$TRIPLET-g++-posix" -print-file-name="$name")
        # The compiler finds only its own files; the thread library is in the target's folder.
        [ -f "$file" ] || file=/usr/$TRIPLET/lib/$name
        # Nine tenths of the files are debugging information.
        "$TRIPLET-strip" -g -o "$PREFIX/bin/$name" "$file"
    done
    keep_licence gcc-runtime /usr/share/doc/gcc-mingw-w64-x86-64-posix-runtime/copyright
    keep_licence mingw-w64 /usr/share/doc/mingw-w64-x86-64-dev/copyright
}

# The documents under /usr/share/doc may be left out on small machines.
keep_licence() { # <name> <file...>
    local folder=$PREFIX/share/licenses/$1 file
    mkdir -p "$folder"
    shift
    for file in "$@"; do
        [ ! -f "$file" ] || cp -L "$file" "$folder"
    done
}

publish() {
    mv -T "$PREFIX" "$CACHE/$KEY"
    point_to_key
}

# Renamed into place, so that the link exists at every moment.
point_to_key() {
    ln -sfn "$KEY" "$CACHE/current.new"
    mv -T "$CACHE/current.new" "$CACHE/current"
}

ready() {
    [ -z "${QZ_WINDOWS_DEPS:-}" ] || return 0
    find_versions || return 1
    KEY=$(key)
    [ -d "$CACHE/$KEY" ] || return 1
    [ "$(readlink "$CACHE/current")" = "$KEY" ] || point_to_key
}

build_all() {
    local network="check the network and the machine's package sources, then try again"
    local report="the log says what; is a package of this machine half-installed?"
    mkdir -p "$CACHE"
    # One builder at a time; a builder that waited finds the folder ready.
    exec 9>"$CACHE/lock"
    flock 9
    ! ready || return 0
    find_versions || die "not all packages are there: run ./dev test --windows"
    KEY=$(key)
    # Remains of an interrupted build; no other build runs now.
    rm -rf "$CACHE"/building.*
    WORK=$(mktemp -d "$CACHE/building.XXXXXX")
    trap 'rm -rf "$WORK"' EXIT
    PREFIX=$WORK/prefix
    mkdir -p "$PREFIX"/{bin,include,lib}
    step "Windows dependencies: Debian sources" "$network" fetch_debian_sources
    step "Windows dependencies: libiconv source" "$network (npm must work)" fetch_iconv
    step "Windows dependencies: Lua 5.1, PhysicsFS $PHYSFS_VERSION, zlib, libiconv 1.14" "$report" build_plain
    step "Windows dependencies: oneTBB" "$report" build_tbb
    step "Windows dependencies: C++ runtime" "$report" copy_runtime
    publish
}

case ${1:-} in
--ready) ready ;;
'')
    build_all
    echo "${QZ_WINDOWS_DEPS:-$CACHE/$KEY}"
    ;;
*) die "windows_deps.sh knows --ready only, not: $1" ;;
esac
