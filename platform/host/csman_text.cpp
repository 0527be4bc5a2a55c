#include "platform/host/csman_text.h"

#include <cstring>

namespace dashboard {

namespace {

constexpr char int_prefix[] = "int ";
constexpr char string_prefix[] = "string ";

bool starts_with(const char* text, size_t length, const char* prefix) {
    const size_t size = strlen(prefix);
    return length >= size && memcmp(text, prefix, size) == 0;
}

} // namespace

size_t format_decimal(int64_t value, char* out) {
    char digits[20];
    size_t count = 0;
    int64_t rest = value < 0 ? -value : value;
    do {
        digits[count++] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest > 0);
    size_t length = 0;
    if (value < 0) {
        out[length++] = '-';
    }
    while (count > 0) {
        out[length++] = digits[--count];
    }
    return length;
}

bool parse_decimal(const char* text, size_t length, int32_t& value) {
    const bool negative = length > 0 && text[0] == '-';
    size_t at = negative ? 1 : 0;
    if (at == length) {
        return false;
    }
    int64_t sum = 0;
    for (; at < length; at++) {
        if (text[at] < '0' || text[at] > '9') {
            return false;
        }
        sum = sum * 10 + (text[at] - '0');
        if (sum > int64_t{INT32_MAX} + 1) {
            return false;
        }
    }
    if (!negative && sum > INT32_MAX) {
        return false;
    }
    value = static_cast<int32_t>(negative ? -sum : sum);
    return true;
}

size_t format_item(const store_item& item, char (&out)[item_text_max]) {
    const char* prefix = item.is_string ? string_prefix : int_prefix;
    size_t length = strlen(prefix);
    memcpy(out, prefix, length);
    if (item.is_string) {
        if (item.length > store_text_max || memchr(item.text, 0, item.length) != nullptr) {
            return 0;
        }
        memcpy(out + length, item.text, item.length);
        length += item.length;
    } else {
        length += format_decimal(item.number, out + length);
    }
    out[length++] = '\n';
    return length;
}

bool parse_item(const char* text, size_t length, store_item& item) {
    if (length == 0 || text[length - 1] != '\n') {
        return false;
    }
    length--;
    if (starts_with(text, length, int_prefix)) {
        const size_t skip = strlen(int_prefix);
        int32_t number = 0;
        if (!parse_decimal(text + skip, length - skip, number)) {
            return false;
        }
        item.is_string = false;
        item.number = number;
        return true;
    }
    if (!starts_with(text, length, string_prefix)) {
        return false;
    }
    const size_t skip = strlen(string_prefix);
    if (length - skip > store_text_max || memchr(text, 0, length) != nullptr) {
        return false;
    }
    item.is_string = true;
    item.length = length - skip;
    memcpy(item.text, text + skip, item.length);
    return true;
}

void store_item_name(uint32_t csid, char (&name)[store_name_size]) {
    name[0] = '0';
    name[1] = 'x';
    for (size_t at = 9; at >= 2; at--) {
        name[at] = "0123456789abcdef"[csid & 15];
        csid >>= 4;
    }
    name[10] = '\0';
}

bool store_parse_name(const char* name, uint32_t& csid) {
    if (strlen(name) != store_name_size - 1 || name[0] != '0' || name[1] != 'x') {
        return false;
    }
    uint32_t sum = 0;
    for (const char* at = name + 2; *at != '\0'; at++) {
        const bool digit = *at >= '0' && *at <= '9';
        if (!digit && (*at < 'a' || *at > 'f')) {
            return false;
        }
        sum = sum << 4 | static_cast<uint32_t>(digit ? *at - '0' : *at - 'a' + 10);
    }
    csid = sum;
    return true;
}

} // namespace dashboard
