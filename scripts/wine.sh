# shellcheck shell=bash
# Running Windows programs in a Wine prefix of the build's own.

# with_wine <command...>: a persistent server for the time of the command. Without it each program
# starts and stops a server of its own, which takes a hundred times as long as a small test.
with_wine() {
    export WINEPREFIX=$QZ_ROOT/build/windows/wineprefix WINEDEBUG=-all
    # A program that crashes under Wine's debugger ends with 0 now and then, and its test passes.
    export WINEDLLOVERRIDES=winedbg.exe=d
    # The prefix links its "Documents" to the home folder of whoever runs the tests.
    export HOME=$QZ_ROOT/build/windows/home
    # Where programs find their DLLs, besides their own folder.
    export WINEPATH="${QZ_WINDOWS_DEPS:-$QZ_ROOT/.cache/windows-deps/current}/bin;$QZ_ROOT/build/windows/bin"
    # With a display a message box would wait for somebody to close it.
    unset DISPLAY WAYLAND_DISPLAY
    mkdir -p "$WINEPREFIX" "$HOME"
    trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
    step "Starting Wine" \
        "remove $WINEPREFIX and try again; if that does not help, reinstall the package wine64" \
        start_wine
    "$@"
}

start_wine() {
    # The server outlives this step and must not keep the pipes of whoever started us open.
    wineserver -p </dev/null >/dev/null 2>&1
    # A new prefix would ask to download .NET and an HTML engine, and add programs to the desktop's menu.
    WINEDLLOVERRIDES="$WINEDLLOVERRIDES;mscoree=;mshtml=;winemenubuilder.exe=" timeout 120 "$QZ_ROOT/scripts/run_wine" cmd /c exit \
        </dev/null >/dev/null 2>&1 || return
    # The first window, and be it a message box, starts the desktop's process, which outlives whoever
    # showed it. Started by a test it would keep that test's pipes open, and ctest waits for their end.
    "$QZ_ROOT/scripts/run_wine" explorer /desktop </dev/null >/dev/null 2>&1 &
}
