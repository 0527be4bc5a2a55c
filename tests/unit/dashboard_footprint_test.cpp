// Giving back what only the start needed.
#include "core/dashboard_footprint.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <numeric>
#include <unistd.h>

namespace dashboard::testing {
namespace {

constexpr size_t table_size = 1 << 20;
constexpr size_t page_size = 4096;

// A megabyte of constants in the program's file, and a variable of some pages beside them.
struct table {
    unsigned char byte[table_size];
};
alignas(page_size) extern const table constants = {{1, 2, 3}};
unsigned char variables[3 * page_size] = {4, 5, 6};

int sum_of_constants() {
    const volatile unsigned char* const byte = constants.byte;
    int sum = 0;
    for (size_t i = 0; i < table_size; ++i) {
        sum += byte[i];
    }
    return sum;
}

long resident_bytes() {
    std::ifstream totals("/proc/self/statm");
    long size = 0;
    long resident = 0;
    totals >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

TEST(ForgetStart, GivesBackPagesThatWereTouched) {
    EXPECT_EQ(sum_of_constants(), 1 + 2 + 3);
    const long before = resident_bytes();
    forget_start();
    EXPECT_LE(resident_bytes(), before - static_cast<long>(table_size) / 2);
}

TEST(ForgetStart, LosesNothing) {
    EXPECT_EQ(sum_of_constants(), 1 + 2 + 3);
    variables[page_size] = 7;
    forget_start();
    EXPECT_EQ(sum_of_constants(), 1 + 2 + 3);
    EXPECT_EQ(std::accumulate(std::begin(variables), std::end(variables), 0), 4 + 5 + 6 + 7);
}

} // namespace
} // namespace dashboard::testing
