// Serialised variants from anywhere: what is accepted is what the trusting reader makes of it, and
// what is refused leaves nothing.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mem_malloc.h"
#include "oxavar.h"
#include "support/input.h"

namespace {

std::vector<std::uint8_t> serialized(const COMMON_OXAVar& var)
{
    std::vector<std::uint8_t> bytes(COMMON_OXAVarGetSerializedSize(&var));
    const auto size = static_cast<std::uint32_t>(bytes.size());
    FUZZ_CHECK(COMMON_OXAVarSerialize(bytes.data(), &var, size) == size);
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    COMMON_OXAVar var{};
    std::uint32_t consumed = 4711;
    const STATUS status =
        COMMON_OXAVarDeserializeBounded(data, static_cast<std::uint32_t>(size), &var, &consumed);
    if (status != STATUS_SUCCESS) {
        FUZZ_CHECK(var.type == OXAVAR_TYPE_NONE && var.count == 0 && var.value.word == 0 &&
                   consumed == 0);
        return 0;
    }
    FUZZ_CHECK(consumed >= 4 && consumed <= size);
    const std::vector<std::uint8_t> form = serialized(var);
    FUZZ_CHECK(form.size() <= consumed);

    COMMON_OXAVar trusted{};
    FUZZ_CHECK(COMMON_OXAVarDeserialize(data, &trusted) == consumed);
    FUZZ_CHECK(serialized(trusted) == form);

    // What we wrote ourselves is read back as it is, and not with a byte less.
    const auto length = static_cast<std::uint32_t>(form.size());
    FUZZ_CHECK(COMMON_OXAVarDeserializeBounded(form.data(), length, &trusted, &consumed) ==
               STATUS_SUCCESS);
    FUZZ_CHECK(consumed == length && serialized(trusted) == form);
    FUZZ_CHECK(COMMON_OXAVarDeserializeBounded(form.data(), length - 1, &trusted, nullptr) !=
               STATUS_SUCCESS);

    COMMON_OXAVarCopy(&trusted, &var);
    FUZZ_CHECK(serialized(trusted) == form);
    MEM_Free(COMMON_OXAVarToString(&var));
    COMMON_OXAVarClear(&trusted);
    COMMON_OXAVarClear(&var);
    return 0;
}
