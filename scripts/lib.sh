# shellcheck shell=bash
# What ./dev and the other scripts here share. Expects QZ_ROOT; sets QZ_JOBS and QZ_LOGS.

QZ_JOBS=${QZ_JOBS:-$(nproc)}
QZ_LOGS=$QZ_ROOT/build/logs

die() {
    printf 'dev: %s\n' "$@" >&2
    exit 1
}

# Seconds since $1, an earlier $EPOCHREALTIME, with one decimal. Its decimal sign follows the
# locale, so all that is not a digit goes.
seconds_since() {
    local tenths=$(((${EPOCHREALTIME//[!0-9]/} - ${1//[!0-9]/}) / 100000))
    printf '%d.%d' $((tenths / 10)) $((tenths % 10))
}

# step <title> <advice> <command...>: one line for a step that works; for one that fails the end of
# its log and what to do about it. Do not call it in a condition: bash would then let a function
# go on after its first failing command.
step() {
    local title=$1 advice=$2 log started status
    shift 2
    mkdir -p "$QZ_LOGS"
    log=$QZ_LOGS/${title//[!A-Za-z0-9.-]/_}.log
    started=$EPOCHREALTIME
    printf '%s ... ' "$title"
    set +e
    (set -e && "$@") </dev/null >"$log" 2>&1
    status=$?
    set -e
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
