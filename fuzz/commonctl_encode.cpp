// What "commonctl encode" reads: what is accepted is a variant that the library accepts, too, and
// its JSON gives the same bytes.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "codes/variant_json.h"
#include "codes/variant_text.h"
#include "oxavar.h"
#include "support/input.h"

namespace {

void look_at_variant(const std::string& bytes)
{
    COMMON_OXAVar var{};
    std::uint32_t consumed = 0;
    const auto size = static_cast<std::uint32_t>(bytes.size());
    FUZZ_CHECK(COMMON_OXAVarDeserializeBounded(bytes.data(), size, &var, &consumed) ==
               STATUS_SUCCESS);
    FUZZ_CHECK(consumed == size);
    COMMON_OXAVarClear(&var);

    std::size_t at = 0;
    commonctl::VariantJson json;
    const auto broken = commonctl::read_variant(bytes, at, json);
    json.end(broken);
    FUZZ_CHECK(!broken && at == size);
    std::string again;
    commonctl::serialize_json(json.take(), [&](const std::string& variant) { again += variant; });
    FUZZ_CHECK(again == bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        commonctl::serialize_json({reinterpret_cast<const char*>(data), size}, look_at_variant);
    } catch (const std::runtime_error&) {  // told what is wrong
    }
    return 0;
}
