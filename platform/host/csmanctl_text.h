// How csmanctl writes and reads names and values.
#ifndef PLATFORM_HOST_CSMANCTL_TEXT_H
#define PLATFORM_HOST_CSMANCTL_TEXT_H

#include "platform/host/csmanctl.h"

#include <string>

namespace dashboard {

/// A csid from a readable name or a number (decimal, or hexadecimal after "0x"). False when it is neither.
bool parse_csid(const std::string& text, uint32_t& csid);

/// A whole number without a sign of at most `limit`, decimal or hexadecimal after "0x". False when it is not one.
bool parse_unsigned(const std::string& text, unsigned long long limit, unsigned long long& value);

/// An integer item's value: a decimal number of 32 bits with an optional minus, or a hexadecimal one after "0x" whose
/// top bit counts as the sign. False when it is not one.
bool parse_integer(const std::string& text, int32_t& value);

/// Fills a string item. False when the text is too long or holds a NUL.
bool make_string(const std::string& text, store_item& item);

/// What an item should become by `text`, as its type in the table says. An item that the table does not know becomes an
/// integer. On failure `why` says what is wrong.
bool make_item(uint32_t csid, const std::string& text, store_item& item, std::string& why);

/// The same for a line of a file, where a text may stand in double quotes: it must for an item that the table does not
/// know, and for a text with blanks at an end, a newline or a leading quote.
bool make_item_from_line(uint32_t csid, const std::string& value, store_item& item, std::string& why);

/// A line of a file. An empty name: nothing but blanks or a comment.
void split_line(const std::string& line, std::string& name, std::string& value);

/// A text in double quotes, with \" \\ \n \t and \xHH for what would not survive a line; and back.
std::string quote(const std::string& text);
bool unquote(const std::string& quoted, std::string& text);

/// An item's value as `load` reads it: a number, or a quoted text.
std::string value_text(const store_item& item);

} // namespace dashboard

#endif
