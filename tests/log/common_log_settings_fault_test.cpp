// The cache setting and the thread-specific slot that it needs.
#include "fault.h"
#include "settings_seen.h"

namespace {

using namespace harness;
using testing::SizeIs;

const FreshSetup kCacheOff{.env = {{"COMMON_LOG_CACHE", "False"}}};

/// Writes a record. @return how many blocks stay with the thread.
long blocks_kept_by_a_record()
{
    const long before = fault::outstanding_blocks();
    log_message(kInfo, "kept or not");
    return fault::outstanding_blocks() - before;
}

TEST(CommonLogSettingsFault, CacheTurnedOnLaterMakesTheSlotOnce)
{
    const Outcome outcome = well(kCacheOff, [] {
        EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
        EXPECT_EQ(blocks_kept_by_a_record(), 0);
        EXPECT_EQ(fault::calls(fault::Call::pthread_key_create), 0);
        COMMON_Log_CacheSet(1);
        EXPECT_EQ(fault::calls(fault::Call::pthread_key_create), 1);
        EXPECT_EQ(blocks_kept_by_a_record(), 1);
        EXPECT_EQ(blocks_kept_by_a_record(), 0) << "the thread has its record";
        COMMON_Log_CacheSet(0);
        COMMON_Log_CacheSet(1);
        EXPECT_EQ(fault::calls(fault::Call::pthread_key_create), 1);
        EXPECT_EQ(COMMON_Log_CacheGet(), 1u);
    });
    EXPECT_THAT(outcome.log, SizeIs(3));
}

TEST(CommonLogSettingsFault, CacheStaysOffWhenTheSlotCannotBeMade)
{
    FreshSetup setup = kCacheOff;
    setup.env["COMMON_DEBUG_ENABLE"] = "True";
    const Outcome outcome = well(setup, [] {
        COMMON_Log_CacheGet();
        fault::fail(fault::Call::pthread_key_create, 1, EAGAIN);
        COMMON_Log_CacheSet(1);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
        EXPECT_EQ(blocks_kept_by_a_record(), 0);
        COMMON_Log_CacheSet(1);
        EXPECT_EQ(COMMON_Log_CacheGet(), 1u) << "the next one can do it";
        EXPECT_EQ(blocks_kept_by_a_record(), 1);
    });
    EXPECT_THAT(row_texts(outcome.err),
                testing::Contains(log_row("stderr", "COMMON_Log_CacheSet",
                                          "Disabling caching due to failure creating the key with "
                                          "error: Resource temporarily unavailable (11)"))
                    .Times(1));
    EXPECT_THAT(outcome.log, SizeIs(2));
}

TEST(CommonLogSettingsFault, AFailingSlotIsSilentWhileDebugOutputIsOff)
{
    const Outcome outcome = well(kCacheOff, [] {
        COMMON_Log_CacheGet();
        fault::fail(fault::Call::pthread_key_create);
        COMMON_Log_CacheSet(1);
        EXPECT_EQ(COMMON_Log_CacheGet(), 0u);
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_THAT(outcome.log, SizeIs(0));
}

TEST(CommonLogSettingsFault, OtherValuesThanOneNeedNoSlot)
{
    well(kCacheOff, [] {
        for (const std::uint32_t value : {0u, 2u, UINT32_MAX}) {
            COMMON_Log_CacheSet(value);
            EXPECT_EQ(COMMON_Log_CacheGet(), value);
            EXPECT_EQ(blocks_kept_by_a_record(), 0);
        }
        EXPECT_EQ(fault::calls(fault::Call::pthread_key_create), 0);
    });
}

}  // namespace
