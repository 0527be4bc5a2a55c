#include "platform/host/csmanctl.h"

#include "platform/host/csman_items.h"
#include "platform/host/csmanctl_text.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace dashboard {

namespace {

using arguments = std::vector<std::string>;

constexpr char help_text[] =
    "Usage: csmanctl COMMAND [ARGUMENT...]\n"
    "Looks at and changes the items of the configuration store.\n"
    "\n"
    "  get ITEM                    print the value of an item\n"
    "  set ITEM VALUE              set an item: a number, or a text where the item holds one\n"
    "  set-string ITEM TEXT        set an item to a text\n"
    "  unset ITEM                  make an item unset\n"
    "  list [--all]                print every item that is set; --all: the known ones that are not set too\n"
    "  load FILE                   set what FILE says, all of it or nothing; '-' is the standard input\n"
    "  watch [--count N] [ITEM...] print items, then each change (N changes; else until interrupted)\n"
    "  items [--markdown]          print the table of known items\n"
    "\n"
    "ITEM is a name (wan.enable, wan.binding.3) or a number (0x150785). FILE holds lines 'ITEM VALUE' as list\n"
    "prints them; '#' begins a comment line.\n"
    "\n"
    "The store is the directory CSMAN_DIR, or /run/csman.\n"
    "Exit status: 0 done; 1 failed, or the item is unset; 2 the command line is wrong.\n";

__attribute__((format(printf, 1, 0))) void report(const char* format, va_list values) {
    fputs("csmanctl: ", stderr);
    vfprintf(stderr, format, values);
    fputc('\n', stderr);
}

int unknown_item(const std::string& item) {
    return report_usage("unknown item '%s'", item.c_str());
}

int write_item(int store, const std::string& item, uint32_t csid, const store_item& value) {
    const int result = store_write(store, csid, value);
    return result == 0 ? exit_ok : report_failure("%s: %s", item.c_str(), strerror(-result));
}

int run_get(int store, const arguments& given) {
    uint32_t csid = 0;
    if (!parse_csid(given[0], csid)) {
        return unknown_item(given[0]);
    }
    store_item item;
    const int result = store_read(store, csid, item);
    if (result != 0) {
        return report_unreadable(given[0], result);
    }
    if (item.is_string) {
        printf("%.*s\n", static_cast<int>(item.length), item.text);
    } else {
        printf("%d\n", item.number);
    }
    return exit_ok;
}

int run_set(int store, const arguments& given) {
    uint32_t csid = 0;
    if (!parse_csid(given[0], csid)) {
        return unknown_item(given[0]);
    }
    store_item item;
    std::string why;
    if (!make_item(csid, given[1], item, why)) {
        return report_usage("%s: %s", given[0].c_str(), why.c_str());
    }
    return write_item(store, given[0], csid, item);
}

int run_set_string(int store, const arguments& given) {
    uint32_t csid = 0;
    if (!parse_csid(given[0], csid)) {
        return unknown_item(given[0]);
    }
    const item_family* family = find_family(csid);
    if (family != nullptr && family->type == item_type::integer) {
        return report_usage("%s: it holds a number, not a text", given[0].c_str());
    }
    store_item item;
    if (!make_string(given[1], item)) {
        return report_usage("%s: a text has at most %zu bytes", given[0].c_str(), store_text_max);
    }
    return write_item(store, given[0], csid, item);
}

int run_unset(int store, const arguments& given) {
    uint32_t csid = 0;
    if (!parse_csid(given[0], csid)) {
        return unknown_item(given[0]);
    }
    const int result = store_remove(store, csid);
    return result == 0 ? exit_ok : report_unreadable(given[0], result);
}

int run_list(int store, const arguments& given) {
    const bool all = !given.empty();
    if (all && given[0] != "--all") {
        return report_usage("list: unknown option '%s'", given[0].c_str());
    }
    return list_items(store, all);
}

int run_load(int store, const arguments& given) {
    return load_items(store, given[0]);
}

int run_watch(int store, const arguments& given) {
    unsigned long long count = 0;
    size_t at = 0;
    if (!given.empty() && given[0] == "--count") {
        if (given.size() < 2 || !parse_unsigned(given[1], ULONG_MAX, count) || count == 0) {
            return report_usage("watch: --count takes a number above 0");
        }
        at = 2;
    }
    std::vector<uint32_t> csids;
    for (; at < given.size(); at++) {
        uint32_t csid = 0;
        if (!parse_csid(given[at], csid)) {
            return unknown_item(given[at]);
        }
        csids.push_back(csid);
    }
    return watch_items(store, csids, static_cast<unsigned long>(count));
}

int run_items(int, const arguments& given) {
    if (given.empty()) {
        print_table();
        return exit_ok;
    }
    if (given[0] != "--markdown") {
        return report_usage("items: unknown option '%s'", given[0].c_str());
    }
    print_markdown();
    return exit_ok;
}

struct command {
    const char* name;
    size_t least; // arguments
    size_t most;
    bool needs_store;
    int (*run)(int store, const arguments& given);
};

constexpr size_t any_number = SIZE_MAX;

constexpr command commands[] = {
    {"get", 1, 1, true, run_get},
    {"set", 2, 2, true, run_set},
    {"set-string", 2, 2, true, run_set_string},
    {"unset", 1, 1, true, run_unset},
    {"list", 0, 1, true, run_list},
    {"load", 1, 1, true, run_load},
    {"watch", 0, any_number, true, run_watch},
    {"items", 0, 1, false, run_items},
};

int run_command(const command& chosen, const arguments& given) {
    if (given.size() < chosen.least || given.size() > chosen.most) {
        return report_usage("%s: wrong number of arguments", chosen.name);
    }
    if (!chosen.needs_store) {
        return chosen.run(-1, given);
    }
    const int store = store_open(store_path());
    if (store < 0) {
        return report_failure("can't open the store %s: %s", store_path(), strerror(-store));
    }
    const int result = chosen.run(store, given);
    store_close(store);
    return result;
}

int run(const arguments& given) {
    if (given.empty()) {
        return report_usage("a command is missing");
    }
    if (given[0] == "--help" || given[0] == "-h" || given[0] == "help") {
        fputs(help_text, stdout);
        return exit_ok;
    }
    for (const command& candidate : commands) {
        if (given[0] == candidate.name) {
            return run_command(candidate, arguments(given.begin() + 1, given.end()));
        }
    }
    return report_usage("unknown command '%s'", given[0].c_str());
}

} // namespace

int report_failure(const char* format, ...) {
    va_list values;
    va_start(values, format);
    report(format, values);
    va_end(values);
    return exit_failed;
}

int report_usage(const char* format, ...) {
    va_list values;
    va_start(values, format);
    report(format, values);
    va_end(values);
    fputs("Try 'csmanctl --help'.\n", stderr);
    return exit_usage;
}

} // namespace dashboard

int main(int count, char** values) {
    const int result = dashboard::run(std::vector<std::string>(values + 1, values + count));
    if (fflush(stdout) == 0 && ferror(stdout) == 0) {
        return result;
    }
    return dashboard::report_failure("can't write the output: %s", strerror(errno));
}
