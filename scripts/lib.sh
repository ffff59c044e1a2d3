# shellcheck shell=bash
# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
#
# What the scripts share. Sourced, never run; the sourcing script has set -euo pipefail.

# The tree's root, and how many jobs to run at once.
ROOT=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
JOBS=$(nproc)

# One line on standard error, so that a program's own output can be piped on.
step() {
    printf '==> %s\n' "$*" >&2
}

die() {
    printf '%s: error: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# parse_arguments ARGUMENT...: takes our own options off the front, sets PRESET, and ARGUMENTS to the rest. The script's
# usage() prints its help.
# shellcheck disable=SC2034 # both are for the sourcing script
parse_arguments() {
    PRESET=dev
    while [[ $# -gt 0 ]]; do
        case $1 in
            --help | -h)
                usage
                exit 0
                ;;
            --preset)
                [[ -n ${2:-} ]] || die "--preset needs a name"
                PRESET=$2
                shift 2
                ;;
            --preset=?*)
                PRESET=${1#*=}
                shift
                ;;
            *) break ;;
        esac
    done
    ARGUMENTS=("$@")
}

# packages_of SECTION: its lines "package command".
packages_of() {
    local found
    found=$(awk -v section="[$1]" '
        { sub(/#.*/, "") }
        /^\[/ { inside = ($1 == section); next }
        inside && NF { print $1, $2 }' "$ROOT/scripts/packages.txt")
    [[ -n $found ]] || die "scripts/packages.txt has no packages in a section [$1]"
    printf '%s\n' "$found"
}

# missing_packages PACKAGE...: those that are not installed, on one line. A package on hold counts as installed.
missing_packages() {
    local package
    local -a missing=()
    for package in "$@"; do
        dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -Eqx '(install|hold) ok installed' ||
            missing+=("$package")
    done
    printf '%s' "${missing[*]}"
}

# install_packages SECTION...: installs what scripts/packages.txt lists there and the machine lacks. Where nothing is
# missing, neither the network nor root's rights are needed.
install_packages() {
    local section list="" package command missing
    local -a packages=() absent=() as_root=()
    for section in "$@"; do
        list+=$(packages_of "$section")$'\n'
    done

    if ! command -v dpkg-query >/dev/null; then
        while read -r package command; do
            [[ -z $package || $command == - ]] || command -v "$command" >/dev/null || absent+=("$command")
        done <<<"$list"
        [[ ${#absent[@]} -eq 0 ]] ||
            die "this machine has no Debian packages, and these commands are not on the PATH: ${absent[*]}"
        step "not a Debian machine: using the tools found on the PATH"
        return
    fi

    while read -r package _; do
        [[ -z $package ]] || packages+=("$package")
    done <<<"$list"
    missing=$(missing_packages "${packages[@]}")
    [[ -n $missing ]] || return 0

    if [[ $EUID -ne 0 ]]; then
        command -v sudo >/dev/null ||
            die "neither root nor sudo, so these packages have to be installed first: $missing"
        as_root=(sudo)
    fi
    step "installing $missing"
    # The package manager may be busy with its daily update: wait for it.
    as_root+=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600)
    "${as_root[@]}" update || die "apt-get update failed; still missing: $missing"
    # shellcheck disable=SC2086 # one word per package
    "${as_root[@]}" install -y --no-install-recommends $missing || die "apt-get install failed; still missing: $missing"
    missing=$(missing_packages "${packages[@]}")
    [[ -z $missing ]] || die "apt-get reported success, but these packages are still missing: $missing"
}

# configure_and_build PRESET [TARGET...]: into build/PRESET, where all presets build.
configure_and_build() {
    local preset=$1
    shift
    step "configuring ($preset)"
    cmake -S "$ROOT" --preset "$preset" || die "configuring with preset \"$preset\" failed"
    step "building ($preset${*:+: $*})"
    (cd "$ROOT" && cmake --build --preset "$preset" --parallel "$JOBS" ${1:+--target "$@"}) ||
        die "building with preset \"$preset\" failed"
}

# Ends the command of run_on_private_bus, even where it is about to begin.
stop_command() {
    until [[ -s $PID_FILE ]]; do
        kill -0 $! 2>/dev/null || return 0
        sleep 0.05
    done
    kill -s TERM "$(<"$PID_FILE")" || true
}

# run_on_private_bus COMMAND...: with a session bus of its own; the script ends with the command's status. PID_FILE may
# name the file that gets the command's process number.
run_on_private_bus() {
    # dbus-run-session that ends by a signal leaves its bus and the command behind. So it never gets one: it is in a
    # session of its own, and the signals that come here go to the command, which ends the rest.
    local status is_stopped=""
    PID_FILE=${PID_FILE:-$(mktemp)}
    trap 'rm -f "$PID_FILE"' EXIT
    trap 'is_stopped=1' INT TERM HUP
    # shellcheck disable=SC2016 # for the inner shell to expand
    setsid dbus-run-session -- bash -c 'echo $$ >"$1"; shift; exec "$@"' run "$PID_FILE" "$@" <&0 &
    trap stop_command INT TERM HUP
    [[ -z $is_stopped ]] || stop_command

    # A signal ends a wait early.
    while :; do
        status=0
        wait $! || status=$?
        kill -0 $! 2>/dev/null || exit "$status"
    done
}
