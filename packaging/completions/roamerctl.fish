# fish completion for roamerctl
set -l commands status conflicts explain log account sync refresh quit get set unset keys enroll unenroll first-sync fleet
complete -c roamerctl -f
complete -c roamerctl -n "not __fish_seen_subcommand_from $commands" -a "$commands"
complete -c roamerctl -n "__fish_seen_subcommand_from get set unset" -a "(roamerctl keys --names)"
complete -c roamerctl -n "__fish_seen_subcommand_from enroll unenroll" -a "(__fish_complete_users)"
complete -c roamerctl -n "__fish_seen_subcommand_from explain" -F
complete -c roamerctl -n "__fish_seen_subcommand_from status conflicts explain get set unset account first-sync" -l user -x -a "(__fish_complete_users)"
complete -c roamerctl -n "__fish_seen_subcommand_from status conflicts explain get account" -l json
complete -c roamerctl -n "__fish_seen_subcommand_from account" -l groups
complete -c roamerctl -n "__fish_seen_subcommand_from set unset" -l managed
complete -c roamerctl -n "__fish_seen_subcommand_from sync" -l wait
complete -c roamerctl -n "__fish_seen_subcommand_from log" -s f -l follow
complete -c roamerctl -n "__fish_seen_subcommand_from log" -s n -l lines -x
complete -c roamerctl -n "__fish_seen_subcommand_from log" -l level -x
complete -c roamerctl -n "__fish_seen_subcommand_from keys" -l names
complete -c roamerctl -n "__fish_seen_subcommand_from keys" -l markdown
complete -c roamerctl -n "__fish_seen_subcommand_from keys" -l man
complete -c roamerctl -n "__fish_seen_subcommand_from enroll first-sync" -l truth -x -a "both local network"
complete -c roamerctl -n "__fish_seen_subcommand_from enroll unenroll" -l dry-run
complete -c roamerctl -n "__fish_seen_subcommand_from enroll" -l no-check
complete -c roamerctl -n "__fish_seen_subcommand_from enroll" -l url -x
complete -c roamerctl -n "__fish_seen_subcommand_from enroll" -l path -x
complete -c roamerctl -n "__fish_seen_subcommand_from enroll" -l home -r
complete -c roamerctl -n "__fish_seen_subcommand_from enroll" -l settings -x
complete -c roamerctl -n "__fish_seen_subcommand_from enroll" -l folders -x
complete -c roamerctl -n "__fish_seen_subcommand_from first-sync" -l check-only
