// What a whole daemon publishes must be what its schemas say: its documents are kept at several moments of a run and
// validated together at the end.
#ifndef TESTS_DAEMON_DOCUMENT_CHECK_H
#define TESTS_DAEMON_DOCUMENT_CHECK_H

#include "tests/support/world.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace dashboard::testing {

class document_check {
public:
    explicit document_check(const test_world& world);

    // Keeps every published document that is not what it was the last time. The daemon must stand still, or be gone.
    void keep();

    // From now on documents of this name hold a text that XML refuses, published as it is: one of them must be refused.
    void expect_refused(const std::string& name) { refused.insert(name); }

    // What is wrong with the documents that were kept, in xmllint's words; empty when nothing is.
    std::string complaints() const;

private:
    void keep_one(const std::string& name, const std::string& text);

    const test_world& world;
    std::map<std::string, std::string> newest;                    // text by name
    std::set<std::string> refused;                                // names
    std::vector<std::string> folders;                             // what was kept, a folder a moment
    std::map<std::string, std::vector<std::string>> kept_refused; // folders by name
    int moment = 0;
};

// Whether documents are checked at all: they are the same for every processor, and an emulated one is slow.
inline constexpr bool documents_are_checked = sizeof DASHBOARD_VALIDATE > 1;

} // namespace dashboard::testing

#endif
