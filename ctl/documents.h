// The published documents, as they lie in /tmp/dashboard: which module each belongs to, how old and whether whole.
#ifndef CTL_DOCUMENTS_H
#define CTL_DOCUMENTS_H

#include "beside/module_names.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace dashboard {

enum class series_kind { sec, min, hour };

/// Name of a series as documents spell it.
const char* series_name(series_kind series);

/// Index of the module whose document of this name (without folder) is, and its series; false for any other file.
bool find_document(const std::string& name, size_t& module, series_kind& series);

/// What is in a document.
struct document_content {
    std::string fault;          // why it is no whole document; empty when it is
    std::vector<int32_t> times; // seconds of its samples, in its order
};

document_content read_document(const std::string& text);

/// One document of /tmp/dashboard.
struct document_state {
    std::string name;
    size_t module = 0;
    series_kind series = series_kind::sec;
    int64_t size = 0;
    int64_t age = 0; // seconds since it was written; negative when the clock was set back
    bool linked = false;
    document_content content;
};

/// Every document of /tmp/dashboard, by name. One that vanishes meanwhile, as it does at every replacement, is read
/// again.
std::vector<document_state> look_at_documents();

/// Seconds without a sample among the last sixty before the newest sample; a clock that was set back begins anew.
int lost_seconds(const std::vector<int32_t>& times);

} // namespace dashboard

#endif
