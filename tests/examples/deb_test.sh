#!/usr/bin/env bash
# Installs the Debian package, builds and runs the small examples against it, removes it, and looks for
# files that it left. Needs root. Does not touch a package of that name that is installed already.
#     deb_test.sh PACKAGE.deb
set -euo pipefail

package=$(readlink -f "$1")
examples=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../../examples" && pwd)

fail() {
    printf 'deb_test: %s\n' "$1" >&2
    exit 1
}

[ "$(id -u)" -eq 0 ] || fail "run it as root: it installs a package"
! dpkg-query -W qzcore >/dev/null 2>&1 || fail "a package qzcore is installed already"

work=$(mktemp -d)
finish() {
    dpkg --purge qzcore >/dev/null 2>&1 || true
    rm -rf "$work"
}
trap finish EXIT

dpkg-deb --contents "$package" | awk '{ print $6 }' >"$work/contents"
dpkg --install "$package"

qz --version
read -ra flags < <(pkg-config --cflags --libs qzcore)
cc "$examples/hello_c/hello.c" -o "$work/hello_c" "${flags[@]}"
"$work/hello_c" "$work"
grep -q 'HELLO: hello from C$' "$work/hello_c.log" || fail "the C example logged something else"
cmake -S "$examples/hello_cpp" -B "$work/hello_cpp" >/dev/null
cmake --build "$work/hello_cpp"
"$work/hello_cpp/hello_cpp" "$work" | grep -q 'Greetings: 1 so far' || fail "the C++ example failed"
if command -v gdb >/dev/null; then
    gdb -batch -nx -ex "file /usr/lib/$(readlink /usr/lib/libqzCore.so.0)" -ex 'info pretty-printer' |
        grep -q 'Mem::Ptr' || fail "gdb does not load the printers"
fi

dpkg --purge qzcore
while IFS= read -r path; do
    [[ $path == */ ]] || [ ! -e "${path#.}" ] || fail "still there: $path"
done <"$work/contents"
