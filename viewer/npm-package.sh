# Fetching packages with npm, each checked against the sum that the project knows. Read by viewer/fetch-uplot and by the
# runners of tests/viewer and tests/fleet; the caller sets `program`, the name in front of messages.
# shellcheck shell=bash

: "${program:?}"

# Unpacks the packages that the sums file $1 lists (sha512sum's form, files named NAME-VERSION.tgz, where NAME may have a
# scope: @SCOPE/NAME) into $2/node_modules/NAME. What is there already is left alone. Their dependencies are not fetched.
# Fails with a sentence that says what is missing.
fetch_npm_packages() {
    local sums folder=$2 sum file name version
    sums=$(realpath "$1")
    mkdir -p "$folder/node_modules"
    while read -r sum file; do
        version=${file%.tgz}
        version=${version##*-}
        name=${file%"-$version.tgz"}
        if [[ $(cat "$folder/node_modules/$name/.sha512" 2>/dev/null) == "$sum" ]]; then
            continue
        fi
        # npm packs @SCOPE/NAME as SCOPE-NAME-VERSION.tgz.
        file=${file#@}
        fetch_one_package "$sum" "${file/\//-}" "$name" "$version" "$folder" || return 1
    done <"$sums"
}

fetch_one_package() {
    local sum=$1 file=$2 name=$3 version=$4 folder=$5 log
    if [[ ! -e $folder/$file ]]; then
        if ! command -v npm >/dev/null; then
            printf '%s: npm is missing, which fetches %s: install the Debian package npm\n' "$program" "$name" >&2
            return 1
        fi
        log=$folder/npm.log
        # Packed elsewhere and moved, so that a file that is there is whole.
        mkdir -p "$folder/fetching"
        if ! npm pack --silent --pack-destination "$folder/fetching" "$name@$version" >"$log" 2>&1; then
            tail -n 5 "$log" >&2
            printf '%s: npm could not fetch %s %s: is the network there?\n' "$program" "$name" "$version" >&2
            return 1
        fi
        mv "$folder/fetching/$file" "$folder/$file"
    fi
    if ! (cd "$folder" && printf '%s  %s\n' "$sum" "$file" | sha512sum --check --status); then
        rm -f "${folder:?}/$file"
        printf '%s: %s is not the file that the project knows (its checksum differs); it was thrown away\n' \
            "$program" "$file" >&2
        return 1
    fi
    rm -rf "${folder:?}/node_modules/$name"
    mkdir -p "$folder/node_modules/$name"
    tar -xzf "$folder/$file" -C "$folder/node_modules/$name" --strip-components=1
    printf '%s\n' "$sum" >"$folder/node_modules/$name/.sha512"
}
