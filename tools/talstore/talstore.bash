# bash completion for talstore: the program says what may follow.

_talstore() {
    local kind
    COMPREPLY=()
    {
        read -r kind
        mapfile -t COMPREPLY
    } < <("${COMP_WORDS[0]}" complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
    if [[ $kind == files ]]; then
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$2")
    elif [[ $kind == paths ]]; then
        compopt -o nospace
    fi
}

complete -F _talstore talstore
