# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=bash
# For sourcing: runs programs of the board under the emulator, out of reach of all others.

# The emulator refuses a kind of process creation in a way that Qt 5.15's QProcess takes for
# success, and then QProcess kills every process that it may kill. No program here uses QProcess;
# should one ever, it meets nothing but the processes of its box.
in_box() {
    local box=(unshare --pid --fork --kill-child --mount-proc)
    [ "$(id -u)" -eq 0 ] || box+=(--map-root-user)
    if ! "${box[@]}" true; then
        echo "Cannot make a process namespace to run the emulator in; run this as root" >&2
        return 1
    fi
    setsid --wait "${box[@]}" -- "$@"
}
