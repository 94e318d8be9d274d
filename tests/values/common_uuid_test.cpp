// Identifiers: what is stored, what is equal, and what ends the process.
#include "common_uuid.h"

#include <csignal>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"

namespace {

using namespace harness;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr std::uint8_t kBytes[16] = {0x0A, 0x11, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

COMMON_UUID uuid_of(std::uint32_t size, const void* bytes)
{
    COMMON_UUID uuid;
    std::memset(&uuid, 0xA5, sizeof uuid);
    COMMON_UUID_Set(&uuid, size, bytes);
    return uuid;
}

TEST(CommonUuid, RecordIsWithoutGaps)
{
    EXPECT_EQ(sizeof(COMMON_UUID), 17U);
    EXPECT_EQ(offsetof(COMMON_UUID, bytes), 1U);
}

TEST(CommonUuid, BytesAreKeptInOrderAndFollowedByZeros)
{
    for (const std::uint32_t size : {0U, 2U, 4U, 16U}) {
        std::vector<std::uint8_t> expected(kBytes, kBytes + size);
        expected.resize(16, 0);
        const COMMON_UUID uuid = uuid_of(size, kBytes);
        EXPECT_EQ(uuid.size, size);
        EXPECT_THAT(uuid.bytes, ElementsAreArray(expected)) << size;
    }
    EXPECT_EQ(uuid_of(0, nullptr).size, 0);
}

TEST(CommonUuid, OtherSizesEndTheProcess)
{
    std::vector<std::uint32_t> sizes{17, 18, 20, 32, 254, 255, 256, 258, 0x80000002, UINT32_MAX};
    for (std::uint32_t size = 1; size < 16; ++size) {
        if (size != 2 && size != 4) {
            sizes.push_back(size);
        }
    }
    for (const std::uint32_t size : sizes) {
        for (const void* const data :
             {static_cast<const void*>(kBytes), static_cast<const void*>(nullptr)}) {
            const Outcome outcome = run_fresh([=] {
                COMMON_UUID uuid;
                COMMON_UUID_Set(&uuid, size, data);
            });
            EXPECT_THAT(outcome, killed_by(SIGABRT)) << size;
            EXPECT_THAT(outcome.err, assertion_text("common_uuid", "COMMON_UUID_Set", "0"));
            EXPECT_THAT(outcome.log, IsEmpty());
        }
    }
}

TEST(CommonUuid, NothingToSetEndsTheProcess)
{
    const Outcome outcome = run_fresh([] { COMMON_UUID_Set(nullptr, 3, nullptr); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_uuid", "COMMON_UUID_Set", "((void *)0) != uuid"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonUuid, NoBytesEndTheProcess)
{
    const Outcome outcome = run_fresh([] {
        COMMON_UUID uuid;
        COMMON_UUID_Set(&uuid, 2, nullptr);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err,
                assertion_text("common_uuid", "COMMON_UUID_Set", "((void *)0) != data"));
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(CommonUuid, AllBytesAreComparedAndNoSize)
{
    constexpr std::uint8_t kShort[4] = {0x0A, 0x11, 0, 0};
    const COMMON_UUID two = uuid_of(2, kShort);
    const COMMON_UUID four = uuid_of(4, kShort);
    EXPECT_EQ(COMMON_UUID_Equals(&two, &four), 1U);
    EXPECT_EQ(COMMON_UUID_Equals(&four, &two), 1U);
    const COMMON_UUID empty = uuid_of(0, nullptr);
    const COMMON_UUID other = uuid_of(0, nullptr);
    EXPECT_EQ(COMMON_UUID_Equals(&empty, &other), 1U);
    EXPECT_EQ(COMMON_UUID_Equals(&empty, &two), 0U);
    const COMMON_UUID full = uuid_of(16, kBytes);
    EXPECT_EQ(COMMON_UUID_Equals(&full, &full), 1U);
    for (std::size_t i = 0; i < 16; ++i) {
        COMMON_UUID changed = full;
        EXPECT_EQ(COMMON_UUID_Equals(&full, &changed), 1U);
        changed.bytes[i] ^= 0x80;
        EXPECT_EQ(COMMON_UUID_Equals(&full, &changed), 0U) << i;
    }
}

TEST(CommonUuid, NothingToCompareEndsTheProcess)
{
    const Outcome first = run_fresh([] { COMMON_UUID_Equals(nullptr, nullptr); });
    EXPECT_THAT(first, killed_by(SIGABRT));
    EXPECT_THAT(first.err,
                assertion_text("common_uuid", "COMMON_UUID_Equals", "((void *)0) != uuid1"));
    const Outcome second = run_fresh([] {
        const COMMON_UUID uuid = uuid_of(0, nullptr);
        COMMON_UUID_Equals(&uuid, nullptr);
    });
    EXPECT_THAT(second, killed_by(SIGABRT));
    EXPECT_THAT(second.err,
                assertion_text("common_uuid", "COMMON_UUID_Equals", "((void *)0) != uuid2"));
}

}  // namespace
