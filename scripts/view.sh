# The terminal view of scripts/run: the newest figures, a line a module, with the daemon's messages above them. Read by
# scripts/run-inside, whose table of modules, port and log it shows.
# shellcheck shell=bash disable=SC2154

# Sets `newest` to the newest document of a row's pattern; empty when none is there.
find_newest() {
    local file
    newest=
    # shellcheck disable=SC2231 # the pattern is one
    for file in /usr/www/$1.xml; do
        if [[ -e $file && (-z $newest || $file -nt $newest) ]]; then
            newest=$file
        fi
    done
}

exec {screen}>&1
rows=0
columns=0
drawn=0
mark=
plain=

# Sets `rows` and `columns` to the terminal's, 0 where lines just follow each other.
measure_terminal() {
    local height=0 width=0
    if [[ -t 1 && ${TERM:-dumb} != dumb ]]; then
        read -r height width < <(stty size <&"$screen" 2>/dev/null) || true
    fi
    # Lines of another width have wrapped: what was drawn is left as it is.
    [[ $width == "$columns" && $height == "$rows" ]] || drawn=0
    rows=$height
    columns=$width
    if ((rows > 0)) && [[ -z ${NO_COLOR:-} ]]; then
        mark=$'\e[1m'
        plain=$'\e[0m'
    fi
}

# The rows for view.awk.
print_rows() {
    local row label documents kind interfaces none newest number
    for row in "${modules[@]}"; do
        IFS='|' read -r label _ documents kind _ interfaces <<<"$row"
        none='no samples yet'
        if [[ -n $interfaces ]] && ! compgen -G "/sys/class/net/$interfaces" >/dev/null; then
            none="no interface $interfaces here"
        fi
        find_newest "$documents"
        if [[ $documents == *'['* ]]; then
            number=${newest%.xml}
            label="$label ${number##*_}"
        fi
        printf '%s|%s|%s|%s\n' "$label" "$kind" "$newest" "$none"
    done
}

# Everything that a view changes goes out at once: up to the last one's first line, new messages, the lines.
show_all() {
    local head text
    measure_terminal
    printf -v head -- '--- %(%T)T  http://127.0.0.1:%d/' -1 "$port"
    text=$(print_rows | awk -v now="$(date +%s)" -v width="$columns" -v height="$((rows > 2 ? rows - 2 : 0))" \
        -v mark="$mark" -v plain="$plain" -f "$house/view.awk")
    if ((rows > 0)); then
        head=${head:0:columns-1}
        ((drawn == 0)) || printf '\e[%dA\e[J' "$drawn"
    fi
    show_messages
    printf '%s\n%s\n' "$head" "$text"
    head+=$'\n'$text
    head=${head//[!$'\n']/}
    drawn=$((${#head} + 1))
}

# What the daemon has said since the last time.
show_messages() {
    local line
    while IFS= read -r -u "$log" line; do
        if ((columns > 0)); then line=${line:0:columns-1}; fi
        printf '%s\n' "$line"
    done
}
