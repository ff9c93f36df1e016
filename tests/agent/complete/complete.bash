# bash complete.bash FOLDER PROGRAM WORDS: prints what bash offers for the last word.
script=$1/$2 program=$2
# shellcheck disable=SC1090 # the script under test
source "$script"
read -r _ _ _ _ function _ <<<"$(complete -p "$program")"
# shellcheck disable=SC2206 # the words of a command line, which bash also parts at =
COMP_WORDS=($program ${3//=/ = })
[[ -n $3 && $3 != *' ' ]] || COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
$function
printf '%s\n' "${COMPREPLY[@]}"
