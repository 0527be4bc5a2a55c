#include "ctl/screen.h"

#include <cstdlib>
#include <cstring>
#include <sys/ioctl.h>
#include <unistd.h>

namespace dashboard {

screen_style style_of_output() {
    screen_style style;
    const char* const no_colour = getenv("NO_COLOR");
    const char* const terminal = getenv("TERM");
    const bool is_terminal = isatty(STDOUT_FILENO) != 0;
    style.colours = is_terminal && (no_colour == nullptr || *no_colour == '\0') && terminal != nullptr &&
                    strcmp(terminal, "dumb") != 0;
    winsize size = {};
    if (is_terminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        style.width = size.ws_col < 20 ? 20 : size.ws_col;
    }
    return style;
}

std::string coloured(const screen_style& style, tone tone, const std::string& text) {
    if (!style.colours) {
        return text;
    }
    const char* code = "2";
    switch (tone) {
    case tone::good:
        code = "32";
        break;
    case tone::caution:
        code = "33";
        break;
    case tone::bad:
        code = "31;1";
        break;
    case tone::faint:
        break;
    }
    return std::string("\033[") + code + "m" + text + "\033[0m";
}

std::string fitted(const std::string& text, int width) {
    const size_t columns = static_cast<size_t>(width);
    return text.size() <= columns ? text : text.substr(0, columns - 3) + "...";
}

std::string wrapped(const std::string& text, int width, int indent) {
    const size_t columns = static_cast<size_t>(width);
    std::string shown;
    std::string line;
    for (size_t start = 0; start <= text.size();) {
        size_t end = text.find(' ', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string word = text.substr(start, end - start);
        if (!line.empty() && line.size() + 1 + word.size() > columns) {
            shown += line + "\n";
            line = std::string(static_cast<size_t>(indent), ' ') + word;
        } else {
            line += (line.empty() ? "" : " ") + word;
        }
        start = end + 1;
    }
    return shown + line;
}

} // namespace dashboard
