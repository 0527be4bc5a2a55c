#include "tests/daemon/wan_model.h"

#include <algorithm>

namespace dashboard::testing {

namespace {

void add_elements(std::string& text, size_t number, const wan_bytes& bytes) {
    const std::string name = "wan" + std::to_string(number);
    const auto element = [&](const std::string& kind, uint64_t value) {
        text += "    <" + name + "_" + kind + ">" + std::to_string(value) + "</" + name + "_" + kind + ">\n";
    };
    element("tx", bytes.tx);
    element("rx", bytes.rx);
    element("txrx", bytes.both);
}

} // namespace

void wan_list::push(const wan_point& point) {
    points.push_back(point);
    pushed += 1;
    if (points.size() > 119) {
        points.pop_front();
    }
}

std::string wan_list::document() const {
    std::string text = "<?xml version=\"1.0\" ?>\n<datalist>\n";
    const size_t shown = std::min<size_t>(points.size(), 72);
    for (size_t i = points.size() - shown; i < points.size(); ++i) {
        text += "    <time>" + std::to_string(points[i].time) + "000</time>\n";
        for (size_t slot = 0; slot < points[i].wan.size(); ++slot) {
            add_elements(text, slot + 1, points[i].wan[slot]);
        }
    }
    return text + "</datalist>\n";
}

std::optional<wan_point> wan_list::average(int64_t first, int64_t end, int64_t now) const {
    wan_point sum;
    uint64_t count = 0;
    for (int64_t i = first; i != end; i = (i + 1) % 120) {
        if (i >= static_cast<int64_t>(points.size())) {
            continue;
        }
        const wan_point& point = points[static_cast<size_t>(i)];
        sum.wan.resize(point.wan.size());
        for (size_t slot = 0; slot < point.wan.size(); ++slot) {
            sum.wan[slot].tx += point.wan[slot].tx;
            sum.wan[slot].rx += point.wan[slot].rx;
            sum.wan[slot].both += point.wan[slot].both;
        }
        count += 1;
    }
    if (count == 0) {
        return {};
    }
    for (wan_bytes& one : sum.wan) {
        one = {one.tx / count, one.rx / count, one.both / count};
    }
    sum.time = now;
    return sum;
}

wan_model::wan_model(int64_t now) {
    min.last_roll_up = now;
    hour.last_roll_up = now;
    sec_document = min_document = hour_document = sec.document();
}

void wan_model::cycle(int64_t now, const std::vector<wan_bytes>& wan, bool watched) {
    sec.push({now, wan});
    if (watched) {
        sec_document = sec.document();
    }
    const int64_t passed = now - min.last_roll_up;
    if (passed >= -59 && passed <= 59) {
        return;
    }
    const std::optional<wan_point> average = sec.average(min.rolled_up_to, sec.slot(), now);
    if (!average) {
        empty_roll_ups += 1;
        return;
    }
    min.rolled_up_to = sec.slot();
    min.last_roll_up = now;
    min.push(*average);
    min_roll_ups += 1;
    if (watched) {
        min_document = min.document();
    }
    roll_up_hour(now);
}

void wan_model::roll_up_hour(int64_t now) {
    const int64_t passed = now - hour.last_roll_up;
    if (passed >= -1799 && passed <= 3599) {
        return;
    }
    const std::optional<wan_point> average = min.average(hour.rolled_up_to, min.slot(), now);
    if (!average) {
        empty_roll_ups += 1;
        return;
    }
    hour.rolled_up_to = min.slot();
    hour.last_roll_up = now;
    hour.push(*average);
    hour_roll_ups += 1;
    hour_document = hour.document();
}

} // namespace dashboard::testing
