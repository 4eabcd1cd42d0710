# Completion of quenmark(1) for bash, loaded by bash-completion. The program itself says what can follow.

_quenmark()
{
    local cur prev words cword kind candidate before="" quote="" breaks="${COMP_WORDBREAKS//[^=:]/}"
    _init_completion -n =: || return
    if [[ $cur == [\"\']* ]]; then
        quote="${cur:0:1}"
        cur="${cur:1}"
    fi
    # Outside of quotes readline replaces only what stands behind the last character at which it breaks words.
    [[ ! $quote && $breaks ]] && before="${cur%"${cur##*["$breaks"]}"}"

    {
        IFS= read -r kind
        while IFS= read -r candidate; do
            candidate="${candidate%%$'\t'*}"
            [[ $candidate == "$cur"* ]] || continue
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
    } < <(command quenmark complete "${words[@]:1:cword-1}" "$cur" 2>/dev/null </dev/null)

    [[ $cur == --*=* ]] && cur="${cur#*=}"
    case $kind in
        files) _filedir ;;
        folders) _filedir -d ;;
    esac
}

complete -F _quenmark quenmark
