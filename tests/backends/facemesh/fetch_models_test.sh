#!/bin/sh
# fetch_models_test.sh SCRIPT MODELS: what tools/fetch-models does without a network. MODELS holds
# good models; a stand-in for npm delivers what each case needs.
set -u

script=$1
models=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

expect() { # status pattern destination
    output=$(PATH="$work/bin" "$script" "$3" 2>&1)
    status=$?
    if [ $status -ne "$1" ] || ! echo "$output" | grep -q -- "$2" ||
        [ "$(ls -A "$3" | grep -c '^\.fetch')" -ne 0 ]; then
        echo "FAILED: $case: status $status, expected $1 and '$2':"
        echo "$output"
        failures=$((failures + 1))
    fi
}

npm() { # body of the stand-in
    printf '#!/bin/sh\n%s\n' "$1" >"$work/bin/npm"
    chmod +x "$work/bin/npm"
}

mkdir "$work/bin" "$work/good" "$work/altered" "$work/empty"
# Everything but npm.
for tool in sh sha256sum sha512sum mkdir mktemp rm grep sed head tail tar mv; do
    ln -s "$(command -v $tool)" "$work/bin/$tool"
done
cp "$models"/*.tflite "$models"/*.binarypb "$models"/NOTICE "$work/good"
cp "$work/good"/* "$work/altered"
printf x >>"$work/altered/face_landmark.tflite"

case='complete models need no npm'
expect 0 '^$' "$work/good"

case='an altered model is noticed, and npm is missing'
expect 1 '^fetch-models: npm is not installed: sudo apt install npm$' "$work/altered"

case='npm fails'
npm 'echo "npm warn something" >&2; echo "npm error code ENOTFOUND" >&2; exit 1'
expect 1 'npm could not get .*(ENOTFOUND): is the network reachable?$' "$work/empty"

case='npm leaves nothing'
npm 'exit 0'
expect 1 'npm left no package behind' "$work/empty"

case='another package arrives'
npm 'echo something else >package.tgz; echo package.tgz'
expect 1 'is not the package that was published: its checksum differs$' "$work/empty"

# npm waits for what it causes.
case='on a terminal the seconds are counted'
for tool in sleep timeout; do ln -s "$(command -v $tool)" "$work/bin/$tool"; done
npm "timeout 120 sh -c 'until grep -q \"fetch-models: 1 s\" $work/terminal; do sleep 0.1; done' || exit 0
    exit 1"
PATH="$work/bin" "$(command -v script)" --quiet --flush --return \
    --command "$script $work/empty" "$work/terminal" >/dev/null </dev/null
status=$?
if [ $status -ne 1 ] || ! grep -q 'npm could not get' "$work/terminal"; then
    echo "FAILED: $case: status $status"
    cat "$work/terminal"
    failures=$((failures + 1))
fi

[ -z "$(ls -A "$work/empty")" ] || {
    echo "FAILED: something was left in the destination"
    failures=$((failures + 1))
}
[ $failures -eq 0 ]
