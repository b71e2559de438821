# Completion of limes in bash: commands and options as the program's own help lists them, and files.
_limes() {
  local word=${COMP_WORDS[COMP_CWORD]} program=${COMP_WORDS[0]} command="" candidate
  for candidate in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ $candidate != -* ]]; then
      command=$candidate
      break
    fi
  done
  if [[ -z $command && $word != -* ]]; then
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
complete -o filenames -F _limes limes
