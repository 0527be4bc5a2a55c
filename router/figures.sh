# What processes cost, measured where they run. Read by router/measure and router/measure-here, which set `folder` for
# what is noted, and bring: at_place COMMAND, which runs a command of a plain shell there; still_there, which ends the
# script when the place is gone.
# shellcheck shell=bash

: "${folder:?}"

# What else this machine does, in the beginning and at the end.
load() {
    cut -d ' ' -f 1-3 /proc/loadavg
}
first_load=$(load)
readonly first_load

report_load() {
    printf "the host's load: %s before, %s after, on %d processors\n" "$first_load" "$(load)" "$(nproc)"
}

# note_process NAME PIDFILE WHEN: notes the nanoseconds on the processor and the wake-ups of each of a process's threads,
# the processor time of those children of it that have ended, in hundredths of a second, and the place's own time.
note_process() {
    # shellcheck disable=SC2016 # the place's shell expands it
    local thread='thread ${t##*/} $(cut -d " " -f 1 $t/schedstat) $(sed -n "s/^voluntary_ctxt_switches:.//p" $t/status)'
    # shellcheck disable=SC2016
    local tools='tools $(cut -d " " -f 16,17 /proc/$p/stat) $(cut -d " " -f 1 /proc/uptime)'
    at_place "p=\$(cat $2); for t in /proc/\$p/task/*; do echo $thread; done; echo $tools" >"$folder/$1.$3"
}

# note_memory NAME PIDFILE
note_memory() {
    at_place "grep -E '^(Pss|Anonymous):' /proc/\$(cat $2)/smaps_rollup" >"$folder/$1.memory"
}

# live SECONDS [COMMAND...]: so long, with the command run once a second.
live() {
    local end=$((SECONDS + $1))
    shift
    while ((SECONDS < end)); do
        still_there
        [[ $# -eq 0 ]] || "$@"
        sleep 1
    done
}

# threads NAME: a line for each thread that was noted before and after, in the order of their start: milliseconds on the
# processor and wake-ups, each a second; then one for its children; then one with the seconds between.
threads() {
    join -j 2 <(grep '^thread' "$folder/$1.before" | sort -k 2,2) <(grep '^thread' "$folder/$1.after" | sort -k 2,2) |
        sort -n | awk -v tools="$(paste -d ' ' <(grep '^tools' "$folder/$1.before") <(grep '^tools' "$folder/$1.after"))" '
            BEGIN { split(tools, t, " "); seconds = t[8] - t[4] }
            { printf "%.3f %.2f\n", ($6 - $3) / 1e6 / seconds, ($7 - $4) / seconds }
            END { printf "%.3f 0\n%d\n", (t[6] + t[7] - t[2] - t[3]) * 10 / seconds, seconds }'
}

# total NAME: all of that as one line: milliseconds a second, wake-ups a second, own memory, PSS, seconds.
total() {
    threads "$1" | awk -v memory="$(tr '\n' ' ' <"$folder/$1.memory")" '
        NF == 2 { ms += $1; wakes += $2 }
        END { split(memory, m, " "); own = m[1] == "Anonymous:" ? m[2] : m[5]; share = m[1] == "Pss:" ? m[2] : m[5]
              printf "%.2f %.1f %d %d %d\n", ms, wakes, own, share, $1 }'
}

# report_total NAME
report_total() {
    local ms wakes own share seconds
    read -r ms wakes own share seconds < <(total "$1")
    printf '%-10s %7s ms a second, %5s wake-ups a second, own memory %5d kB, PSS %5d kB (%d s)\n' \
        "$1" "$ms" "$wakes" "$own" "$share" "$seconds"
}

# ---- The daemon

readonly daemon_file=/var/run/dashboard_daemon.pid first_file=/tmp/dashboard/wan_traffic_sec_0.xml

# Keeps the times of the document's samples: each half minute's 72 newest overlap the ones before.
collect_times() {
    fetch wan_traffic_sec_0 || return 1
    sed -n 's:.*<time>\([0-9]*\)000</time>.*:\1:p' "$folder/documents/wan_traffic_sec_0.xml" >"$folder/times.new"
    uniq -d "$folder/times.new" >>"$folder/doubled"
    sort -u -n -o "$folder/times" "$folder/times.new" "$folder/times"
}

has_sample() {
    ask_for_graphs && fetch wan_traffic_sec_0 && grep -q '<time>' "$folder/documents/wan_traffic_sec_0.xml"
}

collected=0
view_page() {
    ask_for_graphs || true
    if ((SECONDS >= collected + 30)) && collect_times; then
        collected=$SECONDS
    fi
}

# measure_daemon MINUTES: of one that runs and has its first sample.
measure_daemon() {
    : >"$folder/times"
    : >"$folder/doubled"
    note_process dashboard "$daemon_file" before
    live $(($1 * 60)) view_page
    note_process dashboard "$daemon_file" after
    note_memory dashboard "$daemon_file"
    collect_times || true
}

report_daemon() {
    local names=(main server query)
    [[ $(threads dashboard | wc -l) -eq 5 ]] || die "not the same three threads before and after: $(threads dashboard)"
    paste -d ' ' <(printf '%s\n' "${names[@]}" tools) <(threads dashboard | head -n 4) |
        awk '{ printf "  %-8s %7.2f ms a second", $1, $2 } $1 != "tools" { printf ", %5.1f wake-ups a second", $3 } { print "" }'
    awk -v doubled="$(sort -u "$folder/doubled" | wc -l)" 'NR == 1 { first = $1 } { last = $1 }
        END { printf "  samples %7d in %d seconds, %d seconds without, %d with two\n", NR, last - first + 1,
                     last - first + 1 - NR, doubled }' "$folder/times"
}

# report_first_document STOP: of a daemon that the command STOP has ended, and that is started anew. What it would hold open
# of the command's output would never end.
report_first_document() {
    # shellcheck disable=SC2016 # the place's shell expands it
    local up='$(cut -d " " -f 1 /proc/uptime)'
    at_place "$1 >/dev/null; rm -f $first_file; b=$up; dashboard logs >/dev/null 2>&1; until [ -e $first_file ]; do sleep 0.01; done; echo \$b $up" |
        awk 'NF == 2 { printf "  first document %.2f s after the start\n", $2 - $1 }'
}
