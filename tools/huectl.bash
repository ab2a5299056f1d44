# bash completion for huectl
_huectl() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} choices=
    case $COMP_CWORD:$previous in
        1:*) choices="discover pair check lights light forget --help --version" ;;
        *:--loop) choices="on off" ;;
        *:--brightness | *:--kelvin | *:--mired | *:--rgb | *:--hsv | *:--xy) ;;
        *:--transition | *:--name | *:--flash) ;;
        *)
            [[ $word == -* ]] && choices="--json --help"
            [[ $word == -* && $command == discover ]] && choices+=" --verbose"
            [[ $word == -* && $command == forget ]] && choices+=" --yes"
            [[ $word == -* && $command == light ]] &&
                choices+=" --on --off --brightness --kelvin --mired --rgb --hsv --xy --loop
                    --transition --name --blink --flash --by-type"
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}
complete -F _huectl huectl
