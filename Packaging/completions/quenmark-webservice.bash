# Completion of quenmark-webservice(1) for bash, loaded by bash-completion.

_quenmark_webservice()
{
    local cur prev words cword split
    _init_completion -s || return

    case $prev in
        --data)
            _filedir -d
            return
            ;;
        --faults | --tls-certificate | --tls-key)
            _filedir
            return
            ;;
        --listen)
            return
            ;;
    esac
    $split && return

    COMPREPLY=($(compgen -W '--help --version --listen --data --faults --tls-certificate --tls-key' -- "$cur"))
}

complete -F _quenmark_webservice quenmark-webservice
