# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=bash disable=SC2034 # the lists are for those who source this
# For sourcing: makes sure that Debian packages are installed.

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        # Without a terminal nobody can type a password.
        if [ -t 0 ]; then sudo "$@"; else sudo -n "$@"; fi
    else
        echo "Not root, and sudo is not installed. Run as root: $*" >&2
        return 1
    fi
}

# Installs those of the named packages that are missing; asks nothing, and does nothing at all
# when everything is there. One at a time, when several scripts of the tree run side by side.
need_packages() {
    local package missing=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    echo "Installing ${missing[*]}"
    {
        flock 8
        as_root apt-get update -qq &&
            as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
                --no-install-recommends "${missing[@]}" >/dev/null
    } 8<"${BASH_SOURCE[0]}"
}

# What every build of the tree needs.
build_packages=(g++ cmake ninja-build qtbase5-dev libpugixml-dev zlib1g-dev)

# What the tests need beyond that: a syslog daemon to send to, and time zones to log in.
test_packages=(busybox tzdata)
