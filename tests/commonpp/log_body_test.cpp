// log: what is evaluated when; without a look at the records.
#include <cerrno>
#include <string>

#include "bodies.h"

namespace {

constexpr commonpp::zone kZone{"TUNER"};

int evaluated = 0;
int value()
{
    return ++evaluated;
}

BODY(CommonppLog, MacroEvaluatesNothingOfARejectedRecord)
{
    evaluated = 0;
    COMMONPP_LOG(kZone.debug(), "%d", value());
    COMMONPP_LOG(kZone.verbose(), "%d %d", value(), value());
    CHECK_EQ(evaluated, 0);
    // A statement like any other.
    if (evaluated == 0)
        COMMONPP_LOG(kZone.debug(), "no values");
    else
        evaluated = 7;
    CHECK_EQ(evaluated, 0);
    kZone.debug()("%d", value());
    CHECK_EQ(evaluated, 1);
}

BODY(CommonppLog, RecordSaysWhetherItIsWanted)
{
    CHECK(static_cast<bool>(kZone.info()));
    CHECK(!kZone.debug());
    errno = EBADF;
    CHECK(static_cast<bool>(kZone.fatal()));
    CHECK_EQ(errno, EBADF);
}

}  // namespace
