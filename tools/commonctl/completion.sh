# shellcheck shell=bash
# What bash completes behind "commonctl". Sub-commands and options are those that its help tells.

_commonctl() {
  local word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} index
  # "--color=al" is three words.
  if [[ $word == = ]]; then
    word=''
  elif [[ $option == = ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  COMPREPLY=()
  local sub=${COMP_WORDS[1]}
  if ((COMP_CWORD == 1)); then
    _commonctl_words "help --help --version $(_commonctl_names)" "$word"
  elif [[ $sub == help ]]; then
    ((COMP_CWORD > 2)) || _commonctl_words "$(_commonctl_names)" "$word"
  else
    # Behind "--" is a command with arguments of its own.
    for ((index = 2; index < COMP_CWORD; index++)); do
      [[ $sub == listen && ${COMP_WORDS[index]} == -- ]] || continue
      _commonctl_command $((index + 1))
      return
    done
    _commonctl_argument "$sub" "$word" "$option"
  fi
}

_commonctl_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

_commonctl_names() {
  commonctl --help 2>/dev/null | sed -n '/^Subcommands:$/,/^$/s/^  \([a-z-]*\) .*/\1/p'
}

# _commonctl_argument SUB WORD OPTION: a value of the option in front of it, an option, or an argument.
_commonctl_argument() {
  local levels='fatal critical error warn note info debug verbose'
  case $1:$3 in
    *:--color) _commonctl_words 'always auto never' "$2" ;;
    log:-o | log:--output) _commonctl_words 'short full columns json' "$2" ;;
    top:-o | top:--output) _commonctl_words 'table json html' "$2" ;;
    decode:-o | decode:--output) _commonctl_words 'tree json' "$2" ;;
    machine:-o | machine:--output) _commonctl_words 'svg dot mermaid' "$2" ;;
    listen:--output) _commonctl_files "$2" ;;
    *:-o | *:--output) _commonctl_words 'text json' "$2" ;;
    *:-p | *:--priority) _commonctl_words "$levels" "$2" ;;
    *:--by) _commonctl_words 'process zone level site' "$2" ;;
    *:--socket) _commonctl_files "$2" ;;
    level:level) _commonctl_words "$(_commonctl_options "$1") $(_commonctl_processes)" "$2" ;;
    flash:flash) _commonctl_words check "$2" ;;
    flash:check) _commonctl_words '/ /config-mfg /config /log' "$2" ;;
    *)
      if [[ $2 == -* || ($1 == listen && -z $2) ]]; then
        _commonctl_words "$(_commonctl_options "$1")" "$2"
      elif [[ $1 == level ]]; then
        _commonctl_words "$levels" "$2"
      elif [[ $1 != listen ]]; then
        _commonctl_files "$2"
      fi
      ;;
  esac
}

_commonctl_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

# The long options of a sub-command.
_commonctl_options() {
  commonctl "$1" --help 2>/dev/null | sed -nE 's/^  (-., )?(--[a-z-]+)(,--[a-z-]+)?( .*)?$/\2/p'
  [[ $1 != listen ]] || printf '%s\n' --
}

# Ids of processes that can be told another level, and their names.
_commonctl_processes() {
  commonctl level --output json 2>/dev/null |
    sed -nE 's/.*"name":"([A-Za-z0-9._-]*)".*"pid":([0-9]+).*/\1 \2/p; s/.*"pid":([0-9]+).*"name":"([A-Za-z0-9._-]*)".*/\2 \1/p'
}

# _commonctl_command INDEX: as if the line began at the word INDEX.
_commonctl_command() {
  if declare -F _command_offset >/dev/null; then
    _command_offset "$1"
  elif ((COMP_CWORD == $1)); then
    mapfile -t COMPREPLY < <(compgen -c -- "${COMP_WORDS[COMP_CWORD]}")
  else
    compopt -o default 2>/dev/null
  fi
}

complete -F _commonctl commonctl
