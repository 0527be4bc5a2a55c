#include "platform/host/csmanctl_text.h"

#include "platform/host/csman_items.h"
#include "platform/host/csman_text.h"

#include <cstring>

namespace dashboard {

namespace {

constexpr char blanks[] = " \t\r";
constexpr char hex_digits[] = "0123456789abcdef";

/// The value of a digit in any base up to 16; 16 when it is none.
unsigned digit_value(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<unsigned>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<unsigned>(digit - 'a' + 10);
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<unsigned>(digit - 'A' + 10);
    }
    return 16;
}

bool is_hexadecimal(const std::string& text) {
    return text.compare(0, 2, "0x") == 0 || text.compare(0, 2, "0X") == 0;
}

std::string trim(const std::string& text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// One escape of a quoted text; `at` stands on the backslash and is moved to the escape's last character.
bool unescape(const std::string& quoted, size_t& at, char& out) {
    const char kind = at + 1 < quoted.size() ? quoted[at + 1] : '\0';
    at++;
    if (kind == 'n' || kind == 't') {
        out = kind == 'n' ? '\n' : '\t';
        return true;
    }
    if (kind == 'x' && at + 2 < quoted.size()) {
        const unsigned value = digit_value(quoted[at + 1]) * 16 + digit_value(quoted[at + 2]);
        const bool valid = digit_value(quoted[at + 1]) < 16 && digit_value(quoted[at + 2]) < 16 && value != 0;
        out = static_cast<char>(value);
        at += 2;
        return valid;
    }
    out = kind;
    return kind == '"' || kind == '\\';
}

bool is_known_string(uint32_t csid) {
    const item_family* family = find_family(csid);
    return family != nullptr && family->type == item_type::string;
}

bool make_checked_string(const std::string& text, store_item& item, std::string& why) {
    if (make_string(text, item)) {
        return true;
    }
    why = "a text has at most " + std::to_string(store_text_max) + " bytes, and no NUL";
    return false;
}

} // namespace

bool parse_unsigned(const std::string& text, unsigned long long limit, unsigned long long& value) {
    const bool hexadecimal = is_hexadecimal(text);
    const unsigned base = hexadecimal ? 16 : 10;
    size_t at = hexadecimal ? 2 : 0;
    if (at == text.size()) {
        return false;
    }
    value = 0;
    for (; at < text.size(); at++) {
        const unsigned digit = digit_value(text[at]);
        if (digit >= base || digit > limit || value > (limit - digit) / base) {
            return false;
        }
        value = value * base + digit;
    }
    return true;
}

bool parse_csid(const std::string& text, uint32_t& csid) {
    unsigned long long number = 0;
    if (!parse_unsigned(text, UINT32_MAX, number)) {
        return find_csid(text, csid);
    }
    csid = static_cast<uint32_t>(number);
    return true;
}

bool parse_integer(const std::string& text, int32_t& value) {
    if (!is_hexadecimal(text)) {
        return parse_decimal(text.data(), text.size(), value);
    }
    unsigned long long number = 0;
    if (!parse_unsigned(text, UINT32_MAX, number)) {
        return false;
    }
    value = static_cast<int32_t>(static_cast<uint32_t>(number));
    return true;
}

bool make_string(const std::string& text, store_item& item) {
    if (text.size() > store_text_max || text.find('\0') != std::string::npos) {
        return false;
    }
    item.is_string = true;
    item.length = text.size();
    memcpy(item.text, text.data(), text.size());
    return true;
}

bool make_item(uint32_t csid, const std::string& text, store_item& item, std::string& why) {
    if (is_known_string(csid)) {
        return make_checked_string(text, item, why);
    }
    item.is_string = false;
    if (parse_integer(text, item.number)) {
        return true;
    }
    why = "'" + text + "' is not a number from -2147483648 to 2147483647";
    if (find_family(csid) == nullptr) {
        why += "; a text is set with set-string, or quoted in a file";
    }
    return false;
}

bool make_item_from_line(uint32_t csid, const std::string& value, store_item& item, std::string& why) {
    if (value.empty()) {
        why = "the value is missing (an empty text is \"\")";
        return false;
    }
    if (value[0] != '"') {
        return make_item(csid, value, item, why);
    }
    std::string text;
    if (!unquote(value, text)) {
        why = "the quoted text is wrong: " + value;
        return false;
    }
    if (find_family(csid) == nullptr || is_known_string(csid)) {
        return make_checked_string(text, item, why);
    }
    why = "it holds a number, not a text";
    return false;
}

void split_line(const std::string& line, std::string& name, std::string& value) {
    const std::string content = trim(line);
    name.clear();
    value.clear();
    if (content.empty() || content[0] == '#') {
        return;
    }
    const size_t end = content.find_first_of(blanks);
    name = content.substr(0, end);
    if (end != std::string::npos) {
        value = trim(content.substr(end));
    }
}

std::string quote(const std::string& text) {
    std::string quoted = "\"";
    for (const char byte : text) {
        const unsigned value = static_cast<unsigned char>(byte);
        if (byte == '"' || byte == '\\') {
            quoted += '\\';
            quoted += byte;
        } else if (byte == '\n') {
            quoted += "\\n";
        } else if (byte == '\t') {
            quoted += "\\t";
        } else if (value < ' ' || value == 127) {
            quoted += "\\x";
            quoted += hex_digits[value >> 4];
            quoted += hex_digits[value & 15];
        } else {
            quoted += byte;
        }
    }
    return quoted + '"';
}

bool unquote(const std::string& quoted, std::string& text) {
    if (quoted.size() < 2 || quoted[0] != '"') {
        return false;
    }
    text.clear();
    size_t at = 1;
    for (; at < quoted.size() && quoted[at] != '"'; at++) {
        char byte = quoted[at];
        if (byte == '\\' && !unescape(quoted, at, byte)) {
            return false;
        }
        text += byte;
    }
    return at == quoted.size() - 1;
}

std::string value_text(const store_item& item) {
    if (item.is_string) {
        return quote(std::string(item.text, item.length));
    }
    return std::to_string(item.number);
}

} // namespace dashboard
