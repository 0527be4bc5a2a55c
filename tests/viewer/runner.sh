# Shared by run-fast and run-all: fetches what the browser tests need into build/npm, names what is missing, and runs test
# files with Node's own runner. The caller sets `program`.
# shellcheck shell=bash

: "${program:?}"
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=viewer/npm-package.sh
source "$root/viewer/npm-package.sh"

require() {
    command -v "$1" >/dev/null && return
    printf '%s: %s is missing: install the Debian package %s\n' "$program" "$1" "$2" >&2
    exit 1
}

# Runs the given test files of this folder, one after another, and prints Node's summary last.
run_tests() {
    local files=()
    require node nodejs
    require npm npm
    require "${CHROMIUM:-chromium}" chromium
    CHROMIUM=$(command -v "${CHROMIUM:-chromium}")
    export CHROMIUM
    fetch_npm_packages "$root/tests/viewer/packages.sha512" "$root/build/npm"
    "$root/viewer/fetch-uplot" "$root/build/viewer"
    mkdir -p "$root/build/pictures"
    files=("${@/#/$root/tests/viewer/}")
    # One browser at a time: the older runners know no --test-concurrency, but each file's tests run in order.
    local file status=0 log
    log=$root/build/viewer/tests.log
    : >"$log"
    for file in "${files[@]}"; do
        node --test --test-reporter=tap "$file" >>"$log" 2>&1 || status=1
    done
    grep -E '^ *(not )?ok [0-9]+ ' "$log" || true
    awk '/^# (tests|pass|fail|cancelled|skipped) / { sum[$2] += $3 }
         END { printf "# tests %d\n# pass %d\n# fail %d\n", sum["tests"], sum["pass"], sum["fail"] + sum["cancelled"]
               exit sum["tests"] == 0 || sum["pass"] != sum["tests"] }' "$log" || status=1
    if [[ $status -ne 0 ]]; then
        printf '%s: failed; the whole of it is in %s\n' "$program" "${log#"$root/"}" >&2
        grep -A 14 -E '^ *not ok ' "$log" >&2 || true
    fi
    return "$status"
}
