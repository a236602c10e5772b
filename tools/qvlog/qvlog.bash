# SPDX-License-Identifier: LGPL-2.1-or-later
# Completion of qvlog's command line in bash.

_qvlog() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} name
    COMPREPLY=()
    case $previous in
    -o | --output)
        mapfile -t COMPREPLY < <(compgen -W 'full short json csv' -- "$current")
        return
        ;;
    --color)
        mapfile -t COMPREPLY < <(compgen -W 'always never auto' -- "$current")
        return
        ;;
    --snapshot)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    -S | --since | -U | --until)
        mapfile -t COMPREPLY < <(compgen -W 'today yesterday now -10min -1h -1d' -- "$current")
        return
        ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--follow --last --last-run --merge --class --function
            --tid --grep --ignore-case --invert --since --until --lines --after --before --context
            --output --utf8 --color --quiet --stats --gaps --snapshot --help --version' -- "$current")
        return
    fi
    # Each log once, by the file that is being written; and folders on the way to one.
    for name in "$current"*0.log; do
        [[ -f $name ]] && COMPREPLY+=("${name%0.log}")
    done
    while IFS= read -r name; do
        COMPREPLY+=("$name/")
    done < <(compgen -d -- "$current")
    [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == */ ]] && compopt -o nospace 2>/dev/null
    return 0
}

complete -F _qvlog qvlog
