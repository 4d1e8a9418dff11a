# Completion of planeshow and planeshow-sim in bash. It reads the options, which of them take a value,
# and the formats from the help.
_planeshow() {
  local word=${2#=} before=$3 help first second rest options='' valued=' '
  [ "$before" != = ] || before=${COMP_WORDS[COMP_CWORD - 2]}
  help=$(PLANESHOW_SIM_SCREEN=none "$1" --help 2>/dev/null)
  while read -r first second rest; do
    case $first in
      -*,)
        options+=" ${first%,} $second"
        [[ $rest != arg\ * ]] || valued+="${first%,} $second "
        ;;
      -*)
        options+=" $first"
        [[ $second != arg ]] || valued+="$first "
        ;;
    esac
  done <<<"$help"
  case $before in
    -i | --input) options= && compopt -o default ;;
    -f | --format) options=${help##*Formats:} ;;
    *) [[ $valued != *" $before "* ]] || options= ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
}
complete -F _planeshow planeshow planeshow-sim
