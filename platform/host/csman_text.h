// An item as the name and the text of its file, and back: pure functions on fixed buffers.
#ifndef PLATFORM_HOST_CSMAN_TEXT_H
#define PLATFORM_HOST_CSMAN_TEXT_H

#include "platform/host/csman_store.h"

namespace dashboard {

/// "0x" and eight digits, with the terminator.
constexpr size_t store_name_size = 11;

/// The longest file: "string ", the text, a newline.
constexpr size_t item_text_max = 7 + store_text_max + 1;

/// Writes `value` in decimal at `out` (room for 11 bytes). Returns its length; no terminator.
size_t format_decimal(int64_t value, char* out);

/// Reads a decimal 32-bit number that fills `text` entirely: an optional minus and digits. False when it is not one.
bool parse_decimal(const char* text, size_t length, int32_t& value);

/// The text of an item's file. Returns its length, or 0 when the item can't be stored (too long, or holds a NUL).
size_t format_item(const store_item& item, char (&out)[item_text_max]);

/// The item that a file's text describes. False, and `item` as it was, when it describes none.
bool parse_item(const char* text, size_t length, store_item& item);

/// The name of an item's file.
void store_item_name(uint32_t csid, char (&name)[store_name_size]);

/// The csid behind a file name. False when it is not an item's.
bool store_parse_name(const char* name, uint32_t& csid);

} // namespace dashboard

#endif
