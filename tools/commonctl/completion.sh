# shellcheck shell=bash
# What bash completes behind "commonctl".

_commonctl() {
  local word=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} index
  # "--color=al" is three words.
  if [[ $word == = ]]; then
    word=''
  elif [[ $option == = ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W 'help listen' -- "$word")
    return
  fi
  case ${COMP_WORDS[1]} in
    help) ((COMP_CWORD > 2)) || mapfile -t COMPREPLY < <(compgen -W 'listen' -- "$word") ;;
    listen)
      # Behind "--" is a command with arguments of its own.
      for ((index = 2; index < COMP_CWORD; index++)); do
        [[ ${COMP_WORDS[index]} == -- ]] || continue
        _commonctl_command $((index + 1))
        return
      done
      _commonctl_listen "$word" "$option"
      ;;
  esac
}

_commonctl_listen() {
  case $2 in
    --color) mapfile -t COMPREPLY < <(compgen -W 'always auto never' -- "$1") ;;
    --output | --socket)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$1")
      ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W '--color= --help --output= --private-root --socket= --' -- "$1")
      [[ ${COMPREPLY[0]-} != *= ]] || compopt -o nospace 2>/dev/null
      ;;
  esac
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
