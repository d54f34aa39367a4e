# Completes velmaro and velmaro-cli in bash; needs bash-completion.

# The ids of the sources that this command line would have.
_velmaro_inputs() {
    local -a given=()
    local index value
    for ((index = 1; index < cword; ++index)); do
        case ${words[index]} in
            --demo) given+=(--demo) ;;
            --camera-file | --motion-file)
                # Takes the quotes off and expands nothing.
                value=$(xargs printf %s <<<"${words[index + 1]}" 2>/dev/null)
                given+=("${words[index]}" "${value/#~\//$HOME/}")
                ;;
        esac
    done
    "$1" --list-inputs "${given[@]}" 2>/dev/null | cut -f 1
}

_velmaro() {
    local cur prev words cword split
    _init_completion -s -n : || return
    case $prev in
        --input)
            local IFS=$'\n'
            COMPREPLY=($(compgen -W "$(_velmaro_inputs "$1")" -- "$cur"))
            __ltrim_colon_completions "$cur"
            return
            ;;
        --camera-file | --motion-file | --record-motion | --config)
            _filedir
            return
            ;;
        --ip)
            _known_hosts_real -- "$cur"
            return
            ;;
        --motion-udp-bind | --control-bind)
            _ip_addresses
            return
            ;;
        --rate)
            COMPREPLY=($(compgen -W "30 60" -- "$cur"))
            return
            ;;
        --rotate)
            COMPREPLY=($(compgen -W "90 180 270" -- "$cur"))
            return
            ;;
        --receiver)
            COMPREPLY=($(compgen -W "$("$1" --receiver list 2>/dev/null | cut -f 1)" -- "$cur"))
            return
            ;;
        --flip | --order)
            COMPREPLY=($(compgen -W "pan tilt roll" -- "$cur"))
            return
            ;;
        --motion-udp | --airpods-address | --port | --osc | --also | --control-port | --duration)
            return
            ;;
    esac
    $split && return

    local options="--list-inputs --input --camera-file --once --motion-file --motion-udp
        --motion-udp-bind --airpods-address --record-motion --demo --rotate --mirror --ip --port
        --osc --rate --no-tilt --quaternion --receiver --flip --order --radians --split --also
        --control-port --control-bind --allow-idle --config --no-config --save --forget-pose
        --quiet --start --version --help"
    [[ ${1##*/} == velmaro-cli ]] && options+=" --duration --stats"
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
}

complete -F _velmaro velmaro velmaro-cli
