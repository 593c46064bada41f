# shellcheck shell=bash
# Shared by run, test and bench: installs what the machine lacks, configures and builds. Sourced, with `root` set to the
# project's folder.
: "${root:?}"

say() { printf '%s\n' "$*" >&2; }

fail() {
    say "$*"
    exit 1
}

# For an argument that makes no sense: says so and where help is.
usage_error() {
    say "$*"
    say "Try './${0##*/} --help'."
    exit 2
}

# Prints the packages of the given list files that are not installed, one a line.
missing_packages() {
    local installed entry name
    installed=" $(dpkg-query -W -f='${db:Status-Status} ${Package} ')"
    sed 's/#.*//' "$@" | while read -r entry; do
        [ -n "$entry" ] || continue
        for name in ${entry//|/ }; do
            [[ $installed == *" installed $name "* ]] && continue 2
        done
        printf '%s\n' "${entry%%|*}"
    done
}

# A Node.js from elsewhere and the distribution's npm exclude each other, so a suitable pair that is there is kept.
missing_node() {
    local version
    if command -v npm >/dev/null && version=$(node --version 2>/dev/null); then
        version=${version#v}
        [ "${version%%.*}" -ge 18 ] && return
    fi
    printf '%s\n' nodejs npm
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# apt_get <words>...: non-interactive, as root, waiting for another installation to end.
apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0 "$@" </dev/null
}

# apt_get_quietly <words>...: the same, and no service that comes with a package is started: tests start servers of
# their own. A policy of the machine's own is left as it is.
apt_get_quietly() (
    policy=/usr/sbin/policy-rc.d
    if [ ! -e "$policy" ]; then
        trap 'as_root rm -f "$policy"' EXIT
        printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null && as_root chmod 755 "$policy"
    fi
    apt_get "$@"
)

# Servers among the packages are not started now, but the machine would start them with its next boot.
say_how_to_keep_servers_off() {
    local server found=()
    for server in dovecot nginx postgresql; do
        [[ " $* " == *" $server"* ]] && found+=("$server")
    done
    [ "${#found[@]}" -gt 0 ] || return 0
    say "Only tests and benchmarks need the servers ${found[*]}. To keep the machine from starting its own at the next boot:"
    say "    sudo systemctl disable ${found[*]}"
}

# ensure_packages <list file>...: installs what is missing. Asks for root only when something is.
ensure_packages() {
    local log="$root/build/setup.log" missing with=""
    if ! command -v dpkg-query >/dev/null; then
        say "This is not a Debian system; the packages in Tools/setup are taken to be there."
        return
    fi
    mapfile -t missing < <(missing_packages "$@"; missing_node)
    [ "${#missing[@]}" -gt 0 ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null ||
            fail "Some Debian packages are missing, and there is no sudo here. As root: apt-get install ${missing[*]}"
        with=" with sudo"
    fi
    say "Installing ${#missing[@]} missing Debian packages$with: ${missing[*]}"
    mkdir -p "$root/build"
    # A stale list of one archive need not stop us: the installation tells whether all was found.
    apt_get update >"$log" 2>&1 || say "The package lists could not all be renewed; trying with what is there."
    if ! apt_get_quietly install -y --no-install-recommends --no-remove "${missing[@]}" >>"$log" 2>&1; then
        tail -n 20 "$log" >&2
        fail "Some packages could not be installed; build/setup.log has the whole story."
    fi
    say_how_to_keep_servers_off "${missing[@]}"
}

# configure <preset>
configure() {
    local log="$root/build/configure-$1.log"
    mkdir -p "$root/build"
    if ! cmake -S "$root" --preset "$1" >"$log" 2>&1; then
        tail -n 30 "$log" >&2
        fail "The build could not be configured; build/configure-$1.log has the whole story."
    fi
}

# Lets a tenth of ninja's progress lines through, and everything else, for output that is no terminal.
thin_progress() {
    local line last=-1 tenth
    while IFS= read -r line; do
        if [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]]; then
            tenth=$((BASH_REMATCH[1] * 10 / BASH_REMATCH[2]))
            [ "$tenth" -eq "$last" ] && continue
            last=$tenth
        fi
        case $line in "ninja: Entering "* | "[0/"*"] Re-checking "*) ;; *) printf '%s\n' "$line" ;; esac
    done
}

# build <preset> <target>...
build() {
    local preset=$1
    shift
    local command=(ninja -C "$root/build/$preset" -j "$(nproc)" "$@")
    if [ -t 1 ]; then
        NINJA_STATUS='[%f/%t, %es] ' "${command[@]}"
    else
        "${command[@]}" | thin_progress
    fi || fail "The build failed; what went wrong stands above."
}
