#include "tests/daemon/document_check.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <vector>

#include <filesystem>

namespace fs = std::filesystem;

namespace dashboard::testing {

namespace {

// As the tests were started: a world has a search path of its own.
const std::string usual_path = getenv("PATH") == nullptr ? "" : getenv("PATH");

bool is_published_document(const std::string& name) {
    const auto ends_with = [&name](const std::string& end) {
        return name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
    };
    return ends_with(".xml") && !ends_with("_tmp.xml");
}

std::string quoted(const std::string& word) {
    return "'" + word + "'";
}

// What docs/xsd/validate says about these files or folders; empty when it finds nothing wrong.
std::string validate(const std::vector<std::string>& what) {
    std::string command = "PATH=" + quoted(usual_path) + " " + quoted(DASHBOARD_VALIDATE);
    for (const std::string& one : what) {
        command += " " + quoted(one);
    }
    FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string said;
    for (int letter = fgetc(pipe); letter != EOF; letter = fgetc(pipe)) {
        said += static_cast<char>(letter);
    }
    const int status = pclose(pipe);
    return status == 0 ? said : said + "(status " + std::to_string(status) + " of docs/xsd/validate)\n";
}

} // namespace

document_check::document_check(const test_world& the_world) : world(the_world) {}

void document_check::keep() {
    if (!documents_are_checked || !world.exists("/tmp/dashboard")) {
        return;
    }
    moment += 1;
    for (const std::string& name : world.list("/tmp/dashboard")) {
        if (is_published_document(name)) {
            keep_one(name, world.read("/tmp/dashboard/" + name));
        }
    }
}

void document_check::keep_one(const std::string& name, const std::string& text) {
    const auto old = newest.find(name);
    if (old != newest.end() && old->second == text) {
        return;
    }
    newest[name] = text;
    const bool refusable = refused.count(name) != 0;
    const std::string kind = refusable ? "refused/" + name + "/" : "documents/";
    const std::string folder = world.folder_of(kind + std::to_string(moment));
    if (fs::create_directories(folder)) {
        (refusable ? kept_refused[name] : folders).push_back(folder);
    }
    std::ofstream(folder + "/" + name, std::ios::binary) << text;
}

std::string document_check::complaints() const {
    if (!documents_are_checked) {
        return "";
    }
    std::string found = folders.empty() ? "" : validate(folders);
    for (const std::string& name : refused) {
        const auto kept = kept_refused.find(name);
        if (kept == kept_refused.end() || validate(kept->second).empty()) {
            found += "no " + name + " was refused\n";
        }
    }
    return found;
}

} // namespace dashboard::testing
