# shellcheck shell=bash
# Set-up: which Debian packages a command needs, and installing those that are missing.

packages_of() {
    case $1 in
    build)
        # Configuring also looks for the tests' packages. python3 runs the example that calls the library
        # with ctypes; python3 and zip make the archives that the tests mount. From locales the tests make
        # a locale with a decimal comma.
        echo g++ cmake ninja-build pkg-config liblua5.1-0-dev libphysfs-dev zlib1g-dev libtbb-dev \
            libunwind-dev googletest libeigen3-dev python3 zip locales
        ;;
    test) echo gdb ;; # the tests try the printers for the library's objects
    luajit) echo libluajit-5.1-dev ;;
    windows) echo g++-mingw-w64-x86-64-posix clang-14 lld-14 llvm-14 wine wine64 ;;
    windows-deps)
        echo dpkg-dev ca-certificates
        # Node.js from other sources contains npm, and conflicts with Debian's package npm.
        command -v npm >/dev/null || echo npm
        ;;
    bench)
        echo libbenchmark-dev libspdlog-dev libconcurrentqueue-dev libboost-dev libboost-serialization-dev \
            libcereal-dev libglm-dev libeigen3-dev libimath-dev libpcg-cpp-dev libconfig-dev nlohmann-json3-dev libtomlplusplus-dev \
            rapidjson-dev libprotobuf-dev protobuf-compiler libflatbuffers-dev flatbuffers-compiler libmimalloc2.0
        ;;
    fuzz)
        # llvm-14 has the symbolizer; without it findings have addresses instead of names.
        echo clang-14 libclang-rt-14-dev llvm-14
        ;;
    package) echo dpkg-dev ;; # finds out what the Debian package depends on
    docs) echo doxygen python3 ;;
    format) echo git clang-format-14 ;;
    check) echo git python3 ;;
    lint) echo git clang-tidy-14 shellcheck ;;
    *) die "no such group of packages: $1" ;;
    esac
}

# Installs missing packages of the named groups. Quick if none is missing.
setup() {
    local group wanted=() missing
    [ -z "${QZ_SKIP_SETUP:-}" ] || return 0
    for group in "$@"; do
        # shellcheck disable=SC2207 # package names hold no spaces
        wanted+=($(packages_of "$group"))
    done
    missing=$(missing_packages "${wanted[@]}")
    [ -z "$missing" ] || install_packages "$missing"
}

missing_packages() {
    command -v dpkg-query >/dev/null || {
        echo "$*"
        return
    }
    # One call for all names; it exits with 1 if a name is unknown.
    comm -13 \
        <({ dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || true; } |
            sed -n 's/^installed //p' | sort -u) \
        <(printf '%s\n' "$@" | sort -u) | paste -sd ' '
}

install_packages() {
    local missing=$1 as_root=()
    if ! command -v apt-get >/dev/null; then
        ask_to_install "$missing"
    elif [ "$(id -u)" -ne 0 ]; then
        sudo -n true 2>/dev/null || ask_to_install "$missing"
        as_root=(sudo -n)
    fi
    printf 'Missing Debian packages: %s\n' "$missing"
    step "Installing them" \
        "check the network and apt's sources, then: apt-get update && apt-get install $missing" \
        apt_install "$missing" "${as_root[@]}"
}

apt_install() { # <packages> [the command that makes one root]
    local missing=$1
    shift
    # An unrelated package source may fail to update; only the installation has to succeed.
    "$@" env DEBIAN_FRONTEND=noninteractive apt-get -o Acquire::Retries=3 update || true
    # shellcheck disable=SC2086 # a list of names
    "$@" env DEBIAN_FRONTEND=noninteractive apt-get -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300 \
        install -y --no-install-recommends $missing
}

ask_to_install() {
    die "these packages are missing, and installing them needs root and apt-get:" \
        "    $1" \
        "As root on Debian 12:" \
        "    apt-get update && apt-get install --no-install-recommends $1" \
        "With the same things installed in another way: QZ_SKIP_SETUP=1 ./dev ..."
}

# The Windows target's own dependencies. The packages that build them are installed only if needed.
setup_windows() {
    setup build windows
    "$QZ_ROOT/scripts/windows_deps.sh" --ready || {
        setup windows-deps
        "$QZ_ROOT/scripts/windows_deps.sh"
    }
}
