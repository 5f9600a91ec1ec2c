# bash completion for tarvix and tarvix-sim. Commands and options are what `tarvix COMMAND... --help` lists.

# Words of one section of a help text: the command names, or the long options.
_tarvix_commands()
{
    sed -n '/^Subcommands:/,/^$/s/^  \([a-z0-9][a-z0-9-]*\).*/\1/p'
}

_tarvix_options()
{
    sed -n '/^Options:/,/^$/s/^  \(-[A-Za-z0-9],\)\{0,1\}\(--[a-z0-9-]*\).*/\2/p'
}

# Offers the lines of standard input that begin with what was typed, as they are: the shell would expand the words of
# compgen -W, and a device chooses some of them.
_tarvix_offer()
{
    local word
    while IFS= read -r word; do
        [[ $word == "$1"* ]] && COMPREPLY+=("$word")
    done
}

_tarvix()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local program=${COMP_WORDS[0]} word help="" command=()
    COMPREPLY=()

    case $previous in
        -a | --adapter)
            _tarvix_offer "$current" < <("$program" list 2>/dev/null | awk 'NR > 1 { print $1 }')
            return
            ;;
    esac

    # The command so far: each word that is a command where it stands.
    help=$("$program" --help 2>/dev/null)
    local common=$help
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $word != -* ]] && _tarvix_commands <<<"$help" | grep -qxF -e "$word"; then
            command+=("$word")
            help=$("$program" "${command[@]}" --help 2>/dev/null)
        fi
    done

    if [[ $current == -* ]]; then
        _tarvix_offer "$current" < <(_tarvix_options <<<"$help"$'\n\n'"$common" | sort -u)
    else
        _tarvix_offer "$current" < <(_tarvix_commands <<<"$help")
    fi
}

# Where a command takes no further command, file names are offered.
complete -o bashdefault -o default -F _tarvix tarvix tarvix-sim
