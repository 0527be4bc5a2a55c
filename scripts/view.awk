# The newest figures of the published documents, a line a module: the terminal view of scripts/run.
#
# Input: rows "label|kind|document|what is said without samples". Variables: `now`, seconds since the epoch; `width` and
# `height`, which no output exceeds (0: no bounds); `mark` and `plain`, what stands before and behind a label.
# Kinds: percent, memory, traffic (counters of bytes: what the newest three seconds have added, in bits a second), busy
# (the same without what stands at 0), signal, snapshot.

function bits(bytes) {
    bytes *= 8
    if (bytes >= 1000000000) return sprintf("%.1f Gbit/s", bytes / 1000000000)
    if (bytes >= 1000000) return sprintf("%.1f Mbit/s", bytes / 1000000)
    if (bytes >= 1000) return sprintf("%.1f kbit/s", bytes / 1000)
    return sprintf("%d bit/s", bytes)
}

# Takes a document apart: samples, time[n], fields, name[field], value[n, name]; usage and device lines as texts.
function read_document(file,    line, part, status) {
    samples = fields = devices = 0
    usage = ""
    while ((status = (getline line < file)) > 0) {
        split(line, part, /[<>]/)
        if (part[2] == "time") { time[++samples] = part[3] / 1000; fields = 0 }
        else if (part[2] == "usage") usage = part[3]
        else if (part[2] ~ /^item name="/) read_item(part[2], part[3])
        else if (samples && part[4] == "/" part[2]) { name[++fields] = part[2]; value[samples, part[2]] = part[3] }
    }
    close(file)
    return status == 0
}

function read_item(tag, text,    part) {
    split(tag, part, /["_]/)
    if (part[2] == "device") device[++devices] = text
    else if (part[2] == "txrate") device_tx[devices] = text
    else if (part[2] == "rxrate") device_rx[devices] = text
}

# What a counter has added a second; nothing where it fell, or where there is no time to compare with.
function rate(counter,    first, span) {
    first = samples > 3 ? samples - 3 : 1
    span = time[samples] - time[first]
    if (span <= 0 || value[samples, counter] < value[first, counter]) return "-"
    return bits((value[samples, counter] - value[first, counter]) / span)
}

# Counters come as NAME_rx, NAME_tx and NAME_txrx, in either case; the sum is left out where both parts are there.
function traffic(busy_only,    i, field, lower, stem, line, parts) {
    for (i = 1; i <= fields; i++) {
        field = name[i]
        lower = tolower(field)
        if (busy_only && value[samples, field] == 0) continue
        if (lower ~ /_txrx$/) {
            stem = substr(field, 1, length(field) - 5)
            if (!((samples, stem "_tx") in value) && !((samples, stem "_Tx") in value)) line = line "  " stem " " rate(field)
        } else {
            stem = substr(field, 1, length(field) - 3)
            line = line (stem == parts ? " " : "  " stem " ") substr(lower, length(lower) - 1) " " rate(field)
            parts = stem
        }
    }
    return line
}

function percent(text) { return text < 0 || text > 100 ? "-" : text " %" }

function processors(    i, line) {
    line = "  " percent(value[samples, name[1]])
    for (i = 2; i <= fields; i++) line = line (i == 2 ? "  cores " : ", ") percent(value[samples, name[i]])
    return line
}

function memory(    kilobytes) {
    kilobytes = value[samples, name[1]]
    if (kilobytes == 4294967295) return "  -"
    return kilobytes >= 1000000 ? sprintf("  %.2f GB used", kilobytes * 1.024 / 1000000) : sprintf("  %.1f MB used", kilobytes * 1.024 / 1000)
}

function signal(    slot, line, before) {
    for (slot = 1; slot <= 2; slot++) {
        before = "sim" slot "_"
        if ((samples, before "RSRP") in value)
            line = line "  " slot ": RSRP " value[samples, before "RSRP"] " dBm, SINR " value[samples, before "SINR"] " dB"
    }
    return line
}

function snapshot(    part, i, line) {
    if (split(usage, part, "|") == 3)
        line = "  CPU " percent(part[1]) "  memory " percent(part[2]) "  connections " percent(part[3])
    for (i = 1; i <= devices; i++) line = line "  " device[i] " rx " bits(device_rx[i]) " tx " bits(device_tx[i])
    return line
}

function figures(kind,    line) {
    if (kind == "percent") line = processors()
    else if (kind == "memory") line = memory()
    else if (kind == "signal") line = signal()
    else line = traffic(kind == "busy")
    if (now - time[samples] > 5) line = line sprintf("  (%d s old)", now - time[samples])
    return line
}

function clear() { split("", time); split("", value); split("", name) }

BEGIN { FS = "|" }

height && NR > height { exit }

{
    clear()
    if ($3 == "" || !read_document($3)) text = "  not published yet"
    else if ($2 == "snapshot") text = snapshot()
    else text = samples ? figures($2) : "  " $4
    if (width) text = substr(text, 1, width > 11 ? width - 11 : 0)
    printf "%s%-10s%s%s\n", mark, width ? substr($1, 1, width - 1) : $1, plain, text
}
