// What was called in a world, what shall fail in it, and its configuration store.
#include "tests/support/world.h"
#include "tests/support/world_text.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace dashboard::testing {

namespace {

void add_rule(world_state& state, const failure_rule& rule) {
    const state_guard guard(state);
    for (failure_rule& free : state.failures) {
        if (free.times == 0) {
            free = rule;
            return;
        }
    }
    throw std::length_error("too many failures");
}

} // namespace

void test_world::fail(const std::string& call, int error, const std::string& about, int32_t times, int32_t skip) {
    failure_rule rule{};
    store(rule.call, call);
    store(rule.about, about);
    rule.times = times;
    rule.skip = skip;
    rule.error = error;
    add_rule(*shared, rule);
}

void test_world::fail_allocation(uint64_t size, int32_t times) {
    failure_rule rule{};
    store(rule.call, "mmap");
    rule.min_size = size;
    rule.times = times;
    rule.error = ENOMEM;
    add_rule(*shared, rule);
}

void test_world::fail_no_more() {
    const state_guard guard(*shared);
    std::fill(std::begin(shared->failures), std::end(shared->failures), failure_rule{});
}

void test_world::each_call(const std::function<void(const std::string& call, const char* text)>& take) const {
    if (shared->record_overflow != 0) {
        throw std::length_error("more calls than a world can write down");
    }
    const state_guard guard(*shared);
    const char* const end = shared->records + shared->record_used;
    for (const char* name = shared->records; name < end;) {
        const char* const text = name + strlen(name) + 1;
        take(name, text);
        name = text + strlen(text) + 1;
    }
}

std::vector<std::string> test_world::calls(const std::string& call) const {
    std::vector<std::string> texts;
    each_call([&](const std::string& name, const char* text) {
        if (name == call) {
            texts.emplace_back(text);
        }
    });
    return texts;
}

std::vector<std::string> test_world::calls_in_turn(const std::vector<std::string>& several) const {
    std::vector<std::string> lines;
    each_call([&](const std::string& name, const char* text) {
        if (std::find(several.begin(), several.end(), name) != several.end()) {
            lines.push_back(name + " " + text);
        }
    });
    return lines;
}

std::vector<std::string> test_world::syslog_lines() const {
    std::vector<std::string> lines = calls("syslog");
    for (std::string& line : lines) {
        line.erase(0, line.find(' ') + 1);
    }
    return lines;
}

std::vector<runner_command> test_world::commands() const {
    std::vector<runner_command> found;
    for (const std::string& text : calls("exec")) {
        char file_name[128];
        char func[128];
        int used = 0;
        runner_command one{};
        if (sscanf(text.c_str(), "%d %127s %127s %d %n", &one.pid, file_name, func, &one.line, &used) != 4) {
            throw std::runtime_error("odd command record: " + text);
        }
        one.file = file_name;
        one.func = func;
        one.command = text.substr(static_cast<size_t>(used));
        found.push_back(one);
    }
    return found;
}

void test_world::forget_calls() {
    const state_guard guard(*shared);
    shared->record_used = 0;
    shared->record_overflow = 0;
}

csman_row& csman_items::row(uint32_t csid) {
    for (csman_row& one : state.csman.rows) {
        if (one.csid == csid) {
            return one;
        }
    }
    for (csman_row& one : state.csman.rows) {
        if (one.csid == 0) {
            one = csman_row{};
            one.csid = csid;
            return one;
        }
    }
    throw std::length_error("too many csman items");
}

void csman_items::set(uint32_t csid, int32_t value) {
    const state_guard guard(state);
    csman_row& item = row(csid);
    item.kind = csman_number;
    item.number = value;
}

void csman_items::set_string(uint32_t csid, const std::string& text) {
    const state_guard guard(state);
    csman_row& item = row(csid);
    item.kind = csman_text;
    store(item.text, text);
}

void csman_items::unset(uint32_t csid) {
    const state_guard guard(state);
    row(csid).kind = csman_unset;
}

bool csman_items::has(uint32_t csid) const {
    const state_guard guard(state);
    const auto found = std::find_if(std::begin(state.csman.rows), std::end(state.csman.rows),
                                    [=](const csman_row& one) { return one.csid == csid; });
    return found != std::end(state.csman.rows) && found->kind != csman_unset;
}

int32_t csman_items::get(uint32_t csid) const {
    const state_guard guard(state);
    for (const csman_row& one : state.csman.rows) {
        if (one.csid == csid && one.kind == csman_number) {
            return one.number;
        }
    }
    throw std::out_of_range("csman item holds no number");
}

void csman_items::fail_open(int32_t times, int32_t answer) {
    const state_guard guard(state);
    state.csman.open_failures = times;
    state.csman.failed_open = answer;
}

void csman_items::fail_reads(uint32_t csid, int32_t times) {
    const state_guard guard(state);
    row(csid).read_failures = times;
}

void csman_items::fail_writes(uint32_t csid, int32_t times) {
    const state_guard guard(state);
    row(csid).write_failures = times;
}

void csman_items::block_open() {
    state.csman.open_blocks = 1;
}

void csman_items::block_close() {
    state.csman.close_blocks = 1;
}

void csman_items::slow_close(double seconds) {
    state.csman.close_ns = static_cast<int64_t>(seconds * 1e9);
}

void csman_items::block_reads(uint32_t csid) {
    const state_guard guard(state);
    row(csid).blocks = 1;
}

void csman_items::unblock_reads(uint32_t csid) {
    const state_guard guard(state);
    row(csid).blocks = 0;
}

void csman_items::keep_quiet() {
    state.csman.quiet = 1;
}

} // namespace dashboard::testing
