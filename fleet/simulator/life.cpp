#include "fleet/simulator/life.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>

namespace dashboard {

namespace {

struct happening_word {
    const char* word;
    happening_kind kind;
    bool has_link;
    bool has_number;
};

constexpr happening_word happening_words[] = {
    {"reboot", happening_kind::reboot, false, false},
    {"gone", happening_kind::gone, false, false},
    {"silent", happening_kind::silent, false, false},
    {"slow", happening_kind::slow, false, true},
    {"daemon_dead", happening_kind::daemon_dead, false, false},
    {"stale", happening_kind::stale, false, false},
    {"down", happening_kind::down, true, false},
    {"restart", happening_kind::restart, true, false},
    {"cpu", happening_kind::cpu, false, true},
    {"memory", happening_kind::memory, false, true},
    {"connections", happening_kind::connections, false, true},
    {"signal", happening_kind::signal, false, true},
    {"sim_flap", happening_kind::sim_flap, false, true},
    {"clock", happening_kind::clock, false, true},
};

/// "7" or "3/20".
bool read_routers(const std::string& word, happening& what) {
    std::istringstream in(word);
    char stroke = 0;
    what.modulus = 0;
    if (!(in >> what.remainder) || what.remainder < 0) {
        return false;
    }
    if (!(in >> stroke)) {
        return true;
    }
    return stroke == '/' && in >> what.modulus && what.modulus > 0 &&
           in.peek() == std::istringstream::traits_type::eof();
}

bool read_times(std::istringstream& in, happening& what) {
    if (!(in >> what.from >> what.to >> what.every)) {
        return false;
    }
    return what.from >= 0 && what.to >= what.from && (what.every == 0 || what.every > what.to - what.from);
}

bool read_argument(std::istringstream& in, const happening_word& word, happening& what) {
    what.kind = word.kind;
    if (word.has_link) {
        return static_cast<bool>(in >> what.link);
    }
    if (!word.has_number) {
        return true;
    }
    // A SIM flaps every so many seconds.
    return in >> what.number && (word.kind != happening_kind::sim_flap || what.number > 0);
}

bool read_line(const std::string& line, happening& what) {
    std::istringstream in(line);
    std::string routers;
    std::string kind;
    std::string rest;
    if (!read_times(in, what) || !(in >> routers >> kind) || !read_routers(routers, what)) {
        return false;
    }
    const auto* const word = std::find_if(std::begin(happening_words), std::end(happening_words),
                                          [&](const happening_word& known) { return kind == known.word; });
    return word != std::end(happening_words) && read_argument(in, *word, what) && !(in >> rest);
}

bool concerns(const happening& what, int router) {
    return what.modulus == 0 ? router == what.remainder : router % what.modulus == what.remainder;
}

} // namespace

std::string read_life(const std::string& text, happenings& life) {
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        line.resize(std::min(line.find('#'), line.size()));
        if (std::all_of(line.begin(), line.end(), [](unsigned char c) { return std::isspace(c) != 0; })) {
            continue;
        }
        happening what{};
        if (!read_line(line, what)) {
            return "line " + std::to_string(number) + ": " + line;
        }
        life.push_back(what);
    }
    return "";
}

happenings life_of(const happenings& life, int router) {
    happenings own;
    std::copy_if(life.begin(), life.end(), std::back_inserter(own),
                 [router](const happening& what) { return concerns(what, router); });
    return own;
}

int64_t turn_start(const happening& what, int64_t t) {
    return what.every == 0 ? what.from : what.from + (t - what.from) / what.every * what.every;
}

const happening* under_way(const happenings& life, happening_kind kind, const std::string& link, int64_t t) {
    for (const happening& what : life) {
        if (what.kind != kind || what.link != link || t < what.from) {
            continue;
        }
        if (t - turn_start(what, t) < what.to - what.from) {
            return &what;
        }
    }
    return nullptr;
}

int64_t last_end(const happening& what, int64_t t) {
    const int64_t length = what.to - what.from;
    if (t < what.to) {
        return -1;
    }
    return turn_start(what, t - length) + length;
}

void add_turns(const happening& what, interval within, std::vector<interval>& turns) {
    const int64_t length = what.to - what.from;
    int64_t start = turn_start(what, std::max(within.from - length, what.from));
    while (start < within.to) {
        const interval cut = {std::max(start, within.from), std::min(start + length, within.to)};
        if (cut.from < cut.to) {
            turns.push_back(cut);
        }
        if (what.every == 0) {
            return;
        }
        start += what.every;
    }
}

} // namespace dashboard
