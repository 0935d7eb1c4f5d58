# shellcheck shell=bash
# Runs Windows programs in a Wine prefix that belongs to the build.

# with_wine <command...>: runs a Wine server for the time of the command. Without it each program
# starts and stops its own server, which takes a hundred times as long as a small test.
with_wine() {
    export WINEPREFIX=$QZ_ROOT/build/windows/wineprefix WINEDEBUG=-all
    # Under Wine's debugger a program that crashes sometimes exits with 0, and its test would pass.
    export WINEDLLOVERRIDES=winedbg.exe=d
    # The prefix links its "Documents" to the home folder of the user who runs the tests.
    export HOME=$QZ_ROOT/build/windows/home
    # Besides their own folder, programs look for DLLs here.
    export WINEPATH="${QZ_WINDOWS_DEPS:-$QZ_ROOT/.cache/windows-deps/current}/bin;$QZ_ROOT/build/windows/bin"
    # With a display a message box would wait until a user closes it.
    unset DISPLAY WAYLAND_DISPLAY
    mkdir -p "$WINEPREFIX" "$HOME"
    trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
    step "Starting Wine" \
        "remove $WINEPREFIX and try again; if that does not help, reinstall the package wine64" \
        start_wine
    "$@"
}

start_wine() {
    # The server outlives this step, and must not keep the caller's pipes open.
    wineserver -p </dev/null >/dev/null 2>&1
    # A new prefix would ask to download .NET and an HTML engine, and add programs to the desktop's menu.
    WINEDLLOVERRIDES="$WINEDLLOVERRIDES;mscoree=;mshtml=;winemenubuilder.exe=" timeout 120 "$QZ_ROOT/scripts/run_wine" cmd /c exit \
        </dev/null >/dev/null 2>&1 || return
    # The first window, even a message box, starts the desktop's process, which outlives the program
    # that showed the window. If a test started it, it would keep the test's pipes open, and ctest
    # would wait for their end.
    "$QZ_ROOT/scripts/run_wine" explorer /desktop </dev/null >/dev/null 2>&1 &
}
