# bash completion for roamerctl

_roamerctl() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command=${COMP_WORDS[1]:-}
    local commands="status conflicts explain log account sync refresh quit get set unset keys enroll unenroll first-sync fleet"
    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$word")
        return
    fi
    case "$before" in
        --user | enroll | unenroll) mapfile -t COMPREPLY < <(compgen -u -- "$word"); return ;;
        --truth) mapfile -t COMPREPLY < <(compgen -W "both local network" -- "$word"); return ;;
        get | set | unset) mapfile -t COMPREPLY < <(compgen -W "$(roamerctl keys --names)" -- "$word"); return ;;
        --home | explain) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
    esac
    local options="--help"
    case "$command" in
        status | conflicts | explain | get) options="--user --json --help" ;;
        account) options="--groups --user --json --help" ;;
        log) options="--follow --lines --level --help" ;;
        sync) options="--wait --help" ;;
        set | unset) options="--managed --user --help" ;;
        keys) options="--names --markdown --man --help" ;;
        enroll) options="--url --path --home --settings --folders --truth --no-check --dry-run --help" ;;
        unenroll) options="--dry-run --help" ;;
        first-sync) options="--check-only --truth --user --help" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}
complete -o default -F _roamerctl roamerctl
