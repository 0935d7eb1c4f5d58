# shellcheck shell=bash
# Functions that ./dev and the other scripts share. Expects QZ_ROOT; sets QZ_JOBS and QZ_LOGS.

QZ_JOBS=${QZ_JOBS:-$(nproc)}
QZ_LOGS=$QZ_ROOT/build/logs

die() {
    printf 'dev: %s\n' "$@" >&2
    exit 1
}

[[ $QZ_JOBS =~ ^[1-9][0-9]*$ ]] || die "QZ_JOBS is not a number of jobs: $QZ_JOBS"

# Seconds since $1, an earlier $EPOCHREALTIME, with one decimal. The decimal sign of $EPOCHREALTIME
# depends on the locale, so everything but its digits is removed.
seconds_since() {
    local tenths=$(((${EPOCHREALTIME//[!0-9]/} - ${1//[!0-9]/}) / 100000))
    printf '%d.%d' $((tenths / 10)) $((tenths % 10))
}

# Shows the progress of a step until it is killed: the count of build steps if the log has one, else the
# time. On a terminal it rewrites the line each second, elsewhere it prints a new line every ten seconds.
show_progress() { # <title> <log>
    local seconds=0 progress
    while sleep 1 >/dev/null 2>&1; do # sleep may outlive this loop, and must not keep our pipes open
        kill -0 $$ 2>/dev/null || return 0
        seconds=$((seconds + 1))
        [ -t 1 ] || [ $((seconds % 10)) -eq 0 ] || continue
        progress=$(tail -c 8192 "$2" | grep -aoE '^\[[0-9]+/[0-9]+\]' | tail -n 1)
        if [ -t 1 ]; then
            printf '\r\e[K%s ... %s' "$1" "${progress:-$seconds s}"
        else
            printf '%s\n%s ... ' "${progress:-$seconds s}" "$1"
        fi
    done
}

# step <title> <advice> <command...>: prints one line for a step that succeeds; for a step that fails also
# the end of its log and the advice. Do not call it in a condition: bash would then let a function
# continue after its first failing command.
step() {
    local title=$1 advice=$2 log started status watcher
    shift 2
    mkdir -p "$QZ_LOGS"
    log=$QZ_LOGS/${title//[!A-Za-z0-9.-]/_}.log
    : >"$log"
    started=$EPOCHREALTIME
    printf '%s ... ' "$title"
    show_progress "$title" "$log" &
    watcher=$!
    set +e
    (set -e && "$@") </dev/null >"$log" 2>&1
    status=$?
    { kill "$watcher" && wait "$watcher"; } 2>/dev/null
    set -e
    [ ! -t 1 ] || printf '\r\e[K%s ... ' "$title"
    if [ "$status" -eq 0 ]; then
        printf '%s s\n' "$(seconds_since "$started")"
        return
    fi
    printf 'failed (%s)\n' "$status"
    {
        tail -n 40 "$log"
        printf '\ndev: this step failed: %s\n' "$title"
        printf 'dev: its whole log:     %s\n' "$log"
        printf 'dev: what to do:        %s\n' "$advice"
    } >&2
    exit 1
}
