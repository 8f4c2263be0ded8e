# Completion of morvdctl and script/control in bash: source it, or put it into bash-completion's folder as morvdctl.

_morvdctl() {
    local word=${COMP_WORDS[COMP_CWORD]} at=1 choices=''
    COMPREPLY=()
    while [[ ${COMP_WORDS[at]} == -* && $at -lt $COMP_CWORD ]]; do
        [[ ${COMP_WORDS[at]} == -s || ${COMP_WORDS[at]} == --socket ]] && ((at++))
        ((at++))
    done
    if ((at > COMP_CWORD)); then # the value of -s
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
    fi
    if ((at == COMP_CWORD)); then
        choices='show load noise outlet phase unit circuit fuse sensor link clock fault ask help'
        [[ $word == -* ]] && choices='-s --socket -h --help -V --version'
    elif ((at + 1 == COMP_CWORD)); then
        case ${COMP_WORDS[at]} in
        noise) choices='on off' ;;
        outlet) choices='fail mend trip' ;;
        phase) choices='trip overload relieve' ;;
        unit) choices='trip' ;;
        circuit) choices='overload relieve' ;;
        fuse) choices='blow mend' ;;
        sensor) choices='set pull plug' ;;
        link) choices='break cut mend' ;;
        clock) choices='advance' ;;
        fault) choices='refuse drop delay list clear' ;;
        help) choices='show load noise outlet phase unit circuit fuse sensor link clock fault ask' ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}
complete -F _morvdctl morvdctl script/control
