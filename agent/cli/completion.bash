# Completes the commands of umo-cli, and the names of policies, matches and actions, which it asks the
# running agent for.

_umo_cli() {
    local current=${COMP_WORDS[COMP_CWORD]} words=() ask=(umo-cli --timeout 1) i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --socket | --timeout)
                [[ ${COMP_WORDS[i]} == --socket ]] && ask+=(--socket "${COMP_WORDS[i + 1]}")
                ((++i))
                ;;
            -*) ;;
            *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    case ${COMP_WORDS[COMP_CWORD - 1]} in
        --socket)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        --timeout) return ;;
    esac
    local choices=
    if [[ $current == -* ]]; then
        choices='--socket --timeout --json --version --help'
    elif ((${#words[@]} == 0)); then
        choices="$("${ask[@]}" help 2>/dev/null | sed -n 's/^  \([^ ]*\) .*/\1/p') watch diff"
    else
        case ${words[0]}:${#words[@]} in
            explain:1 | picture:1 | showNatFlowGroup:1 | showNatFlowActionHw:1)
                choices=$("${ask[@]}" showNatFlowGroup 2>/dev/null | sed -n '2,$s/ .*//p')
                ;;
            explain:2 | picture:2)
                choices=$("${ask[@]}" explain "${words[1]}" 2>/dev/null |
                    sed -n 's/^policy .*, match \([^:]*\): .*/\1/p')
                ;;
            explain:3 | picture:3)
                choices=$("${ask[@]}" explain "${words[1]}" "${words[2]}" 2>/dev/null |
                    sed -n 's/^  action \([^,]*\), .*/\1/p')
                ;;
            set:1) choices='backlog-limit backlog-interval retry-delay' ;;
            apply:1 | diff:1)
                mapfile -t COMPREPLY < <(compgen -f -- "$current")
                return
                ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
}
complete -o filenames -F _umo_cli umo-cli
