#include "exporter/router_readings.h"

#include <cstring>

namespace dashboard {

namespace {

constexpr const char* fixed_stems[first_bond_document] = {"cpu_usage",       "mem_usage",        "wan_traffic",
                                                          "lan_traffic",     "wifi_24g_traffic", "wifi_5g_traffic",
                                                          "aptraffic_allap", "current_traffic",  "sim_strquality"};

/// Ages are taken in 32 bits, as the daemon's times are: they go on past the year 2038.
int64_t age_of(int32_t time, int64_t now) {
    return static_cast<int32_t>(static_cast<uint32_t>(now) - static_cast<uint32_t>(time));
}

void set_age(document_reading& document, int64_t age) {
    document.has_age = true;
    document.age = age;
    document.stale = age > fresh_for || age < -fresh_for;
}

void take_series(size_t place, const document_piece& piece, int64_t now, router_readings& readings) {
    document_reading& document = readings.documents[place];
    newest_sample sample;
    document.fault = find_newest(piece, sample);
    if (document.fault != document_fault::none || !sample.there) {
        return;
    }
    set_age(document, age_of(sample.time, now));
    if (!document.stale) {
        take_lines(place, sample.lines, readings);
    }
}

/// Current traffic has no time of its own: its file's is taken. One that was written before anything was sampled is
/// empty.
void take_current(const document_piece& piece, int64_t now, router_readings& readings) {
    document_reading& document = readings.documents[current_document];
    if (piece.end_length < piece.size) {
        document.fault = document_fault::malformed; // longer than 75 interfaces and all ports
        return;
    }
    const std::string_view lines = lines_of_document(piece);
    if (lines.empty()) {
        return;
    }
    set_age(document, now - piece.written);
    if (!document.stale) {
        take_current_lines(lines, readings);
    }
}

/// How much of its end is looked at.
size_t end_of_document(size_t place) {
    if (place >= first_ap_document) {
        return longest_ap_sample;
    }
    return place == current_document ? longest_end : longest_sample;
}

void read_document(const document_source& source, size_t place, int64_t now, router_readings& readings,
                   document_piece& piece) {
    document_reading& document = readings.documents[place];
    document.listed = true;
    document.stale = true;
    document.fault = source.read(source.context, document_file(place).text(), end_of_document(place), piece);
    if (document.fault != document_fault::none) {
        return;
    }
    document.fault = check_piece(piece);
    if (document.fault != document_fault::none) {
        return;
    }
    if (place == current_document) {
        take_current(piece, now, readings);
    } else {
        take_series(place, piece, now, readings);
    }
}

} // namespace

short_text document_label(size_t place) {
    short_text label;
    if (place < first_bond_document) {
        return label << fixed_stems[place];
    }
    if (place < first_ap_document) {
        return label << "bond_traffic_" << static_cast<uint32_t>(place - first_bond_document);
    }
    return label << "aptraffic_" << static_cast<uint32_t>(place - first_ap_document);
}

short_text document_file(size_t place) {
    short_text file;
    if (place < first_bond_document) {
        return file << fixed_stems[place] << (place == allap_document ? "_sec.xml" : "_sec_0.xml");
    }
    if (place < first_ap_document) {
        return file << "bond_traffic_sec_" << static_cast<uint32_t>(place - first_bond_document) << ".xml";
    }
    return file << "aptraffic_sec_" << static_cast<uint32_t>(place - first_ap_document) << ".xml";
}

void read_documents(const document_source& source, int64_t now, const bool (&bond_configured)[bond_total],
                    router_readings& readings) {
    memset(&readings, 0, sizeof readings);
    document_list there = {};
    source.list(source.context, there);
    document_piece piece;
    for (size_t place = 0; place < first_bond_document; ++place) {
        read_document(source, place, now, readings, piece);
    }
    for (size_t bond = 0; bond < bond_total; ++bond) {
        if (there.bond[bond] || bond_configured[bond]) {
            read_document(source, first_bond_document + bond, now, readings, piece);
        }
    }
    for (size_t ap = 0; ap < ap_total; ++ap) {
        if (there.ap[ap]) {
            read_document(source, first_ap_document + ap, now, readings, piece);
        }
    }
}

} // namespace dashboard
