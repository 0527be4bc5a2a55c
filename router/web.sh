# The web server of a box, as a viewer of the page uses it. Read by scripts that set `port` of 127.0.0.1 and `folder`, which
# documents and answers are put into.
# shellcheck shell=bash

: "${port:?}" "${folder:?}"
readonly address=http://127.0.0.1:$port

# What the page sends for all of its graphs.
readonly request='cpu=1&mem=1&wan=1&bond=1&lan=1&wifi24=1&wifi5=1&ap=1&allap=1&current=1&sim=1'

# Asks for all graphs, as the page does. Its requests last a minute.
ask_for_graphs() {
    ((SECONDS >= asked + 20)) || return 0
    curl -sS --fail --max-time 20 -o "$folder/answer" -H 'X-Requested-With: dashboard-viewer' \
        -H 'Sec-Fetch-Site: same-origin' --data "$request" "$address/cgi-bin/viewer" || return 1
    asked=$SECONDS
}
asked=-60

fetch() {
    curl -sS --fail --max-time 20 -o "$folder/$1.xml.new" "$address/$1.xml" 2>/dev/null || return 1
    # A document may be replaced while it is sent.
    grep -q '</datalist>' "$folder/$1.xml.new" || return 1
    mv "$folder/$1.xml.new" "$folder/documents/$1.xml"
}
