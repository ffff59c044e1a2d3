# shellcheck shell=bash
# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
#
# Functions that the scripts share. Sourced, never run; the sourcing script has set -euo pipefail.

# The tree's root, and how many jobs to run at once.
ROOT=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
JOBS=$(nproc)

# Prints a line on standard error, so that a program's own output can be piped.
step() {
    printf '==> %s\n' "$*" >&2
}

die() {
    printf '%s: error: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# parse_arguments ARGUMENT...: removes our own options from the front, sets PRESET, and ARGUMENTS to the rest. Calls the
# script's usage() for --help.
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

# install_packages SECTION...: installs the packages of these sections of scripts/packages.txt that the machine lacks.
# If none is missing, neither the network nor root's rights are needed.
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
            die "not a Debian machine, and these commands are not on the PATH: ${absent[*]}"
        step "not a Debian machine: using the tools on the PATH"
        return
    fi

    while read -r package _; do
        [[ -z $package ]] || packages+=("$package")
    done <<<"$list"
    missing=$(missing_packages "${packages[@]}")
    [[ -n $missing ]] || return 0

    if [[ $EUID -ne 0 ]]; then
        command -v sudo >/dev/null ||
            die "not root, and there is no sudo: please install these packages first: $missing"
        as_root=(sudo)
    fi
    step "installing $missing"
    # The package manager may be busy with its daily update, so wait for its lock.
    as_root+=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600)
    "${as_root[@]}" update || die "apt-get update failed; still missing: $missing"
    # shellcheck disable=SC2086 # one word per package
    "${as_root[@]}" install -y --no-install-recommends $missing || die "apt-get install failed; still missing: $missing"
    missing=$(missing_packages "${packages[@]}")
    [[ -z $missing ]] || die "apt-get reported success, but these packages are still missing: $missing"
}

# The Debian mirror that this machine's apt uses.
debian_mirror() {
    local mirror
    # shellcheck disable=SC2016 # for apt to expand
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Label: Debian' | head -n 1)
    [[ -n $mirror ]] || die "apt on this machine names no Debian mirror, or apt-get update has not run yet"
    printf '%s\n' "$mirror"
}

# Options of the machine's apt that make a mirror reachable and acceptable.
apt_options() {
    apt-config dump --no-empty Acquire |
        grep -E '^Acquire::(Check-|Retries|https?::(Proxy|Timeout))' || [[ $? -eq 1 ]]
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

# run_tests PRESET [CTEST ARGUMENT...]: of a build that configure_and_build made.
run_tests() {
    local built=$ROOT/build/$1 jobs
    step "testing ($1)"
    # As many tests at a time as there are CPUs, and beside them those that only wait: see tests/CMakeLists.txt.
    jobs=$(sed -n 's/^ZELT_TEST_JOBS:INTERNAL=//p' "$built/CMakeCache.txt")
    ctest --test-dir "$built" --parallel $((JOBS * jobs + jobs - 1)) --output-on-failure --no-tests=error "${@:2}" \
        --output-junit test-results.xml
}
