#include "ctl/documents.h"

#include "ctl/ctl_text.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr char folder[] = "/tmp/dashboard/";
constexpr char link_folder[] = "/usr/www/";
constexpr char head[] = "<?xml version=\"1.0\" ?>\n<datalist>\n";
constexpr char tail[] = "</datalist>\n";
constexpr series_kind all_series[] = {series_kind::sec, series_kind::min, series_kind::hour};

bool is_number(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

bool matches(const module_names& module, series_kind series, const std::string& name) {
    const std::string start = text_of("%s_%s", module.stem, series_name(series));
    if (!module.numbered) {
        return name == start + ".xml";
    }
    const size_t fixed = start.size() + 1 + strlen(".xml");
    return name.size() > fixed && begins_with(name, start + "_") && ends_with(name, ".xml") &&
           is_number(name.substr(start.size() + 1, name.size() - fixed));
}

/// Whether the line is one element: blanks, a name, a text, the same name.
bool is_element(const std::string& line) {
    const size_t start = line.find_first_not_of(' ');
    if (start == std::string::npos || start == 0 || line[start] != '<') {
        return false;
    }
    const size_t name_end = line.find_first_of(" >", start);
    const size_t open_end = line.find('>', start);
    if (open_end == std::string::npos || name_end == start + 1) {
        return false;
    }
    const std::string close = "</" + line.substr(start + 1, name_end - start - 1) + ">";
    return ends_with(line, close) && open_end < line.size() - close.size();
}

bool read_time(const std::string& line, int32_t& seconds) {
    long long milliseconds = 0;
    if (sscanf(line.c_str(), "    <time>%lld</time>", &milliseconds) != 1) {
        return false;
    }
    seconds = static_cast<int32_t>(milliseconds / 1000);
    return true;
}

/// A document is removed and then renamed into place: for a moment there is none.
bool read_published(const std::string& path, std::string& text, struct stat& about) {
    for (int tries = 0; tries < 3; ++tries) {
        if (stat(path.c_str(), &about) == 0 && read_file(path, text)) {
            return true;
        }
        usleep(20000);
    }
    return false;
}

bool look_at_document(document_state& document, int64_t now) {
    std::string text;
    struct stat about;
    const std::string path = folder + document.name;
    if (!read_published(path, text, about)) {
        return false;
    }
    document.size = static_cast<int64_t>(text.size());
    document.age = now - static_cast<int64_t>(about.st_mtime);
    document.linked = access((link_folder + document.name).c_str(), F_OK) == 0;
    document.content = read_document(text);
    return true;
}

} // namespace

const char* series_name(series_kind series) {
    switch (series) {
    case series_kind::sec:
        return "sec";
    case series_kind::min:
        return "min";
    case series_kind::hour:
        break;
    }
    return "hour";
}

bool find_document(const std::string& name, size_t& module, series_kind& series) {
    for (size_t i = 0; i < module_total; ++i) {
        for (const series_kind candidate : all_series) {
            if (matches(module_table[i], candidate, name)) {
                module = i;
                series = candidate;
                return true;
            }
        }
    }
    return false;
}

document_content read_document(const std::string& text) {
    document_content content;
    if (text.empty()) {
        content.fault = "empty: the file system is or was full";
        return content;
    }
    if (!begins_with(text, head)) {
        content.fault = "does not begin as a document";
        return content;
    }
    if (!ends_with(text, tail)) {
        content.fault = text.find(tail) == std::string::npos ? "cut short" : "goes on behind its end";
        return content;
    }
    const std::string body = text.substr(sizeof head - 1, text.size() - (sizeof head - 1) - (sizeof tail - 1));
    for (const std::string& line : lines_of(body)) {
        int32_t seconds = 0;
        if (!is_element(line)) {
            content.fault = "has a line that is no element: " + line.substr(0, 40);
            return content;
        }
        if (read_time(line, seconds)) {
            content.times.push_back(seconds);
        }
    }
    return content;
}

std::vector<document_state> look_at_documents() {
    std::vector<document_state> documents;
    const int64_t now = static_cast<int64_t>(time(nullptr));
    for (const std::string& name : names_in(folder)) {
        document_state document;
        document.name = name;
        if (find_document(name, document.module, document.series) && look_at_document(document, now)) {
            documents.push_back(document);
        }
    }
    return documents;
}

int lost_seconds(const std::vector<int32_t>& times) {
    if (times.empty()) {
        return 0;
    }
    const int32_t newest = times.back();
    int lost = 0;
    for (size_t i = times.size() - 1; i > 0; --i) {
        const int32_t before = times[i - 1];
        if (before > times[i]) {
            break;
        }
        const int32_t oldest_wanted = newest - 59;
        const int32_t from = before < oldest_wanted ? oldest_wanted - 1 : before;
        if (times[i] - from > 1) {
            lost += times[i] - from - 1;
        }
        if (before < oldest_wanted) {
            break;
        }
    }
    return lost;
}

} // namespace dashboard
