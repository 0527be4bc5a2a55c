#include "probes/dashboard_aptraffic.h"

#include "base/dashboard_log.h"
#include "probes/text_scan.h"
#include "probes/text_source.h"

#include <charconv>
#include <cstring>
#include <iterator>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char records[] = "/tmp/aptraffic/APTraffic_"; // and the number of the access point
constexpr int record_counters = 17 * 3;

/// Reads "APMgnt_Info_Traffic_@a,b,c@_@" and eight groups "a,b,c@" a band, "_@" between the bands, stopping at the
/// first mismatch as scanf does. What follows the last group is of no interest.
struct record_scanner {
    text_cursor& source;
    int parsed = 0;     // counters so far
    bool agrees = true; // nothing has been amiss yet
    bool ended = false; // the line ended where more was expected; looked at before the first counter only

    void literal(const char* text) {
        if (!agrees) {
            return;
        }
        agrees = scan_literal(source, text);
        ended = !agrees && source.peek() == -1;
    }
    void counter(unsigned long long& out) {
        if (!agrees) {
            return;
        }
        if (parsed == 0) {
            scan_space(source);
            ended = source.peek() == -1;
        }
        agrees = scan_unsigned(source, out);
        parsed += agrees ? 1 : 0;
    }
    void group(unsigned long long& first, unsigned long long& second, unsigned long long& txrx) {
        counter(first);
        literal(",");
        counter(second);
        literal(",");
        counter(txrx);
        literal("@");
    }
    void band(unsigned long long* first, unsigned long long* second, unsigned long long* txrx) {
        literal("_@");
        for (int32_t k = 0; k < vap_limit; ++k) {
            group(first[k], second[k], txrx[k]);
        }
    }
    /// What sscanf would return: -1 for a line that ends before the first counter.
    int result() const { return parsed == 0 && ended ? -1 : parsed; }
};

int scan_record(text_source& text, ap_traffic_record& record) {
    text.in_line = true;
    record_scanner scanner{text};
    scanner.literal("APMgnt_Info_Traffic_@");
    scanner.group(record.ap_first, record.ap_second, record.ap_txrx);
    scanner.band(record.vap24_first, record.vap24_second, record.vap24_txrx);
    scanner.band(record.vap50_first, record.vap50_second, record.vap50_txrx);
    return scanner.result();
}

} // namespace

int32_t get_ap_traffic_info(const char* path, ap_traffic_record* record) {
    text_source text(open_without_waiting(path));
    if (text.fd < 0) {
        return 0;
    }
    if (text.peek() == -1) {
        // Deliberate: an empty file stays open. A pipe has no place there and counts as unreadable.
        if (is_pipe(text.fd)) {
            close(text.fd);
        }
        return 0;
    }
    const int parsed = scan_record(text, *record);
    close(text.fd);
    if (parsed == record_counters) {
        return 1;
    }
    _warn("get_ap_traffic_info", __LINE__, "sscanf rturn %d, should be 17*3", parsed);
    return 0;
}

int32_t read_access_point(int32_t ap, ap_traffic_record* record) {
    char path[sizeof records + 11] = {}; // and the longest number
    memcpy(path, records, sizeof records - 1);
    std::to_chars(path + sizeof records - 1, std::end(path), ap);
    return get_ap_traffic_info(path, record);
}

} // namespace dashboard
