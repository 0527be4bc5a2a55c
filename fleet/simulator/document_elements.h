// What the elements of the published documents stand for on a simulated router: which link's counter, which gauge.
#ifndef FLEET_SIMULATOR_DOCUMENT_ELEMENTS_H
#define FLEET_SIMULATOR_DOCUMENT_ELEMENTS_H

#include <map>
#include <string>

namespace dashboard {

struct document_line;

/// Goes with the lines of one document, from its first to its last.
class element_reader {
public:
    /// `document` is the file's name.
    explicit element_reader(std::string document) : document_file(std::move(document)) {}

    /// Fills in the source of a line, and the link, direction or slot that belongs to it.
    void find_source(document_line& line);

private:
    void find_counter(document_line& line, const std::string& element) const;
    void find_item(document_line& line, const std::string& item);

    std::string document_file;
    /// Of the current traffic: the interface at each place, as recorded.
    std::map<std::string, std::string> device_names;
};

} // namespace dashboard

#endif
