# Completion of the command vamel for bash: subcommands, options, the words that an option takes,
# the names of a file's fields, and files. It asks the command itself, so that it knows what the
# command knows.

# _vamel_help [SUBCOMMAND]: the help text.
_vamel_help() { vamel "$@" --help 2>/dev/null; }

# _vamel_fields: the names of the fields of the first file on the command line.
_vamel_fields() {
    local word
    for word in "${COMP_WORDS[@]:2}"; do
        if [[ -f $word ]]; then
            vamel dump "$word" --limit 0 --format csv 2>/dev/null | tr ',' '\n'
            return
        fi
    done
}

# _vamel_words SUBCOMMAND PREVIOUS: what may stand here, one a line.
_vamel_words() {
    case $2 in
        --format) printf '%s\n' csv jsonl && [[ $1 == import ]] || echo table ;;
        --to) printf '%s\n' csv jsonl postgres sqlite ;;
        --fields | --where | --indexed | --index | --unique | --key) _vamel_fields ;;
        *) _vamel_help "$1" | sed -n 's/^  \(-[a-z],\)\{0,1\}\(--[a-z-]*\).*/\2/p' ;;
    esac
}

# A name out of a file is quoted and never expanded: it may hold anything.
_vamel() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word
    COMPREPLY=()
    while IFS= read -r word; do
        if [[ $word == "$current"* ]]; then
            COMPREPLY+=("$(printf '%q' "$word")")
        fi
    done < <(
        if ((COMP_CWORD == 1)); then
            _vamel_help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'
        else
            _vamel_words "${COMP_WORDS[1]}" "$previous"
        fi
    )
    if ((COMP_CWORD > 1 && ${#COMPREPLY[@]} == 0)) || _vamel_takes_file "$current" "$previous"; then
        compopt -o filenames 2>/dev/null || true
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

# _vamel_takes_file CURRENT PREVIOUS: whether this is no option, nor the word of one.
_vamel_takes_file() {
    ((COMP_CWORD > 1)) && [[ $1 != -* ]] &&
        [[ ! $2 =~ ^--(format|to|fields|where|indexed|index|unique|key|field|limit|table|sequence)$ ]]
}

complete -F _vamel vamel
