# Completion of limes in bash: commands and options as the program's own help lists them, values of
# options, quantities of a store, and files.
_limes() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} program=${COMP_WORDS[0]}
  local command="" store="" candidate place=0
  for candidate in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $candidate == -* ]] && continue
    place=$((place + 1))
    [[ $place -eq 1 ]] && command=$candidate
    [[ $place -eq 2 ]] && store=$candidate
  done
  local values=""
  case $before in
    --sides) values=$(printf '%s\n' upper lower both) ;;
    --to) values=$(printf '%s\n' csv text curve pairs array uff npy hdf5) ;;
    --table) values=$(printf '%s\n' semicolon tab comma decimal-comma decimal-point) ;;
    --variant) [[ -f $store ]] && values=$(_limes_variants) ;;
    --use | --skip) [[ -f $store ]] && values=$(_limes_quantities) ;;
  esac
  if [[ $command == plot && $place -eq 2 && $word != -* ]]; then
    values=$(_limes_quantities)
  fi
  if [[ -n $values ]]; then
    local IFS=$'\n'
    mapfile -t COMPREPLY < <(compgen -W "$values" -- "$word")
  elif [[ -z $command && $word != -* ]]; then
    local commands
    commands=$("$program" --help 2>/dev/null | sed -n '/^Subcommands:/,$s/^  \([a-z]\+\) .*/\1/p')
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
  elif [[ $word == -* ]]; then
    local options
    options=$("$program" ${command:+"$command"} --help 2>/dev/null | grep -o -- '--[a-z][a-z0-9-]*')
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}

# The quantities of the store that the command line names.
_limes_quantities() {
  "$program" show "$store" --json 2>/dev/null | sed -n 's/^{"name":"\([^"]*\)".*/\1/p' | sort -u
}

# Its variants.
_limes_variants() {
  "$program" show "$store" --json 2>/dev/null | sed -n 's/^{"name":[^}]*"variant":"\([^"]*\)".*/\1/p' | sort -u
}
complete -o filenames -F _limes limes
