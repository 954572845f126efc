# bash completion for kernova                              -*- shell-script -*-

_kernova()
{
    local cur prev words cword
    _init_completion || return

    local commands="split layout set get apps send splode render ocr prefs doctor help"
    if ((cword == 1)); then
        COMPREPLY=($(compgen -W "$commands --help --version" -- "$cur"))
        return
    fi

    local command=${words[1]}
    case $command in
        split)
            [[ $prev == --option ]] && return
            COMPREPLY=($(compgen -W "--all --option --json --help" -- "$cur"))
            ;;
        layout)
            [[ $prev == --width ]] && return
            COMPREPLY=($(compgen -W "--width --fixed-metrics --json --help" -- "$cur"))
            ;;
        set | get)
            if ((cword == 2)); then
                local keys
                keys=$("${words[0]}" get --all 2>/dev/null | cut -d' ' -f1)
                [[ $command == get ]] && keys+=" --all"
                COMPREPLY=($(compgen -W "$keys --help" -- "$cur"))
            elif [[ $command == set && cword -eq 3 ]]; then
                COMPREPLY=($(compgen -W "YES NO" -- "$cur"))
            fi
            ;;
        apps)
            COMPREPLY=($(compgen -W "--json --enable --disable --help" -- "$cur"))
            ;;
        send)
            COMPREPLY=($(compgen -W "--empty --help" -- "$cur"))
            ;;
        splode)
            COMPREPLY=($(compgen -W "- --primary --clipboard --help" -- "$cur"))
            ;;
        render)
            case $prev in
                --text | --width | --height) return ;;
                --out)
                    _filedir png
                    return
                    ;;
            esac
            COMPREPLY=($(compgen -W "--text --width --height --out --help" -- "$cur"))
            ;;
        ocr)
            if [[ $cur == -* ]]; then
                COMPREPLY=($(compgen -W "- --clipboard --screen --copy --help" -- "$cur"))
            else
                _filedir '@(png|PNG|jpg|JPG|jpeg|JPEG)'
            fi
            ;;
        doctor)
            COMPREPLY=($(compgen -W "--json --help" -- "$cur"))
            ;;
        prefs)
            COMPREPLY=($(compgen -W "--first-run --help" -- "$cur"))
            ;;
    esac
} &&
    complete -F _kernova kernova

# ex: filetype=sh
