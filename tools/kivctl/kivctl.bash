# SPDX-License-Identifier: LGPL-2.1-or-later
# Completion of kivctl's command line in bash. Paths come from the daemon itself.

# Completes a path: what is in the element in front of its last slash.
_kivctl_path() {
    local current=$1 parent line
    shift
    parent=${current%/*}
    while IFS= read -r line; do
        [[ $parent/$line == "$current"* ]] && COMPREPLY+=("$parent/$line")
    done < <(kivctl "$@" --timeout 1 ls "${parent:-/}" 2>/dev/null)
    [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == */ ]] && compopt -o nospace 2>/dev/null
    return 0
}

# The words of the line that say which daemon it is.
_kivctl_daemon() {
    local i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
        -s | --socket | -H | --host) printf '%s\n%s\n' "${COMP_WORDS[i]}" "${COMP_WORDS[i + 1]}" ;;
        esac
    done
}

_kivctl() {
    local commands='ping get ls tree set patch replace delete watch wait dump load diff msg raw proxy'
    local general='--socket --host --timeout --color --help --version'
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' i options='' daemon
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        [[ -z $command && " $commands " == *" ${COMP_WORDS[i]} "* ]] && command=${COMP_WORDS[i]}
    done
    case $previous in
    -s | --socket | --listen | --to)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    -o | --output)
        mapfile -t COMPREPLY < <(compgen -W 'xml pretty text lines' -- "$current")
        return
        ;;
    --color)
        mapfile -t COMPREPLY < <(compgen -W 'always never auto' -- "$current")
        return
        ;;
    msg)
        mapfile -t COMPREPLY < <(compgen -W 'list put del' -- "$current")
        return
        ;;
    esac
    case $command in
    get) options='--output --crc' ;;
    tree) options='--level' ;;
    watch) options='--now --one-level --match --count --for --time --output --tag' ;;
    load) options='--merge' ;;
    msg) options='--output --line --data' ;;
    ping) options='--count' ;;
    raw) options='--count --for' ;;
    proxy) options='--listen --to' ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$general $options" -- "$current")
    elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current")
    elif [[ $current == @* ]]; then
        mapfile -t COMPREPLY < <(compgen -P @ -f -- "${current#@}")
    elif [[ $current == /* && $command != raw ]]; then
        mapfile -t daemon < <(_kivctl_daemon)
        _kivctl_path "$current" "${daemon[@]}"
    elif [[ $command == dump || $command == load || $command == diff ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -F _kivctl kivctl
