# Sourced by tools/fetch-models and tools/fetch-fonts, which set $package, $version, $tarball_sum and
# $about: gets that npm package. It is checked against the sum, so that it does not matter by which
# npm and from which registry it came.

fail() {
    echo "${0##*/}: $1" >&2
    exit 1
}

holds() { # file sha256
    [ -f "$1" ] && [ "$(sha256sum <"$1" 2>/dev/null)" = "$2  -" ]
}

# On a terminal the seconds are counted until stop_counting: npm itself says nothing.
counter=
count_seconds() {
    [ -t 2 ] || return 0
    (
        seconds=0
        while sleep 1; do
            seconds=$((seconds + 1))
            printf '\r%s: %d s ' "${0##*/}" $seconds >&2
        done
    ) &
    counter=$!
}

stop_counting() {
    [ -n "$counter" ] || return 0
    kill "$counter" 2>/dev/null || true
    wait "$counter" 2>/dev/null || true
    counter=
    printf '\r' >&2
}

# get_package DESTINATION: $tarball is the package and $work a folder that goes at the end, inside the
# destination, so that the last step is a rename: two builds may fetch at once.
get_package() {
    command -v npm >/dev/null || fail "npm is not installed: sudo apt install npm"
    work=$(mktemp -d "$1/.fetch.XXXXXX") || fail "cannot write to $1"
    trap 'stop_counting; rm -rf "$work"' EXIT
    trap 'exit 1' HUP INT TERM

    echo "${0##*/}: getting $package $version ($about) with npm" >&2
    count_seconds
    (cd "$work" && npm pack --loglevel=error "$package@$version") \
        >"$work/npm.out" 2>"$work/npm.err" || {
        stop_counting
        reason=$(sed -n 's/^npm \(error\|ERR!\) code //p' "$work/npm.err" | head -n 1)
        fail "npm could not get $package@$version${reason:+ ($reason)}: is the network reachable?"
    }
    stop_counting
    tarball=$work/$(tail -n 1 "$work/npm.out")
    [ -f "$tarball" ] || fail "npm left no package behind: try 'npm pack $package@$version'"
    [ "$(sha512sum <"$tarball")" = "$tarball_sum  -" ] ||
        fail "$package@$version is not the package that was published: its checksum differs"
}
