// What monitors keep and no document shows, read where it is kept: in the block that init allocates.
#ifndef TESTS_UNIT_KEPT_STORE_H
#define TESTS_UNIT_KEPT_STORE_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

// The newest block that was allocated, if it has that size.
extern "C" void* world_newest_block(size_t size);

namespace dashboard::testing {

template <class Sample, int slots>
struct kept_series {
    int32_t start, end, last_roll_up, roll_up_index;
    Sample slot[slots];
};

// `count` stores of that layout, the first of them.
template <class Kept>
const Kept* newest_store(size_t count = 1) {
    const void* const block = world_newest_block(count * sizeof(Kept));
    EXPECT_NE(block, nullptr) << "no block of " << count * sizeof(Kept);
    return static_cast<const Kept*>(block);
}

} // namespace dashboard::testing

#endif
