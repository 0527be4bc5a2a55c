// What is read of a document: its beginning and its end, in which the newest sample stands.
#ifndef EXPORTER_DOCUMENT_PIECE_H
#define EXPORTER_DOCUMENT_PIECE_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace dashboard {

/// Why a document says nothing.
enum class document_fault : uint8_t { none, missing, denied, empty, cut, malformed };

/// The longest end of a document that is looked at, in bytes: current traffic at its limits is shorter than this.
constexpr size_t longest_end = 65536;
/// The longest sample of the others: 16 WANs take 2,300 bytes.
constexpr size_t longest_sample = 4096;
/// One access point's: 16 counters of at most 54 bytes a line.
constexpr size_t longest_ap_sample = 1024;

/// Beginning and end of a file. Where it is short, the end is all of it.
struct document_piece {
    char head[40];
    size_t head_length;
    char end[longest_end];
    size_t end_length;
    uint64_t size;   // of the file
    int64_t written; // when, in seconds since 1970
};

/// The newest sample of a series document.
struct newest_sample {
    bool there;             // false: the document has no sample yet
    int32_t time;           // the lower 32 bits of the seconds since 1970
    std::string_view lines; // what follows its time, up to the end of the document
};

/// Whether the piece is of a document that is whole: it begins and ends as one does, and no other line is its last.
document_fault check_piece(const document_piece& piece);

/// Finds the newest sample in a piece that was checked.
document_fault find_newest(const document_piece& piece, newest_sample& sample);

/// What a whole document holds between its first two lines and its last one; `piece` must hold all of it.
std::string_view lines_of_document(const document_piece& piece);

/// One element: "<name>text</name>", or "<item name="attribute">text</item>".
struct document_element {
    std::string_view name;
    std::string_view attribute; // empty: none
    std::string_view text;
};

/// Takes the next line off `lines`. False when it is no element; the line is taken all the same.
bool take_element(std::string_view& lines, document_element& element);

} // namespace dashboard

#endif
