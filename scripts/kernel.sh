# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=bash
# For sourcing: kernels made of Debian's sources, each built once and kept by the version of the
# sources and a hash of its configuration.

kernel_source=linux-source-6.1
kernel_packages=("$kernel_source" gcc make flex bison bc xz-utils)
# What need not be unpacked for a kind of kernel, beside what none needs.
kernel_unused=()

# kernel_cache NAME: where the kernels of one kind are kept.
kernel_cache() {
    echo "${XDG_CACHE_HOME:-${HOME-}/.cache}/qvcommon/$1"
}

# find_kernel CACHE HASH: the kernel of the installed sources; on a machine without sources, the
# latest there is.
find_kernel() {
    local version
    [ -d "$1" ] || return 0
    version=$(dpkg-query -W -f='${Version}' "$kernel_source" 2>/dev/null) || true
    find "$1" -mindepth 1 -maxdepth 1 -type d -name "${version:-*}-$2" |
        sort --version-sort | tail -n 1
}

# keep_kernel CACHE HASH MAKER: prints the folder of the kernel. If there is none, MAKER makes it:
# with the sources in $work/$kernel_source, and an empty folder $work/build, it fills $work/kernel.
keep_kernel() {
    local kernel
    mkdir -p "$1"
    exec 9>"$1/lock"
    flock 9
    kernel=$(find_kernel "$1" "$2") # by another one, meanwhile
    [ -n "$kernel" ] || build_kernel "$@" >&2
    find_kernel "$1" "$2"
}

build_kernel() {
    local version
    need_packages "${kernel_packages[@]}"
    version=$(dpkg-query -W -f='${Version}' "$kernel_source")
    work=$(mktemp -d "$1/.building.XXXXXX")
    trap 'rm -rf "$work"' EXIT
    echo "Building the kernel $version; this takes some minutes"
    unpack_kernel
    mkdir "$work/build" "$work/kernel"
    # What make says is worth reading only if it fails.
    if ! "$3" >"$work/log" 2>&1; then
        tail -n 40 "$work/log"
        return 1
    fi
    mv "$work/kernel" "$1/$version-$2"
}

# Without the sources of what is never built, which are half of all files; their configuration is
# read nevertheless.
unpack_kernel() {
    local pattern exclusions=()
    for pattern in "${kernel_unused[@]}" 'Documentation/*/*' 'sound/*.[ch]' 'tools/perf' \
        'tools/testing' 'drivers/gpu/*.[ch]' 'drivers/media/*.[ch]' 'drivers/infiniband/*.[ch]' \
        'drivers/net/ethernet/*.[ch]' 'drivers/net/wireless/*.[ch]' 'drivers/scsi/*.[ch]' \
        'drivers/staging/*.[ch]'; do
        exclusions+=("--exclude=$kernel_source/$pattern")
    done
    LC_ALL=C tar -xf "/usr/src/$kernel_source.tar.xz" -C "$work" --anchored --wildcards \
        --wildcards-match-slash "${exclusions[@]}"
}

# configure_kernel CONFIG MAKE...: what an option depends on is not switched on with it; it would
# be missing without a word.
configure_kernel() {
    local config=$1 option refused=0
    shift
    "$@" KCONFIG_ALLCONFIG="$config" allnoconfig || return
    while read -r option; do
        grep -qxF "$option" "$work/build/.config" || {
            echo "The sources do not take $option"
            refused=1
        }
    done < <(grep '^CONFIG_' "$config")
    return "$refused"
}
