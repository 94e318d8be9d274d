// What "commonctl decode" reads: it accepts what the library accepts, and what is accepted comes
// back from JSON as the same bytes.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "codes/hex_text.h"
#include "codes/utf8.h"
#include "codes/variant_json.h"
#include "codes/variant_text.h"
#include "oxavar.h"
#include "support/input.h"

namespace {

void look_at_hex(const std::string& text)
{
    try {
        const std::string bytes = commonctl::bytes_of_hex(text);
        FUZZ_CHECK(bytes.size() <= text.size() / 2);
    } catch (const std::runtime_error&) {  // told where it is wrong
    }
    FUZZ_CHECK(commonctl::bytes_of_hex(commonctl::hex_of(text)) == text);
}

/// @return whether the bytes begin with a whole variant.
bool look_at_variant(std::string_view bytes, commonctl::VariantText& form, std::size_t& at)
{
    const auto broken = commonctl::read_variant(bytes, at, form);
    FUZZ_CHECK(!broken || (broken->at <= bytes.size() && !broken->why.empty()));
    form.end(broken);
    return !broken;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    look_at_hex(bytes);

    COMMON_OXAVar var{};
    std::uint32_t consumed = 0;
    const bool accepted = COMMON_OXAVarDeserializeBounded(data, static_cast<std::uint32_t>(size),
                                                          &var, &consumed) == STATUS_SUCCESS;
    COMMON_OXAVarClear(&var);
    std::size_t at = 0;
    commonctl::VariantJson json;
    FUZZ_CHECK(look_at_variant(bytes, json, at) == accepted);
    const std::string text = json.take();
    FUZZ_CHECK(commonctl::is_utf8(text) && text.find('\n') == text.size() - 1);
    if (accepted) {
        FUZZ_CHECK(at == consumed);
        std::string again;
        commonctl::serialize_json(text, [&](const std::string& variant) { again += variant; });
        FUZZ_CHECK(again == bytes.substr(0, at));
    }

    at = 0;
    commonctl::VariantTree tree(size);
    look_at_variant(bytes, tree, at);
    FUZZ_CHECK(commonctl::is_utf8(tree.take()));
    return 0;
}
