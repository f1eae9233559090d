# fish completion for dovrel: commands, options, and the habits of the store in use.

function __dovrel_store
    # The --store argument given so far, as words to pass on.
    set -l words (commandline -opc)
    set -l index (contains -i -- --store $words)
    and set -q words[(math $index + 1)]
    and printf '%s\n' --store $words[(math $index + 1)]
end

function __dovrel_habits
    dovrel (__dovrel_store) __complete habits 2>/dev/null
end

set -l commands list add check show why stats edit delete reset backup restore import export settings reminders palette interval version
set -l habit_commands check show why stats edit delete reset

complete -c dovrel -f
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -l store -r -F -d "Use this store file"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -l debug -d "Log analytics and store messages"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -l version -d "Print the version"
complete -c dovrel -s h -l help -d "Print the help"

complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a list -d "Today's habits"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a add -d "Add a habit"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a check -d "Check or uncheck a habit"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a show -d "A habit in detail"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a why -d "Explain a habit's score"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a stats -d "Streaks and completion"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a edit -d "Change a habit"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a delete -d "Delete a habit"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a reset -d "Remove every checkmark"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a backup -d "Write a backup file"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a restore -d "Restore a backup file"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a import -d "Import another tracker's habits"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a export -d "Write CSV files"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a settings -d "Settings and launches"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a reminders -d "Pending reminders"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a palette -d "The habit colours"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a interval -d "Name a repeat interval"
complete -c dovrel -n "not __fish_seen_subcommand_from $commands" -a version -d "Print the version"

complete -c dovrel -n "__fish_seen_subcommand_from $habit_commands" -a "(__dovrel_habits)"
complete -c dovrel -n "__fish_seen_subcommand_from list check show why stats" -l at -x -d "The day: YYYY-MM-DD or YYYY-MM-DDTHH:MM"
complete -c dovrel -n "__fish_seen_subcommand_from list show why stats reminders" -l json -d "JSON for scripts"
complete -c dovrel -n "__fish_seen_subcommand_from check" -l from-widget -d "Report the change as the widget's"
complete -c dovrel -n "__fish_seen_subcommand_from show" -l year -d "A year of checkmarks"
complete -c dovrel -n "__fish_seen_subcommand_from add edit" -l question -x -d "A question or phrase"
complete -c dovrel -n "__fish_seen_subcommand_from add edit" -l color -x -a "(dovrel __complete colors 2>/dev/null)" -d "#RRGGBB or a palette name"
complete -c dovrel -n "__fish_seen_subcommand_from add edit" -l times -x -d "Checkmarks in one period"
complete -c dovrel -n "__fish_seen_subcommand_from add edit" -l days -x -d "Days of the period"
complete -c dovrel -n "__fish_seen_subcommand_from add edit" -l remind -x -d "Remind at HH:MM"
complete -c dovrel -n "__fish_seen_subcommand_from edit" -l name -x -d "A new name"
complete -c dovrel -n "__fish_seen_subcommand_from edit" -l no-remind -d "Stop the reminders"
complete -c dovrel -n "__fish_seen_subcommand_from backup" -l force -d "Write even colourless habits"
complete -c dovrel -n "__fish_seen_subcommand_from restore import" -l dry-run -d "Only say what would be added"
complete -c dovrel -n "__fish_seen_subcommand_from backup restore import" -F
complete -c dovrel -n "__fish_seen_subcommand_from export" -l csv -r -F -d "The folder for the CSV files"
complete -c dovrel -n "__fish_seen_subcommand_from settings" -l reminders -x -a "on off" -d "Switch the reminders"
complete -c dovrel -n "__fish_seen_subcommand_from reminders; and not __fish_seen_subcommand_from deliver delivered answer status" -a "deliver delivered answer status"
complete -c dovrel -n "__fish_seen_subcommand_from answer" -a "complete postpone-5m postpone-1h postpone-4h dismiss"
