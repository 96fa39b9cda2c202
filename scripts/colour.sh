# Colour on a terminal. Sourced by run.sh.

# choose_colour never|auto|always: fills $prompt, $typed, $heading and $plain. Left to it, a terminal has colour
# unless NO_COLOR is set.
choose_colour() {
    prompt='' typed='' heading='' plain=''
    case $1 in
        always) ;;
        auto) { [ -t 1 ] && [ "${TERM:-dumb}" != dumb ] && [ -z "${NO_COLOR:-}" ]; } || return 0 ;;
        never) return 0 ;;
        *) fail "--color takes never, auto or always, not '$1'" ;;
    esac
    prompt=$'\e[32m' typed=$'\e[1m' heading=$'\e[1;36m' plain=$'\e[m'
}
