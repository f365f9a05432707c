# bash completion for talstore

_talstore() {
    local current=$2 previous=$3 command='' word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $word != -* ]]; then
            command=$word
            break
        fi
    done

    case $previous in
        --format | --to)
            mapfile -t COMPREPLY < <(compgen -W 'xml secure binary' -- "$current")
            return
            ;;
        --provider)
            mapfile -t COMPREPLY < <(compgen -W 'xml xml-read-only binary secure board dummy' -- "$current")
            return
            ;;
        --channel | --channels | --location | --variant | --mcb | --nab | --traf | --rab | --dsp | --supp | --aux | \
            --string-capacity | --set)
            return
            ;;
        --layout | --output)
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
    esac

    local common='--layout --format --channel --json --help'
    local drive='--layout --provider --location --channel --trace --json --help'
    local options
    case $command in
        '') options='show check diff convert store retrieve board layout --help --version' ;;
        show) options=$common ;;
        check) options="$common --all" ;;
        diff) options="$common --summary" ;;
        convert) options="$common --to" ;;
        store) options="$drive --set" ;;
        retrieve) options=$drive ;;
        board)
            options='--layout --channels --variant --mcb --nab --traf --rab --dsp --supp --aux --trace --json --help'
            ;;
        layout) options='--output --string-capacity --defaults --help' ;;
        *) return ;;
    esac
    if [[ -z $command || $current == -* || $command == board ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
    else
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -F _talstore talstore
