# bash completion for melvane-cli.
# Commands, options and their choices are read from the program's own help, so they follow it;
# drives, recorders and capture devices from its listings.

# The help of COMMAND (empty: the program's own help).
_melvane_cli_help() {
    if [[ -n ${2-} ]]; then
        "$1" "$2" --help 2>/dev/null
    else
        "$1" --help 2>/dev/null
    fi
}

# The commands the program's help lists.
_melvane_cli_commands() {
    _melvane_cli_help "$1" | awk '/^Commands:/ { on = 1; next } on && NF == 0 { exit }
                                  on { print $1 }'
}

# Each option of a command's help, one a line: the option, then its value's name if it takes
# one ("--to mp3|wma|wav", "--out DIR", "--simulate").
_melvane_cli_options() {
    local line re='^  (-[[:alnum:]], )?(--[[:alnum:]-]+)( <?([^ >]+)>?)?'
    while IFS= read -r line; do
        [[ $line =~ $re ]] && printf '%s %s\n' "${BASH_REMATCH[2]}" "${BASH_REMATCH[4]}"
    done < <(_melvane_cli_help "$1" "$2")
}

# The first column of a listing whose lines start with a number or an id.
_melvane_cli_listed() {
    "$@" 2>/dev/null | awk -F '[ \t]+' '/^[^ \t]/ { print $1 }'
}

_melvane_cli() {
    local cur prev words cword split
    _init_completion -s -n : || return
    local cli=${words[0]} command="" i
    for ((i = 1; i < cword; i++)); do
        if [[ ${words[i]} != -* ]]; then
            command=${words[i]}
            break
        fi
    done

    if [[ -z $command ]]; then
        if [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W '--help --version' -- "$cur"))
        else
            COMPREPLY=($(compgen -W "$(_melvane_cli_commands "$cli") help" -- "$cur"))
        fi
        return
    fi
    if [[ $command == help ]]; then
        ((cword == i + 1)) &&
            COMPREPLY=($(compgen -W "$(_melvane_cli_commands "$cli")" -- "$cur"))
        return
    fi

    local options option value="" takes=""
    options=$(_melvane_cli_options "$cli" "$command")
    # The value of the option before, if it takes one.
    if [[ $prev == -* ]]; then
        while read -r option value; do
            [[ $option == "$prev" ]] && { takes=1; break; }
        done <<<"$options"
    fi
    if [[ -n $takes && -n $value ]]; then
        case $prev:$value in
        --recorder:*)
            COMPREPLY=($(compgen -W "$(_melvane_cli_listed "$cli" recorders | grep '^[0-9]') image" -- "$cur"))
            ;;
        --device:*)
            COMPREPLY=($(compgen -W "$(_melvane_cli_listed "$cli" devices)" -- "$cur"))
            # Ids may hold colons, at which bash splits words.
            __ltrim_colon_completions "$cur"
            ;;
        *:DIR)
            _filedir -d
            ;;
        --to:FORMATS)
            # Several formats separated by commas: each one once.
            local done=${cur%"${cur##*,}"} format choices=()
            for format in wav mp3 wma; do
                [[ ,$done == *",$format,"* ]] || choices+=("$done$format")
            done
            # A whole disc as one image goes alone.
            [[ $command == rip && -z $done ]] && choices+=(image)
            COMPREPLY=($(compgen -W "${choices[*]}" -- "$cur"))
            ;;
        *'|'*)
            # Choices such as mp3|wma|wav; names in capitals stand for a value.
            local choice choices=()
            for choice in ${value//|/ }; do
                [[ $choice == *[a-z]* ]] && choices+=("$choice")
            done
            COMPREPLY=($(compgen -W "${choices[*]}" -- "$cur"))
            ;;
        esac
        return
    fi
    $split && return

    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$(cut -d ' ' -f 1 <<<"$options")" -- "$cur"))
        return
    fi
    # What the command takes after its options: the last word of its usage.
    local usage
    # (of its first usage only: a second one, such as 'record --recover', starts anew)
    usage=$(_melvane_cli_help "$cli" "$command" |
        awk 'NR == 1 || /^ +[^ ]/ && !/melvane-cli/ && on { on = 1; u = $NF; next }
             { exit } END { print u }')
    case $usage in
    DRIVE | SOURCE-DRIVE)
        COMPREPLY=($(compgen -W "$(_melvane_cli_listed "$cli" drives | grep '^[0-9]')" -- "$cur"))
        local devices=(/dev/sr[0-9]*)
        [[ -e ${devices[0]} ]] && COMPREPLY+=($(compgen -W "${devices[*]}" -- "$cur"))
        _filedir cue
        ;;
    FILE | FILE...)
        # A burn also takes a CUE sheet, a whole disc.
        if [[ $command == burn ]]; then
            _filedir '@(wav|mp3|wma|cue)'
        else
            _filedir '@(wav|mp3|wma)'
        fi
        ;;
    OUT)
        _filedir '@(mp3|wav)'
        ;;
    esac
} &&
    complete -F _melvane_cli melvane-cli
