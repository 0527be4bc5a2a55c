// docs/metrics.md holds the table that the program prints, and nothing else between its heading and the end.
#include "router_documents.h"

#include <fstream>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

namespace dashboard::testing {
namespace {

using ::testing::EndsWith;

std::string page() {
    std::ifstream file(METRICS_PAGE, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

TEST(Page, EndsWithTheTable) {
    text_buffer table;
    add_markdown(table);
    EXPECT_THAT(page(), EndsWith("\n\n" + std::string(table.view())));
}

TEST(Table, FollowsTheRulesOfNames) {
    std::set<std::string> names;
    for (const metric_row& metric : metric_table) {
        const std::string name = metric.name;
        const std::string unit = metric.unit;
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_EQ(name.rfind("dashboard_", 0), 0u) << name;
        EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), std::string::npos) << name;
        EXPECT_EQ(metric.type == metric_type::counter, name.size() > 6 && name.substr(name.size() - 6) == "_total")
            << name;
        if (!unit.empty()) {
            EXPECT_THAT(name, EndsWith("_" + unit));
        }
        EXPECT_GT(metric.most, 0) << name;
        EXPECT_EQ(std::string(metric.help).find_first_of("\n\\|"), std::string::npos) << name;
    }
}

} // namespace
} // namespace dashboard::testing
