// What is shown on a terminal, or into a pipe.
#ifndef CTL_SCREEN_H
#define CTL_SCREEN_H

#include "ctl/status.h"

#include <string>

namespace dashboard {

/// How to show: colours only on a terminal whose user has not switched them off (NO_COLOR, TERM=dumb).
struct screen_style {
    bool colours = false;
    int width = 80; // columns
};

enum class tone { good, caution, bad, faint };

/// The style for standard output as it is now.
screen_style style_of_output();

std::string coloured(const screen_style& style, tone tone, const std::string& text);

/// Cuts a text that is longer than the width, and says so with "...".
std::string fitted(const std::string& text, int width);

/// Words broken into lines of the width, every line but the first behind `indent` blanks.
std::string wrapped(const std::string& text, int width, int indent);

std::string status_text(const status_look& status, const screen_style& style);
std::string status_json(const status_look& status);

} // namespace dashboard

#endif
