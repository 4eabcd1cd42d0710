# Completion of quenmark(1) for bash, loaded by bash-completion. The program itself says what can follow.

# Sets of the caller `plain`, the word $1 as the shell reads it, without carrying out or expanding anything of it;
# `quote`, the quotation mark that is open at its end; and `before`, the start of `plain` that readline leaves alone: it
# replaces what stands behind an open quotation mark, or else behind the last character without quotes at which it
# breaks words.
_quenmark_read_word()
{
    local i char next unbroken="" unquoted=""
    plain="" quote=""
    for ((i = 0; i < ${#1}; i++)); do
        char="${1:i:1}" next="${1:i+1:1}"
        case $quote$char in
            \\)
                plain+="$next"
                ((i++))
                ;;
            \"\\)
                [[ $next == [\"\$\`\\] ]] && char="$next" && ((i++))
                plain+="$char"
                ;;
            \" | \')
                quote="$char"
                unquoted="$plain"
                ;;
            \"\" | \'\')
                quote=""
                ;;
            *)
                plain+="$char"
                [[ ! $quote && $char == [=:] && $COMP_WORDBREAKS == *"$char"* ]] && unbroken="$plain"
                ;;
        esac
    done
    before="$unbroken"
    [[ ! $quote ]] || before="$unquoted"
}

_quenmark()
{
    local cur prev words cword word kind candidate plain quote before
    _init_completion -n =: || return
    local -a line=()
    for word in "${words[@]:1:cword-1}"; do
        _quenmark_read_word "$word"
        line+=("$plain")
    done
    _quenmark_read_word "$cur"

    {
        IFS= read -r kind
        while IFS= read -r candidate; do
            candidate="${candidate%%$'\t'*}"
            [[ $candidate == "$plain"* ]] || continue
            [[ $candidate == *= ]] && compopt -o nospace
            candidate="${candidate#"$before"}"
            # A word that the shell would read otherwise between the quotes is not offered there.
            case $quote in
                "'") [[ $candidate == *"'"* ]] && continue ;;
                '"') [[ $candidate == *[\"\$\`\\!]* ]] && continue ;;
                *) printf -v candidate %q "$candidate" ;;
            esac
            COMPREPLY+=("$candidate")
        done
    } < <(command quenmark complete "${line[@]}" "$plain" 2>/dev/null </dev/null)

    [[ $cur == [\"\']* ]] && cur="${cur:1}"
    [[ $cur == --*=* ]] && cur="${cur#*=}"
    case $kind in
        files) _filedir ;;
        folders) _filedir -d ;;
    esac
}

complete -F _quenmark quenmark
