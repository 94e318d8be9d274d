// Texts of plain values.
#include "data.h"

#include <cstdint>

#include <gtest/gtest.h>

namespace {

TEST(Data, BooleansHaveTexts)
{
    EXPECT_STREQ(DATA_BoolToString(0), "False");
    EXPECT_STREQ(DATA_BoolToString(1), "True");
}

TEST(Data, AnythingElseIsNoBoolean)
{
    for (const std::uint32_t value :
         {2U, 3U, 255U, 256U, 257U, 0x10000U, 0x10001U, 0x80000000U, 0x80000001U, UINT32_MAX}) {
        EXPECT_STREQ(DATA_BoolToString(value), "Invalid") << value;
    }
}

TEST(Data, BooleanTextsStayValid)
{
    const char* const texts[] = {DATA_BoolToString(0), DATA_BoolToString(1), DATA_BoolToString(2)};
    EXPECT_STREQ(texts[0], "False");
    EXPECT_STREQ(texts[1], "True");
    EXPECT_STREQ(texts[2], "Invalid");
}

}  // namespace
