# shellcheck shell=bash
# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT
#
# Debian's packages of another release or processor than the machine's, without telling the machine's package manager of
# either: each has a state of apt of its own below build/device/apt. Sourced after scripts/lib.sh.

DEVICE=$ROOT/build/device

# The machine's own release, and its processor in Debian's words.
# shellcheck disable=SC2034,SC1091 # for the sourcing script
RELEASE=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME:-}")
# shellcheck disable=SC2034
MACHINE=$(dpkg --print-architecture 2>/dev/null || true)

# device_failed WHAT: says what to do, and ends the script. What is complete stays, so that the next call goes on there.
device_failed() {
    local left
    left=$(df --output=avail -m "$DEVICE" | tail -n 1)
    [[ $left -ge 50 ]] || die "$1: the disk is full ($((left)) MB are left for $DEVICE); make room, and run this again"
    die "$1; what is complete is kept in $DEVICE, so run this again once the cause above is gone"
}

# use_release SUITE ARCHITECTURE: from now on, apt means the packages of that release for that processor. The lists are
# those of today; older ones will do if no others can be had.
use_release() {
    local suite=$1 architecture=$2 state=$DEVICE/apt/$1-$2 mirror
    export APT_CONFIG=$state/apt.conf
    ARCHIVES=$state/archives
    [[ ! -f $state/updated || -n $(find "$state/updated" -mmin +1440) ]] || return 0
    # Asked of the machine's own apt.
    mirror=$(unset APT_CONFIG && debian_mirror) || exit
    mkdir -p "$state"/{lists/partial,archives/partial,apt.conf.d,preferences.d} || device_failed "no folder for apt"
    : >"$state/status"
    (unset APT_CONFIG && apt_options) >"$state/apt.conf.part"
    cat >>"$state/apt.conf.part" <<CONF || device_failed "no configuration of apt was written"
APT::Architecture "$architecture";
APT::Architectures { "$architecture"; };
APT::Install-Recommends "false";
APT::Sandbox::User "";
Acquire::Languages "none";
Acquire::GzipIndexes "true";
Dir::State "$state/";
Dir::State::Lists "lists/";
Dir::State::status "$state/status";
Dir::Cache "$state/";
Dir::Etc "$state/";
Dir::Etc::sourcelist "sources.list";
Dir::Etc::sourceparts "-";
CONF
    printf '%s [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s %s main\n' \
        deb "$mirror" "$suite" deb-src "$mirror" "$suite" >"$state/sources.list"
    mv "$state/apt.conf.part" "$state/apt.conf"
    step "reading the package lists of $suite for $architecture"
    if apt-get -qq -o APT::Update::Error-Mode=any update >&2; then
        touch "$state/updated"
    elif [[ -f $state/updated ]]; then
        step "the package lists of $suite could not be renewed: going on with those of $(date -r "$state/updated" +%F)"
    else
        device_failed "the package lists of $suite for $architecture could not be read"
    fi
}

# fetch_packages PACKAGE...: downloads the packages, and sets FETCHED to the names of their files. What an earlier call
# left is used if its checksum is the right one: apt itself looks only at the size of a file that is there.
fetch_packages() {
    local list package name sum
    local -a missing=()
    FETCHED=()
    # In the name that apt gives a file, the colon of a version is escaped.
    list=$(apt-cache show --no-all-versions "$@" | awk '
        { field[$1] = $2 }
        $1 == "SHA256:" {
            gsub(/:/, "%3a", field["Version:"])
            print field["Package:"], field["Package:"] "_" field["Version:"] "_" field["Architecture:"] ".deb", $2
        }')
    for package in "$@"; do
        [[ $'\n'$list == *$'\n'"$package "* ]] || device_failed "the mirror has no package $package"
    done
    while read -r package name sum; do
        FETCHED+=("$ARCHIVES/$name")
        has_checksum "$sum" "$ARCHIVES/$name" || missing+=("$package")
    done <<<"$list"
    [[ ${#missing[@]} -eq 0 ]] || (cd "$ARCHIVES" && apt-get -qq download "${missing[@]}" >&2) ||
        device_failed "not all packages could be downloaded"
    while read -r package name sum; do
        has_checksum "$sum" "$ARCHIVES/$name" || device_failed "what came as $name has another checksum than Debian's"
    done <<<"$list"
}

# has_checksum SHA256 FILE: a file with another one is removed.
has_checksum() {
    [[ -f $2 ]] || return
    [[ $(sha256sum <"$2") == "$1 "* ]] || {
        step "${2##*/} is damaged"
        rm -f "$2"
        return 1
    }
}

# with_dependencies PACKAGE...: these packages and all that they depend on.
with_dependencies() {
    local list
    list=$(apt-get -qq --simulate install "$@") || return
    awk '$1 == "Inst" { print $2 }' <<<"$list"
}
