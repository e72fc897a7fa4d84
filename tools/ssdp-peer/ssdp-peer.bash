# SPDX-License-Identifier: MIT
# bash completion for ssdp-peer. Needs no other package.
_ssdp_peer() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local verbs='watch search announce doctor' verb='' word
  local options='--interface --domain --device-type --device-version --uuid --status --server
    --user-agent --notify-timeout --mx --json --color --verbose --help --version'
  COMPREPLY=()
  case $previous in
    -i | --interface)
      mapfile -t COMPREPLY < <(compgen -W "$(ls /sys/class/net 2>/dev/null)" -- "$current")
      return ;;
    --color)
      mapfile -t COMPREPLY < <(compgen -W 'auto always never' -- "$current")
      return ;;
    -[dtus] | --domain | --device-type | --device-version | --uuid | --status | --server | \
      --user-agent | --notify-timeout | --mx | --wait | --every)
      return ;;
  esac
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      watch | search | announce | doctor) verb=$word ;;
    esac
  done
  case $verb in
    search) options+=' --wait --first --quiet' ;;
    announce) options+=' --every' ;;
    '') options+=" $verbs" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
}
complete -F _ssdp_peer ssdp-peer
