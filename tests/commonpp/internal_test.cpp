// The layer beside the library's inside: both namespaces in one program, nothing confused.
#include <gmock/gmock.h>

#include <commonpp/commonpp.hpp>

#include "fresh_process.h"
#include "log/report.h"
#include "platform/lock_scope.h"
#include "values/regexp_text.h"

// Together, as no name of one is in the other.
using namespace common;
using namespace commonpp;

namespace {

FRESH_TEST(CommonppInternal, LivesBesideTheLibrarysInside)
{
    commonpp::mutex lock;
    {
        const LockScope held(lock.native()->mutex);
        EXPECT_FALSE(lock.try_lock());
    }
    EXPECT_TRUE(lock.try_lock());
    lock.unlock();
    const Source source{"test"};
    EXPECT_STREQ(source.name, "test");
    EXPECT_EQ(commonpp::variant(5).text(), "5");
    EXPECT_TRUE(regex::make("a"));
}

}  // namespace
