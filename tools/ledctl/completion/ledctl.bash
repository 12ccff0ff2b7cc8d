# Completion of ledctl's command lines in bash: "source" this file, or install it as
# share/bash-completion/completions/ledctl.
#
# ledctl itself knows what may come next (ledctl __complete WORD...); of a robot that does not
# answer within half a second, commands and options are left. Needs no other package.

_ledctl() {
  local -a words=() candidates=()
  local word glue= i
  # The shell cuts words at ":" and "=", which belong to addresses and options.
  for ((i = 1; i <= COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]-}
    if ((${#words[@]})) && [[ $glue || $word =~ ^[:=]+$ ]]; then
      words[-1]+=$word
    else
      words+=("$word")
    fi
    if [[ $word =~ ^[:=]+$ ]]; then glue=yes; else glue=; fi
  done
  ((${#words[@]})) || words=("")

  # What the shell will replace: the last piece; what stands before it stays.
  local current=${words[-1]} piece=${COMP_WORDS[COMP_CWORD]-}
  if [[ $piece =~ ^[:=]+$ ]]; then piece=; fi
  local kept=${current%"$piece"} option=
  if [[ $current == --*=* ]]; then
    option=${current%%=*}
  elif ((${#words[@]} > 1)); then
    option=${words[-2]}
  fi

  COMPREPLY=()
  case $option in
    --tls-ca | --token-file)
      mapfile -t COMPREPLY < <(compgen -f -- "$piece")
      compopt -o filenames 2>/dev/null
      return
      ;;
  esac

  local program=${COMP_WORDS[0]/#\~/$HOME} candidate
  mapfile -t candidates < <("$program" __complete "${words[@]}" 2>/dev/null)
  for candidate in "${candidates[@]}"; do
    [[ $candidate == "$kept"* ]] || continue
    candidate=${candidate#"$kept"}
    # Inside quotes names stand as they are.
    if [[ $current != [\"\']* ]]; then printf -v candidate %q "$candidate"; fi
    COMPREPLY+=("$candidate")
  done
}

complete -F _ledctl ledctl
