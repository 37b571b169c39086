# bash completion for rpl-toc: commands, options, report files and, once a
# report is on the line, the rdb paths of its sections.

_rpl_toc_report() {
    # The first word after the command that is not an option or an option's value.
    local i word command_seen=""
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        case $word in
            --db-dir|--text|--html|--orientation|--chart-type|--width|--align|--order|--port) ((i++)); continue ;;
            -*) continue ;;
        esac
        if [[ -z $command_seen ]]; then
            command_seen=$word
        else
            printf '%s' "$word"
            return
        fi
    done
}

_rpl_toc() {
    local cur prev command="" i
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="show list find next prev mark unmark set settings export view import"
    local global="--db-dir --json --ascii --debug --help --version"

    case $prev in
        --db-dir) COMPREPLY=($(compgen -d -- "$cur")); return ;;
        --text|--html|-o|--output) COMPREPLY=($(compgen -f -- "$cur")); return ;;
        --orientation|--chart-type) COMPREPLY=($(compgen -W "1 2" -- "$cur")); return ;;
        --width|--align|--order|--port) return ;;
    esac

    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            --db-dir|--text|--html|--orientation|--chart-type|--width|--align|--order|--port|-o|--output) ((i++)) ;;
            -*) ;;
            *) command=${COMP_WORDS[i]}; break ;;
        esac
    done

    if [[ -z $command ]]; then
        COMPREPLY=($(compgen -W "$commands $global" -- "$cur"))
        return
    fi

    if [[ $cur == -* ]]; then
        local own=""
        case $command in
            show) own="--paths" ;;
            list) own="--all -z -0 --null" ;;
            set) own="--orientation --chart-type --width --align --order" ;;
            settings) own="--raw" ;;
            export) own="--text --html" ;;
            view) own="--port --no-open" ;;
            import) own="-o --output" ;;
        esac
        COMPREPLY=($(compgen -W "$own $global" -- "$cur"))
        return
    fi

    if [[ $command == import ]]; then  # the flow's files and folders, any number
        COMPREPLY=($(compgen -f -- "$cur"))
        compopt -o filenames 2>/dev/null
        return
    fi

    local report
    report=$(_rpl_toc_report)
    if [[ -z $report ]]; then
        COMPREPLY=($(compgen -f -X '!*.json' -- "$cur") $(compgen -d -- "$cur"))
        compopt -o filenames 2>/dev/null
        return
    fi

    case $command in
        find|next|prev|mark|unmark|set)
            local IFS=$'\n'
            COMPREPLY=($(compgen -W "$(rpl-toc list --all "$report" 2>/dev/null)" -- "$cur"))
            ;;
    esac
}

complete -F _rpl_toc rpl-toc
