# SPDX-License-Identifier: MIT
# bash completion for ssdp-peer. Needs no other package.
_ssdp_peer() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local verbs='watch search announce doctor' verb='' word words
  local options='--expect-interface --interface --domain --device-type --device-version --uuid
    --status --server --user-agent --notify-timeout --mx --json --color --verbose --help --version'
  COMPREPLY=()
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      watch | search | announce | doctor | help) verb=$word && break ;;
    esac
  done
  # In "--color=al" the "=" is a word of its own.
  [[ $current == = ]] && current=''
  [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}
  case $previous in
    -i | --expect-interface | --interface) words=$(ls /sys/class/net 2>/dev/null) ;;
    -c | --color) words='auto always never' ;;
    -m | --mx) words='1 2 3 4 5' ;;
    -n | --notify-timeout) words='30 90 300 1800' ;;
    -w | --wait) words='2 3 5 10 30 60' ;;
    -e | --every) words='1 10 30 60 600' ;;
    -d | --domain) words='example-org' ;;
    -t | --device-type) words='Peer' ;;
    -s | --status) words='up' ;;
    -u | --uuid) words=$(cat /proc/sys/kernel/random/uuid 2>/dev/null) ;;
    --device-version) words='1' ;;
    --server | --user-agent) return ;;
    *)
      case $verb in
        search) words="$options --wait --first --quiet" ;;
        announce) words="$options --every" ;;
        help) words=$verbs ;;
        *) words=$options ;;
      esac
      [[ $verb || $current == -* ]] || words="$verbs help" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _ssdp_peer ssdp-peer
