# fish complete.fish FOLDER PROGRAM WORDS: prints what fish offers for the last word.
source $argv[1]/$argv[2]
complete -C "$argv[2] $argv[3]" | string replace -r '\t.*' '' | string replace -r '^--.*=' ''
true # string replace fails where it replaces nothing
