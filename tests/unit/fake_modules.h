// Modules in place of the daemon's own: they write down how they are called and answer what the test says.
#ifndef TESTS_UNIT_FAKE_MODULES_H
#define TESTS_UNIT_FAKE_MODULES_H

#include "core/dashboard_registry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace dashboard::testing {

// The handle that the double of the configuration store gives out.
inline constexpr int store_handle = 7;

// Places of modules in the registry.
inline constexpr int32_t mem = 1;
inline constexpr int32_t wan = 2;
inline constexpr int32_t lan = 4;

// How the double writes down what it was asked about an item: "read_int 7 0x150780".
inline std::string store_call(const char* call, uint32_t csid) {
    std::ostringstream text;
    text << call << " " << store_handle << " 0x" << std::hex << csid;
    return text.str();
}

struct fake_module {
    int init_answer = 1;
    int check_answer = 1;
    int term_answer = 1;
    int loop_answer = 1;
};

// Takes the place of every callback set for as long as it lives. One at a time.
class fake_modules {
public:
    fake_modules() {
        current = this;
        load_registry();
        fill(std::make_integer_sequence<int, module_count>());
        for (int32_t i = 0; i < module_count; ++i) {
            reg_monitor_cb[i].callbacks = &sets[i];
            *find_timeout_value(i) = 0;
        }
    }
    ~fake_modules() {
        load_registry();
        current = nullptr;
    }
    fake_modules(const fake_modules&) = delete;
    fake_modules& operator=(const fake_modules&) = delete;

    // The calls since this was asked last, oldest first: "init 3", "check 3", "loop 3", "term 3".
    std::vector<std::string> calls() { return std::exchange(called, {}); }

    fake_module answers[module_count];
    monitor_cb sets[module_count]{};
    std::function<void(int)> during_check = [](int) {}; // given the module's index
    std::function<void(int)> during_loop = [](int) {};

private:
    static inline fake_modules* current = nullptr;
    std::vector<std::string> called;

    void note(const char* what, int module, int handle) {
        EXPECT_EQ(handle, store_handle);
        called.push_back(std::string(what) + " " + std::to_string(module));
    }
    static void expect_own(int module, const int32_t* viewer, const monitor_cb* callbacks) {
        EXPECT_EQ(viewer, &reg_monitor_cb[module].viewer_request);
        EXPECT_EQ(callbacks, reg_monitor_cb[module].callbacks);
    }

    template <int module>
    static int init(int handle, int unused) {
        EXPECT_EQ(unused, 0);
        current->note("init", module, handle);
        return current->answers[module].init_answer;
    }
    template <int module>
    static int check(int handle, int32_t* viewer, const monitor_cb* callbacks) {
        expect_own(module, viewer, callbacks);
        current->note("check", module, handle);
        current->during_check(module);
        return current->answers[module].check_answer;
    }
    template <int module>
    static int term(int handle, int unused) {
        EXPECT_EQ(unused, 0);
        current->note("term", module, handle);
        return current->answers[module].term_answer;
    }
    template <int module>
    static int loop(int handle, int32_t* viewer, const monitor_cb* callbacks) {
        expect_own(module, viewer, callbacks);
        current->note("loop", module, handle);
        current->during_loop(module);
        return current->answers[module].loop_answer;
    }
    template <int module>
    void fill_set() {
        sets[module].init = init<module>;
        sets[module].check = check<module>;
        sets[module].term = term<module>;
        sets[module].loop = loop<module>;
    }
    template <int... modules>
    void fill(std::integer_sequence<int, modules...> /*all*/) {
        (fill_set<modules>(), ...);
    }
};

// Makes row `module` one that runs: initialised and enabled.
inline void let_run(int32_t module) {
    reg_monitor_cb[module].initialised = 1;
    reg_monitor_cb[module].enabled = 1;
    reg_monitor_cb[module].previous_enabled = 1;
}

inline void let_all_rest() {
    for (monitor_entry& row : reg_monitor_cb) {
        row.initialised = 0;
    }
}

} // namespace dashboard::testing

#endif
