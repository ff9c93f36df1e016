# zsh complete.zsh FOLDER PROGRAM WORDS: prints what zsh offers for the last word. Its completion
# works at a terminal only, and finds a script by its first line.
zmodload zsh/zpty
mv $1/$2 $1/_$2
export FOLDER=$1
zpty shell zsh -f -i
# Calls of compadd that only compute leave the matches in an array of theirs.
zpty -w shell '
fpath=( $FOLDER $fpath ); autoload -Uz compinit; compinit -D -u
compadd() {
  if [[ " ${@[1,(i)(-|--)]} " != *" "-[OAD]" "* ]]; then
    local -a offered
    builtin compadd -O offered "$@"
    print -rl -- $offered >>$FOLDER/offered
  fi
  builtin compadd "$@"
}
probe() { _main_complete; print -n "DO""NE"; }
zle -C probe list-choices probe
bindkey "^I" probe
PS1="READ""Y"'
zpty -r shell text '*READY*'
zpty -w -n shell "$2 $3"$'\t'
zpty -r shell text '*DONE*'
zpty -d shell
[[ ! -e $1/offered ]] || cat $1/offered
