# Completion for t1, mar-standin, mar-queue, marctl and ucvtab. It asks the programs what they know: t1 /l3
# lists the keywords, --help of the others lists options, commands and faults.

# Offers the words on standard input that begin with $1. $2 is the part of the word under the cursor that
# precedes $1. bash breaks words at ":" and "=" and expects only what follows the last break; $3 is what bash
# takes for the word. The user's text is only compared, never expanded, so it may be anything.
_mar_offer() {
  local word cut=$2$1
  cut=${cut%"$3"}
  while read -r word; do
    [[ $word == "$1"* ]] || continue
    word=$2$word
    COMPREPLY+=("${word#"$cut"}")
  done
  [[ ${#COMPREPLY[@]} == 1 && ${COMPREPLY[0]} == *[:=] ]] && compopt -o nospace 2>/dev/null
}

_mar_t1() {
  COMPREPLY=()
  ((COMP_CWORD == 1)) && _mar_offer "$2" '' "$2" < <("$1" /l3 2>/dev/null | sed 1,3d)
}

# The first word of each item in section $1 of a help text.
_mar_items() {
  sed -n "/^$1:/,/^\$/ s/^  \\([^ ][^ ]*\\).*/\\1/p"
}

# A fault is WHEN:WHAT[,WHAT...].
_mar_fault() { # help text, fault so far, part of the word before it, bash's word
  local last=${2##*[:,]}
  if [[ $2 == *:* ]]; then
    _mar_offer "$last" "$3${2%"$last"}" "$4" < <(sed -n '/^WHAT:/,/^$/ s/^  \([^ =]*=\{0,1\}\).*/\1/p' <<<"$1")
  else
    _mar_offer "$2" "$3" "$4" < <(printf '%s\n' '*:' start: &&
      sed -n '/^Messages:/,/^$/ s/^  [0-9]* \(.*\)/\1:/p' <<<"$1")
  fi
}

_mar_tool() {
  local line=${COMP_LINE:0:COMP_POINT} words word typed option before='' help commands command=''
  COMPREPLY=()
  read -ra words <<<"$line"
  [[ $line == *[[:space:]] ]] && words+=('')
  help=$("$1" --help 2>/dev/null)
  commands=$(_mar_items Subcommands <<<"$help")
  for word in "${words[@]:1:${#words[@]}-2}"; do
    [[ -z $command && -n $word ]] && grep -qxFe "$word" <<<"$commands" && command=$word
  done
  # The program's own options may follow the command.
  [[ -n $command ]] && help+=$'\n'$("$1" "$command" --help 2>/dev/null)

  typed=${words[-1]} option=${words[-2]}
  if [[ $typed == --*=* ]]; then
    option=${typed%%=*} before=${typed%%=*}= typed=${typed#*=}
  fi
  typed=${typed#[\'\"]}
  if [[ $option == --fault ]]; then
    _mar_fault "$help" "$typed" "$before" "$2"
  elif [[ $option == --for ]]; then
    _mar_offer "$typed" "$before" "$2" < <(printf '%s\n' up down)
  elif [[ $option == -* ]] && sed -n 's/^  \(-[^ ]*\) [[:upper:]][[:upper:]].*/,\1,/p' <<<"$help" | grep -qFe ",$option,"; then
    : # its value: a file, or nothing that can be known
  elif [[ $typed == -* || -z $commands && $help != *$'\nPositionals:'* ]]; then
    _mar_offer "$typed" '' "$2" < <(_mar_items Options <<<"$help" | tr , '\n' | sort -u)
  elif [[ -z $command || $command == schema ]]; then
    _mar_offer "$typed" '' "$2" <<<"$commands"
  fi
}

complete -F _mar_t1 t1
complete -o default -F _mar_tool mar-standin mar-queue marctl ucvtab
