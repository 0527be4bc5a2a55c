// Documents of a router that the tests make up, and what the exporter says about them.
#ifndef TESTS_EXPORTER_ROUTER_DOCUMENTS_H
#define TESTS_EXPORTER_ROUTER_DOCUMENTS_H

#include "exporter/exposition.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace dashboard::testing {

// The clock of these tests: a second before it, the newest samples were taken.
inline constexpr int64_t router_now = 1'795'233'703;

struct written_document {
    std::string text;
    int64_t written = router_now - 1;
};

using element_list = std::vector<std::pair<std::string, std::string>>;

// "<?xml ...", the lines, "</datalist>".
std::string document_of(const std::string& lines);
// One sample: its time and its elements, each on a line of its own.
std::string sample_lines_of(int64_t time, const element_list& elements);

// The documents of one router, by file name.
class router_documents {
public:
    std::map<std::string, written_document> files;
    std::map<std::string, document_fault> faults; // what a read of a name answers instead
    int64_t newest = router_now - 1;              // time of the newest samples, if nothing else is said
    int older = 1;                                // samples before it

    // Puts a document with the older samples, and this newest one.
    void put(const std::string& name, const element_list& elements, int64_t time);
    void put(const std::string& name, const element_list& elements) { put(name, elements, newest); }
    // Every document that the daemon can publish, at its limits; `first` is the least value of a counter.
    void put_limits(uint64_t first);
    // The samples of docs/samples, as fresh as their times make them.
    void put_file(const std::string& path);

    document_source source();
    // Writes them into a folder, with their times.
    void write_to(const std::string& folder) const;
};

// Facts of a router that is well.
router_facts good_facts();

// The text of a scrape.
std::string exposed(router_documents& documents, const router_facts& facts = good_facts(),
                    exposition_format format = exposition_format::prometheus);

// The metric of a document's values that were refused.
std::string rejected(const std::string& document);

// Its samples: what stands before the value, and the value. Fails the test when a line is no sample and no comment,
// when a sample or a TYPE comes twice, or when the samples of a metric are not all together behind its TYPE.
std::map<std::string, std::string> samples_of(const std::string& text);

// The largest list that the daemon can write: 75 interfaces, every port.
std::string largest_current_lines(uint64_t first);

} // namespace dashboard::testing

#endif
