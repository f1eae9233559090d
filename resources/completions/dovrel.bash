# bash completion for dovrel: commands, options, and the habits of the store in use.
# Habit names come from `dovrel [--store FILE] __complete habits`, colour names from
# `dovrel __complete colors`.

_dovrel_words() {
    # Offers the lines of standard input that start with the word being completed, quoted so
    # that names with spaces stay one word.
    local cur="$1" line
    COMPREPLY=()
    while IFS= read -r line; do
        if [[ "$line" == "$cur"* ]]; then
            COMPREPLY+=("$(printf '%q' "$line")")
        fi
    done
}

_dovrel() {
    local cur="${COMP_WORDS[COMP_CWORD]}"
    local prev="${COMP_WORDS[COMP_CWORD - 1]}"
    local commands="list add check show why stats edit delete reset backup restore import export settings reminders palette interval version"
    local global_options="--store --debug --version --help"
    local command="" subcommand="" store=() i word
    for ((i = 1; i < COMP_CWORD; i++)); do
        word="${COMP_WORDS[i]}"
        if [[ "$word" == "--store" ]]; then
            store=(--store "${COMP_WORDS[i + 1]}")
            ((i++))
        elif [[ -z "$command" && "$word" != -* ]]; then
            command="$word"
        elif [[ "$command" == "reminders" && -z "$subcommand" && "$word" != -* ]]; then
            subcommand="$word"
        fi
    done

    case "$prev" in
        --store | --csv)
            COMPREPLY=($(compgen -f -- "$cur"))
            return
            ;;
        --color)
            _dovrel_words "$cur" < <(dovrel __complete colors 2>/dev/null)
            return
            ;;
        --reminders)
            COMPREPLY=($(compgen -W "on off" -- "$cur"))
            return
            ;;
        --at | --name | --question | --times | --days | --remind)
            return
            ;;
    esac

    if [[ -z "$command" ]]; then
        if [[ "$cur" == -* ]]; then
            COMPREPLY=($(compgen -W "$global_options" -- "$cur"))
        else
            COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        fi
        return
    fi

    local options="--help" habit=no file=no
    case "$command" in
        list) options+=" --at --json" ;;
        add) options+=" --question --color --times --days --remind" ;;
        check) options+=" --at --from-widget"; habit=yes ;;
        show) options+=" --at --json --year"; habit=yes ;;
        why) options+=" --at --json"; habit=yes ;;
        stats) options+=" --at --json"; habit=yes ;;
        edit) options+=" --name --question --color --times --days --remind --no-remind"; habit=yes ;;
        delete | reset) habit=yes ;;
        backup) options+=" --force"; file=yes ;;
        restore | import) options+=" --dry-run"; file=yes ;;
        export) options+=" --csv"; file=yes ;;
        settings) options+=" --reminders" ;;
        reminders)
            if [[ -z "$subcommand" && "$cur" != -* ]]; then
                COMPREPLY=($(compgen -W "deliver delivered answer status" -- "$cur"))
                return
            fi
            if [[ "$subcommand" == "answer" && "$cur" != -* ]]; then
                COMPREPLY=($(compgen -W "complete postpone-5m postpone-1h postpone-4h dismiss" -- "$cur"))
                return
            fi
            options+=" --json"
            ;;
    esac
    if [[ "$cur" == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
    elif [[ "$habit" == yes ]]; then
        _dovrel_words "$cur" < <(dovrel "${store[@]}" __complete habits 2>/dev/null)
    elif [[ "$file" == yes ]]; then
        COMPREPLY=($(compgen -f -- "$cur"))
    fi
}

complete -F _dovrel dovrel
