// The version as text and as numbers.
#include "common_version.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Version, LibraryHasThatOfTheHeaders)
{
    EXPECT_STREQ(COMMON_Version(), COMMON_VERSION);
    EXPECT_EQ(COMMON_Version(), COMMON_Version());
}

TEST(Version, TextHasTheNumbers)
{
    EXPECT_EQ(COMMON_VERSION, std::to_string(COMMON_VERSION_MAJOR) + "." +
                                  std::to_string(COMMON_VERSION_MINOR) + "." +
                                  std::to_string(COMMON_VERSION_PATCH));
}

TEST(Version, NumberCanBeComparedByThePreprocessor)
{
#if COMMON_VERSION_NUMBER >= 10000 && COMMON_VERSION_NUMBER < 20000
    EXPECT_EQ(COMMON_VERSION_MAJOR, 1);
#else
    FAIL() << COMMON_VERSION_NUMBER;
#endif
    EXPECT_EQ(COMMON_VERSION_NUMBER % 10000 / 100, COMMON_VERSION_MINOR);
    EXPECT_EQ(COMMON_VERSION_NUMBER % 100, COMMON_VERSION_PATCH);
}

}  // namespace
