# Completion of rastel-host for bash. All words come from the program itself.
_rastel_host() {
  local program=${COMP_WORDS[0]} word=$2 before=$3 verb=${COMP_WORDS[1]} words=
  if [[ $COMP_CWORD == 1 ]]; then
    words=$("$program" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
  elif [[ $before == --kind ]]; then
    words='desktop console web unknown'
  elif [[ $before == --layout ]]; then
    words=$("$program" convert --help | sed -n 's/.*--layout NAME *One of \(.*\) (.*/\1/p' | tr -d ,)
  elif [[ $word == -* ]]; then
    words=$("$program" "$verb" --help 2>/dev/null | grep -oE '^  (-.,)?--[a-z-]+' | grep -oE -- '--.*')
  elif [[ $verb == check ]]; then
    words=$("$program" check --list | cut -d' ' -f1)
  elif [[ $COMP_CWORD == 2 && ($verb == call || $verb == show) ]]; then
    words=$("$program" list 2>/dev/null | grep -oE '[A-Za-z]+KVZ\(' | tr -d '(' | sort -u)
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o default -F _rastel_host rastel-host
