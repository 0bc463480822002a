# Completes the commands of umo-cli, and the names of policies, matches and actions, which it asks the
# running agent for. A name comes from outside: it is never expanded. One with a blank cannot be sent.

# _umo_cli_column NAME NEXT: each text of the table's column once, between the headings.
_umo_cli_column() {
    awk -v name="$1" -v next_name="$2" '
        NR == 1 { from = index($0, name); to = index($0, next_name) }
        NR > 1 { text = substr($0, from, to - from); sub(/ +$/, "", text); print text }' | sort -u
}

_umo_cli() {
    local current=$2 words=() ask=("${COMP_WORDS[0]}" --timeout 1) choice choices= i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --socket | --timeout)
                local option=${COMP_WORDS[i]}
                [[ ${COMP_WORDS[++i]} == '=' ]] && ((++i))
                [[ $option == --socket ]] && ask+=(--socket "${COMP_WORDS[i]}")
                ;;
            -*) ;;
            *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
    if [[ $3 == --socket ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
    elif [[ $3 == --timeout ]]; then
        return
    fi
    [[ ${words[0]-} == watch ]] && words=("${words[@]:1}")
    if [[ $current == -* ]]; then
        choices=$'--socket\n--timeout\n--json\n--version\n--help'
        [[ ${words[0]-} == apply ]] && choices+=$'\n--dry-run'
    elif ((${#words[@]} == 0)); then
        choices="$("${ask[@]}" help 2>/dev/null | sed -n 's/^  \([^ ]*\) .*/\1/p')"$'\nwatch\ndiff'
    else
        case ${words[0]}:${#words[@]} in
            explain:1 | picture:1 | showNatFlowGroup:1 | showNatFlowActionHw:1)
                choices=$("${ask[@]}" showNatFlowGroup 2>/dev/null | _umo_cli_column policy match)
                ;;
            explain:2 | picture:2)
                choices=$("${ask[@]}" showNatFlowGroup "${words[1]}" 2>/dev/null |
                    _umo_cli_column match wanted)
                ;;
            explain:3 | picture:3)
                choices=$("${ask[@]}" explain "${words[1]}" "${words[2]}" 2>/dev/null |
                    sed -n 's/^  action \(.*\), version .*/\1/p')
                ;;
            set:1) choices=$'backlog-limit\nbacklog-interval\nretry-delay' ;;
            apply:1 | diff:1)
                mapfile -t COMPREPLY < <(compgen -f -- "$current")
                return
                ;;
        esac
    fi
    while IFS= read -r choice; do
        [[ $choice == "$current"* && $choice != *' '* && $choice ]] && COMPREPLY+=("$choice")
    done <<<"$choices"
}
complete -o filenames -F _umo_cli umo-cli
