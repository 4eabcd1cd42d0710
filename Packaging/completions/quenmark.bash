# Completion of quenmark(1) for bash, loaded by bash-completion. The program itself says what can follow.

_quenmark()
{
    local cur prev words cword kind candidate before quote=""
    _init_completion -n =: || return
    if [[ $cur == [\"\']* ]]; then
        quote="${cur:0:1}"
        cur="${cur:1}"
    fi
    # Outside of quotes readline replaces only what stands behind the last character at which it breaks words.
    before="${cur%"${cur##*[=:]}"}"
    [[ $quote ]] && before=""

    {
        IFS= read -r kind
        while IFS= read -r candidate; do
            candidate="${candidate%%$'\t'*}"
            [[ $candidate == "$cur"* ]] || continue
            [[ $candidate == *= ]] && compopt -o nospace
            candidate="${candidate#"$before"}"
            [[ $quote ]] || printf -v candidate %q "$candidate"
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
