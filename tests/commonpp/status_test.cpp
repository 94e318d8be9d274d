// status: its numbers, texts and error codes; a value or an error.
#include <cstring>
#include <string>
#include <system_error>

#include "bodies.h"

using commonpp::result;
using commonpp::status;

namespace {

BODY(CommonppStatus, NumbersAndTextsAreThoseOfTheLibrary)
{
    for (STATUS code = 0; code < 300; ++code) {
        CHECK_EQ(static_cast<STATUS>(commonpp::to_status(code)), code);
        CHECK_EQ(std::strcmp(to_string(commonpp::to_status(code)), StatusToStr(code)), 0);
        CHECK_EQ(ok(commonpp::to_status(code)), code == STATUS_SUCCESS);
    }
    CHECK_EQ(static_cast<STATUS>(status::success), 100U);
    CHECK_EQ(static_cast<STATUS>(status::unrecognised), 114U);
    CHECK_EQ(static_cast<STATUS>(status::no_first_value), 123U);
}

BODY(CommonppStatus, IsAnErrorCode)
{
    const std::error_code good = status::success;
    CHECK(!good);
    CHECK_EQ(good.value(), 0);
    CHECK_EQ(good.message(), "Success");
    const std::error_code late = status::timeout;
    CHECK(static_cast<bool>(late));
    CHECK_EQ(late.value(), 121);
    CHECK_EQ(late.message(), StatusToStr(STATUS_TIMEOUT));
    CHECK_EQ(std::string(late.category().name()), "common");
    CHECK(late == status::timeout);
    CHECK(late != status::busy);
    CHECK(&late.category() == &commonpp::error_category());
}

BODY(CommonppStatus, ResultIsAValueOrAnError)
{
    result<std::string> text = std::string("value");
    CHECK(static_cast<bool>(text));
    CHECK_EQ(*text, "value");
    CHECK_EQ(text->size(), 5U);
    const std::string taken = *std::move(text);
    CHECK_EQ(taken, "value");
    const result<std::string> none = status::not_found;
    CHECK(!none);
    CHECK(none.error() == status::not_found);
    const result<std::string> copy = result<std::string>(std::string("copied"));
    CHECK_EQ(*copy, "copied");
    CHECK_EQ(copy->size(), 6U);
}

}  // namespace
