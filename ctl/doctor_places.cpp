#include "ctl/command.h"
#include "ctl/ctl_text.h"
#include "ctl/doctor.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <grp.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char documents_folder[] = "/tmp/dashboard";
constexpr char web_folder[] = "/usr/www";
constexpr int64_t little_space = 2 << 20;    // bytes: more than all documents of most routers
constexpr int64_t earliest_now = 1767225600; // 2026-01-01: no clock that is set shows less
constexpr int64_t future = 5;                // seconds that a sample may be ahead of the clock

void check_folder(const char* path, const char* without, findings& list) {
    struct stat about;
    if (stat(path, &about) != 0) {
        list.push_back({grade::wrong, text_of("%s is missing: %s", path, without), text_of("mkdir -p %s", path)});
    } else if (!S_ISDIR(about.st_mode)) {
        list.push_back(
            {grade::wrong, text_of("%s is no folder: %s", path, without), text_of("rm %s && mkdir -p %s", path, path)});
    } else if (access(path, W_OK) != 0) {
        list.push_back({grade::wrong, text_of("%s is not writable (%s): %s", path, strerror(errno), without),
                        errno == EROFS ? text_of("mount -t tmpfs tmpfs %s", path) : text_of("run this as root")});
    } else {
        list.push_back({grade::good, text_of("%s is there and writable", path), ""});
    }
}

void check_links(const status_look& status, findings& list) {
    std::string missing;
    size_t count = 0;
    for (const document_state& document : status.documents) {
        // These two have no link of their own, or one that leads nowhere; it has always been so.
        if (!document.linked && !begins_with(document.name, "aptraffic_allap_")) {
            missing += " " + document.name;
            ++count;
        }
    }
    if (count > 0) {
        list.push_back({grade::wrong,
                        text_of("%zu documents are not linked in %s:%s", count, web_folder, missing.c_str()),
                        text_of("cd %s && ln -sf ../../tmp/dashboard/*.xml .", web_folder)});
    } else if (!status.documents.empty()) {
        list.push_back(
            {grade::good, text_of("all %zu documents are linked in %s", status.documents.size(), web_folder), ""});
    }
}

void check_space(findings& list) {
    struct statvfs about;
    if (statvfs("/tmp", &about) != 0) {
        return;
    }
    const int64_t free_bytes = static_cast<int64_t>(about.f_bavail) * static_cast<int64_t>(about.f_frsize);
    const bool no_inodes = about.f_files > 0 && about.f_favail == 0;
    if (free_bytes < little_space || no_inodes) {
        list.push_back({grade::wrong,
                        text_of("%s free in /tmp%s: documents are published empty or cut short without a word",
                                size_text(free_bytes).c_str(), no_inodes ? ", no file can be made" : ""),
                        "du -ax /tmp | sort -n | tail"});
        return;
    }
    list.push_back({grade::good, text_of("%s free in /tmp", size_text(free_bytes).c_str()), ""});
}

void check_lock(const status_look& status, findings& list) {
    const daemon_look& daemon = status.daemon;
    process_look holder;
    if (daemon.lock == lock_state::held && daemon.process.name != "dashboard") {
        list.push_back({grade::wrong,
                        text_of("%s is locked by process %d (%s), which is no daemon: none can start", pid_lock_file,
                                static_cast<int>(daemon.pid), daemon.process.name.c_str()),
                        text_of("kill %d", static_cast<int>(daemon.pid))});
    } else if (daemon.lock_lost) {
        list.push_back({grade::wrong,
                        text_of("%s was removed while the daemon held it: a second one could start", pid_lock_file),
                        "/etc/init.d/dashboard restart"});
    } else if (daemon.lock == lock_state::stale && daemon.noted != 0 && daemon.pid != daemon.noted) {
        const bool reused = look_at_process(daemon.noted, holder);
        list.push_back({grade::good,
                        text_of("%s is left from an earlier daemon and not locked: it keeps nobody from starting%s",
                                pid_lock_file, reused ? "; its number is another process's by now" : ""),
                        ""});
    } else if (daemon.lock == lock_state::unreadable) {
        list.push_back(
            {grade::note, text_of("%s cannot be read, so its lock is not known", pid_lock_file), "run this as root"});
    }
}

struct web_server {
    pid_t pid = 0;
    uid_t user = 0;
    std::vector<gid_t> groups;
    std::string name;
};

/// busybox goes by its own name when its applet is named as its first word.
bool is_other_applet(pid_t pid) {
    std::string words;
    read_file(text_of("/proc/%d/cmdline", static_cast<int>(pid)), words);
    return words.find(std::string("\0httpd\0", 7)) == std::string::npos;
}

