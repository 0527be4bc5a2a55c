#include "ctl/command.h"
#include "ctl/ctl_text.h"
#include "ctl/doctor.h"

#include <cstdio>

namespace dashboard {

namespace {

constexpr int longest_run = 5; // seconds: what takes longer stalls the daemon
constexpr char stand_in_folder[] = "/usr/lib/dashboard/bin";

/// A tool whose output the daemon reads, and a short command that shows its variant.
struct tool_row {
    const char* name;
    const char* command;
    std::string (*fault)(const std::string& output);
    const char* without; // what happens without it
    const char* package; // Debian's, when a package brings the right one
};

std::string no_fault(const std::string&) {
    return "";
}

std::string fault_of_awk(const std::string& output) {
    return output == "right\n" ? "" : "does not do what awk does";
}

std::string fault_of_wc(const std::string& output) {
    int lines = 0;
    return sscanf(output.c_str(), "%d", &lines) == 1 && lines == 2 ? "" : "does not count lines";
}

constexpr tool_row tools[] = {
    {"mpstat", "mpstat -P ALL 1 1", fault_of_mpstat, "the daemon ends itself", "sysstat"},
    {"ifconfig", "ifconfig", fault_of_ifconfig, "no interface counts as up, and there is no traffic", nullptr},
    {"awk", "echo 'Link encap right' | awk '/Link encap/{print $3}'", fault_of_awk,
     "no interface counts as up, and there is no traffic", nullptr},
    {"netstat", "netstat -aunt", fault_of_netstat, "the connections show 0", nullptr},
    {"wc", "printf 'a\\nb\\n' | wc -l", fault_of_wc, "the connections show 0", "coreutils"},
    {"ln", nullptr, no_fault, "the documents are not linked in /usr/www", "coreutils"},
    {"mkdir", nullptr, no_fault, "/tmp/dashboard is not made", "coreutils"},
};

std::string remedy_for(const tool_row& tool) {
    std::string path;
    const bool debian = find_command("apt-get", path);
    if (debian && tool.package != nullptr) {
        return text_of("apt-get install %s", tool.package);
    }
    if (debian) {
        return text_of(
            "apt-get install busybox && mkdir -p %s && ln -sf /bin/busybox %s/%s  # and that folder first in "
            "the daemon's PATH",
            stand_in_folder, stand_in_folder, tool.name);
    }
    return text_of("put busybox's or an equal %s into the daemon's PATH", tool.name);
}

void check_tool(const tool_row& tool, findings& list) {
    std::string path;
    if (!find_command(tool.name, path)) {
        list.push_back({grade::wrong, text_of("%s is missing: %s", tool.name, tool.without), remedy_for(tool)});
        return;
    }
    std::string output;
    const int status = tool.command == nullptr ? 0 : run_command(tool.command, longest_run, output);
    std::string fault =
        status == command_timed_out ? text_of("takes longer than %d seconds", longest_run) : tool.fault(output);
    if (fault.empty()) {
        list.push_back({grade::good, text_of("%s: %s", tool.name, path.c_str()), ""});
        return;
    }
    list.push_back({grade::wrong, text_of("%s %s: %s", path.c_str(), fault.c_str(), tool.without), remedy_for(tool)});
}

} // namespace

std::string fault_of_mpstat(const std::string& output) {
    if (output.empty()) {
        return "prints nothing";
    }
    for (const std::string& line : lines_of(output)) {
        if (!begins_with(line, "Average:") || begins_with(line, "Average:     CPU")) {
            continue;
        }
        int whole[10];
        char name[5];
        const int read = sscanf(line.c_str(),
                                "%*[^ ]%4s%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d.%*[^ ]%d."
                                "%*[^ ]%d.%*[^ ]",
                                name, whole, whole + 1, whole + 2, whole + 3, whole + 4, whole + 5, whole + 6,
                                whole + 7, whole + 8, whole + 9);
        return read == 11 ? "" : "does not print ten columns with a point";
    }
    return "prints no line of averages";
}

std::string fault_of_ifconfig(const std::string& output) {
    return output.find("Link encap") != std::string::npos ? "" : "prints no \"Link encap\"";
}

std::string fault_of_netstat(const std::string& output) {
    const std::vector<std::string> lines = lines_of(output);
    const bool two_headings = lines.size() >= 2 && begins_with(lines[0], "Active") && begins_with(lines[1], "Proto");
    return two_headings ? "" : "does not print two lines of heading";
}

void check_tools(const status_look& status, findings& list) {
    for (const tool_row& tool : tools) {
        check_tool(tool, list);
    }
    std::string path;
    if (status.modules[1].enable == 1 && !find_command("freemem", path)) {
        list.push_back({grade::note,
                        "freemem is missing: the memory module asks for it once when it starts, and does "
                        "without it",
                        ""});
    }
}

} // namespace dashboard
