# Completion of quenmark(1) for fish. The program itself says what can follow.

function __quenmark_candidates
    set -l before (commandline --tokenize --cut-at-cursor --current-process)
    set -l typed (commandline --cut-at-cursor --current-token)
    set -l lines (command quenmark complete $before[2..] "$typed" 2>/dev/null </dev/null)
    # A path may stand behind "--option=".
    set -l option (string match --regex -- '^--[^=]*=' "$typed")
    set -l path (string replace --regex -- '^--[^=]*=' '' "$typed")
    switch "$lines[1]"
        case words
            printf '%s\n' $lines[2..]
        case files folders
            # What fish completes for a command that it does not know are paths.
            for candidate in (complete --do-complete "__quenmark_paths $path")
                if test "$lines[1]" = files || string match --quiet --regex '/(\t|$)' $candidate
                    printf '%s%s\n' "$option" $candidate
                end
            end
    end
end

complete --command quenmark --no-files --keep-order --arguments '(__quenmark_candidates)'