std::vector<gid_t> groups_in(const std::string& line) {
    std::vector<gid_t> groups;
    unsigned group = 0;
    int used = 0;
    for (const char* at = line.c_str() + strlen("Groups:"); sscanf(at, " %u%n", &group, &used) == 1; at += used) {
        groups.push_back(group);
    }
    return groups;
}

/// Whose rights a process has; false when it is gone.
bool read_rights(pid_t pid, web_server& server) {
    std::string text;
    if (!read_file(text_of("/proc/%d/status", static_cast<int>(pid)), text)) {
        return false;
    }
    server.pid = pid;
    unsigned main_group = 0;
    for (const std::string& line : lines_of(text)) {
        unsigned effective = 0;
        if (begins_with(line, "Name:")) {
            server.name = line.substr(6);
        } else if (sscanf(line.c_str(), "Uid: %*u %u", &effective) == 1) {
            server.user = effective;
        } else if (begins_with(line, "Groups:")) {
            server.groups = groups_in(line);
        } else {
            sscanf(line.c_str(), "Gid: %*u %u", &main_group);
        }
    }
    server.groups.insert(server.groups.begin(), main_group);
    return true;
}

/// A web server of the usual ones; the worker that answers requests is the one that is not root's.
bool find_web_server(web_server& server) {
    for (const pid_t pid :
         find_processes({"httpd", "lighttpd", "nginx", "uhttpd", "apache2", "mini_httpd", "boa", "busybox"})) {
        process_look look;
        web_server found;
        if (!look_at_process(pid, look) || (look.name == "busybox" && is_other_applet(pid)) ||
            !read_rights(pid, found)) {
            continue;
        }
        if (server.pid == 0 || found.user != 0) {
            server = found;
        }
    }
    return server.pid != 0;
}

bool may_read(const web_server& server, const struct stat& about) {
    if (server.user == 0) {
        return true;
    }
    if (server.user == about.st_uid) {
        return (about.st_mode & S_IRUSR) != 0;
    }
    for (const gid_t group : server.groups) {
        if (group == about.st_gid) {
            return (about.st_mode & S_IRGRP) != 0;
        }
    }
    return (about.st_mode & S_IROTH) != 0;
}

std::string group_name(const web_server& server) {
    const group* const entry = server.groups.empty() ? nullptr : getgrgid(server.groups[0]);
    return entry != nullptr ? entry->gr_name : text_of("%u", server.groups.empty() ? 0 : server.groups[0]);
}

void check_web_server(const status_look& status, findings& list) {
    web_server server;
    if (!find_web_server(server)) {
        list.push_back(
            {grade::note, "no web server was found running: the rights of the documents could not be checked", ""});
        return;
    }
    for (const document_state& document : status.documents) {
        struct stat about;
        const std::string path = std::string(documents_folder) + "/" + document.name;
        if (stat(path.c_str(), &about) == 0 && !may_read(server, about)) {
            list.push_back({grade::wrong,
                            text_of("the web server (%s, process %d) may not read %s (mode %o)", server.name.c_str(),
                                    static_cast<int>(server.pid), path.c_str(), about.st_mode & 07777U),
                            text_of("chgrp %s %s/*; install -d -m 2750 -g %s %s", group_name(server).c_str(),
                                    documents_folder, group_name(server).c_str(), documents_folder)});
            return;
        }
    }
    list.push_back({grade::good,
                    text_of("the web server (%s, process %d) may read the documents", server.name.c_str(),
                            static_cast<int>(server.pid)),
                    ""});
}

void check_clock(const status_look& status, findings& list) {
    if (status.now < earliest_now) {
        list.push_back({grade::wrong,
                        text_of("the clock shows second %lld, long before this program was made",
                                static_cast<long long>(status.now)),
                        "set the clock: date -s 'YYYY-MM-DD HH:MM:SS', or start the NTP client"});
        return;
    }
    for (const document_state& document : status.documents) {
        if (!document.content.times.empty() && document.content.times.back() > status.now + future) {
            list.push_back({grade::note,
                            text_of("%s holds samples from the future: the clock was set back. Minutes and "
                                    "hours catch up by themselves",
                                    document.name.c_str()),
                            ""});
            return;
        }
    }
    list.push_back({grade::good, "the clock is set", ""});
}

} // namespace

void check_places(const status_look& status, findings& list) {
    check_folder(documents_folder, "nothing can be published", list);
    check_folder(web_folder, "the documents cannot be linked, and the web interface finds none", list);
    check_links(status, list);
    check_space(list);
    check_lock(status, list);
    check_web_server(status, list);
    check_clock(status, list);
}

} // namespace dashboard
