#include "base/portability.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace dashboard {
namespace {

TEST(ErrorText, SaysWhatStrerrorSays) {
    for (int error = 1; error <= 140; ++error) {
        EXPECT_STREQ(error_text(error).words, strerror(error));
    }
}

TEST(ErrorText, KeepsItsWordsWhileOthersAreAsked) {
    const error_text unknown(99999);
    const error_text other(88888);
    const error_text known(ENOENT);
    EXPECT_STREQ(unknown.words, "Unknown error 99999");
    EXPECT_STREQ(other.words, "Unknown error 88888");
    EXPECT_STREQ(known.words, "No such file or directory");
}

} // namespace
} // namespace dashboard
