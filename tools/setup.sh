# Sourced by ./run and ./check: installs what is missing and keeps what is there. What it does is
# said on standard error, since standard output belongs to the program.

say() { printf '%s: %s\n' "${0##*/}" "$*" >&2; }
fail() { say "$*"; exit 1; }

# install_packages GROUP...: the Debian packages of those groups in packages.txt.
install_packages() {
    local wanted missing=() package as_root=()
    wanted=$(awk -v groups=" $* " '!/^#/ && NF && index(groups, " " $1 " ") { print $2 }' packages.txt)
    for package in $wanted; do
        # A machine may have npm from elsewhere than Debian.
        if [ "$package" = npm ] && command -v npm >/dev/null; then
            continue
        fi
        dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
            missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    command -v apt-get >/dev/null ||
        fail "apt-get is missing: this set-up is for Debian; install the like of: ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null ||
            fail "run this as root, or first: apt-get install ${missing[*]}"
        as_root=(sudo)
    fi
    say "installing ${missing[*]}"
    "${as_root[@]}" apt-get update -qq >&2 || fail "apt-get update failed: is the network there?"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0 "${missing[@]}" >&2 ||
        fail "apt-get could not install all of: ${missing[*]}"
}

# quietly WHAT COMMAND...: shows the command's output only if it fails.
quietly() {
    local what=$1 log
    shift
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        fail "$what failed"
    fi
    rm -f "$log"
}

# building WHAT COMMAND...: the same for a build by ninja; on a terminal one line counts its steps.
building() {
    local what=$1 log step
    shift
    if [ ! -t 2 ]; then
        say "building $what"
        quietly "building $what" "$@"
        return
    fi
    log=$(mktemp)
    if ! "$@" 2>&1 | tee "$log" | while IFS= read -r step; do
        [[ $step =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
        printf '\r%s: building %s, %d of %d ' "${0##*/}" "$what" "${BASH_REMATCH[@]:1}" >&2
    done; then
        printf '\n' >&2
        cat "$log" >&2
        rm -f "$log"
        fail "building $what failed"
    fi
    ! grep -q '^\[' "$log" || printf '\n' >&2
    rm -f "$log"
}
