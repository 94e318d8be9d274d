// Variants, bytes and texts of a gigabyte, and where 32 bits of a length end.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "data.h"
#include "limits.h"
#include "log_expect.h"
#include "mem_malloc.h"
#include "oxavar.h"
#include "regexp.h"

using namespace harness;

namespace {

constexpr bool kHas64Bits = sizeof(void*) == 8;
constexpr std::uint32_t kMiB = 1U << 20;
constexpr std::uint32_t kGiB = 1U << 30;

struct VariantDeleter {
    void operator()(COMMON_OXAVar* var) const { COMMON_OXAVarFree(var); }
};
using Variant = std::unique_ptr<COMMON_OXAVar, VariantDeleter>;

struct MemoryDeleter {
    void operator()(void* block) const { MEM_Free(block); }
};
using Memory = std::unique_ptr<char, MemoryDeleter>;

/// A text of so many letters, among which some are others.
Memory text_of(std::uint32_t length)
{
    Memory text(static_cast<char*>(MEM_Malloc(length + 1)));
    std::memset(text.get(), 'x', length);
    for (std::uint32_t i = 1; i != 0 && i < length; i *= 3) {
        text.get()[i] = static_cast<char>('a' + i % 23);
    }
    text.get()[length] = '\0';
    return text;
}

TEST(VariantLimits, LongTextIsSerialisedAndReadBack)
{
    const std::uint32_t length = load(16 * kMiB, kGiB);
    well(load_setup(), [=] {
        const std::string loaded = "a text of " + bytes(length);
        Variant var(COMMON_OXAVarAlloc());
        {
            const Memory text = text_of(length);
            COMMON_OXAVarSetString(var.get(), text.get());
        }
        const std::uint32_t size = COMMON_OXAVarGetSerializedSize(var.get());
        Memory form(static_cast<char*>(MEM_Malloc(size)));
        const std::uint32_t written = COMMON_OXAVarSerialize(form.get(), var.get(), size);
        const bool same =
            std::memcmp(form.get() + 8, COMMON_OXAVarGetString(var.get()), length) == 0;
        var.reset(COMMON_OXAVarAlloc());
        const std::int64_t before = heap_bytes();
        std::uint32_t consumed = 0;
        const STATUS status =
            COMMON_OXAVarDeserializeBounded(form.get(), size, var.get(), &consumed);
        const double memory = static_cast<double>(heap_bytes() - before) / size;
        const char* const text = COMMON_OXAVarGetString(var.get());
        const bool read_back = status == STATUS_SUCCESS && consumed == size && text != nullptr &&
                               std::strlen(text) == length &&
                               std::memcmp(form.get() + 8, text, length) == 0;
        promise(loaded, "its form has 8 bytes more, and gives the same text",
                number(std::int64_t{size} - length) + " more, " +
                    (same && read_back ? "the same" : "another"),
                written == size && size == length + 8 && same && read_back);
        promise(loaded, "reading takes a small multiple of the bytes as memory", times(memory),
                memory < 1.1);
    });
}

TEST(VariantLimits, LongArrayIsSerialisedAndReadBack)
{
    const std::uint32_t count = load(kMiB, 64 * kMiB);
    well(load_setup(), [=] {
        const std::string loaded = "an array of " + number(count) + " integers, " +
                                   bytes(static_cast<double>(count) * sizeof(COMMON_OXAVar));
        Variant var(COMMON_OXAVarArrayAlloc(count));
        ASSERT_EQ(var->count, count);
        for (std::uint32_t i = 0; i < count; ++i) {
            COMMON_OXAVarSetInt(&var->value.elements[i],
                                static_cast<std::int32_t>(i * 2'654'435'761U));
        }
        const std::uint32_t size = COMMON_OXAVarGetSerializedSize(var.get());
        const Memory form(static_cast<char*>(MEM_Malloc(size)));
        const std::uint32_t written = COMMON_OXAVarSerialize(form.get(), var.get(), size);
        var.reset(COMMON_OXAVarAlloc());
        const STATUS status = COMMON_OXAVarDeserializeBounded(form.get(), size, var.get(), nullptr);
        std::uint32_t same = 0;
        while (status == STATUS_SUCCESS && same < count &&
               COMMON_OXAVarGetInt(&var->value.elements[same]) ==
                   static_cast<std::int32_t>(same * 2'654'435'761U)) {
            ++same;
        }
        promise(loaded, "8 bytes for the array and for each integer, which are read back",
                number(size) + " bytes, " + counted(same, count) + " the same",
                written == size && size == 8 * count + 8 && same == count);
    });
}

TEST(VariantLimits, ReadingTakesASmallMultipleOfTheBytes)
{
    // The smallest elements, of 4 bytes each.
    const std::uint32_t count = load(kMiB, 64 * kMiB);
    well(load_setup(), [=] {
        std::vector<std::uint32_t> form(std::size_t{count} + 2);
        form[0] = OXAVAR_TYPE_ARRAY;
        form[1] = count;
        const auto size = static_cast<std::uint32_t>(form.size() * sizeof form[0]);
        const std::int64_t before = heap_bytes();
        const Variant var(COMMON_OXAVarAlloc());
        const STATUS status =
            COMMON_OXAVarDeserializeBounded(form.data(), size, var.get(), nullptr);
        const double memory = static_cast<double>(heap_bytes() - before) / size;
        promise(number(count) + " empty variants of 4 bytes each, to be read",
                "it takes a small multiple of the bytes as memory", times(memory),
                status == STATUS_SUCCESS && var->count == count && memory < 4.1);
        // What only says that it has as many takes nothing.
        form[1] = UINT32_MAX;
        const std::int64_t without = heap_bytes();
        const Variant none(COMMON_OXAVarAlloc());
        const STATUS refused =
            COMMON_OXAVarDeserializeBounded(form.data(), size, none.get(), nullptr);
        const std::int64_t taken = heap_bytes() - without;
        promise(number(count) + " empty variants, where 4,294,967,295 are announced",
                "more than there are bytes for are refused",
                bytes(static_cast<double>(taken)) + " taken",
                refused == STATUS_FAILED && none->type == OXAVAR_TYPE_NONE && taken < 1024);
    });
}

TEST(VariantLimits, BlockOf4GiBCannotBeHad)
{
    constexpr std::uint32_t kTooMany = UINT32_MAX / sizeof(COMMON_OXAVar) + 1;
    const std::string loaded = "an array of " + number(kTooMany) + " elements, 4 GiB";
    run_silently(load_setup(), [=] {
        const Variant var(COMMON_OXAVarArrayAlloc(kTooMany));
        promise(loaded, "an array of which no block can be that large has no elements",
                number(var->count) + " elements",
                var->count == 0 && var->value.elements == nullptr);
        Variant text(COMMON_OXAVarAlloc());
        COMMON_OXAVarSetStringN(text.get(), "text", UINT32_MAX);
        promise("a text of up to 4,294,967,295 characters", "it is too long, and stays null",
                COMMON_OXAVarGetString(text.get()) == nullptr ? "null" : "a text",
                text->type == OXAVAR_TYPE_STRING && COMMON_OXAVarGetString(text.get()) == nullptr);
    });
}

TEST(VariantLimits, LargestArrayTakesAlmost4GiB)
{
    constexpr std::uint32_t kMost = UINT32_MAX / sizeof(COMMON_OXAVar);
    const std::uint32_t count = load(kHas64Bits ? kMiB : kMost, kMost);
    const std::string loaded = "an array of " + number(count) + " elements, " +
                               bytes(static_cast<double>(count) * sizeof(COMMON_OXAVar));
    const Outcome outcome = run_fresh(load_setup(), [=] {
        const Variant var(COMMON_OXAVarArrayAlloc(count));
        EXPECT_EQ(var->count, count);
    });
    if (kHas64Bits) {
        promise(loaded, "only a block of 4 GiB or more cannot be had", "it is made",
                outcome.end == Outcome::End::Exited && outcome.number == 0);
    } else {
        promise(loaded, "running out of memory ends the process by exit(1)",
                "exit(" + number(outcome.number) + ")",
                outcome.end == Outcome::End::Exited && outcome.number == 1);
    }
}

TEST(VariantLimits, FormOf4GiBCannotBeWritten)
{
    const std::uint32_t length = load(kMiB, kGiB / 2);
    run_silently(load_setup(), [=] {
        // One text in all elements, which is theirs for as long as they are looked at.
        const std::uint32_t count = static_cast<std::uint32_t>((std::uint64_t{1} << 32) / length);
        const Memory text = text_of(length - 8);
        const Variant var(COMMON_OXAVarArrayAlloc(count));
        const auto fill = [&](std::uint32_t texts) {
            for (std::uint32_t i = 0; i < count; ++i) {
                COMMON_OXAVar& element = var->value.elements[i];
                element = {};
                if (i < texts) {
                    element.type = OXAVAR_TYPE_STRING;
                    element.value.text = text.get();
                }
            }
        };
        fill(count);
        char none = 0;
        const std::uint32_t size = COMMON_OXAVarGetSerializedSize(var.get());
        const std::uint32_t written = COMMON_OXAVarSerialize(&none, var.get(), UINT32_MAX);
        fill(count - 1);
        const std::uint32_t shorter = COMMON_OXAVarGetSerializedSize(var.get());
        fill(0);
        promise("texts of " + bytes(static_cast<double>(length) * count) + " together",
                "their form is longer than can be told, and is not written",
                "size " + number(size) + ", " + number(written) + " bytes written",
                size == UINT32_MAX && written == 0 && shorter == length * (count - 1) + 8 + 4);
    });
}

/// Arrays inside one another, and all that is done with them.
void nest(int depth)
{
    const Variant var(COMMON_OXAVarAlloc());
    COMMON_OXAVar* inner = var.get();
    for (int i = 0; i < depth; ++i) {
        inner = COMMON_OXAVarArrayAllocAt(inner, 1)->value.elements;
    }
    COMMON_OXAVarSetInt(inner, 12);
    const Variant copy(COMMON_OXAVarAlloc());
    COMMON_OXAVarCopy(copy.get(), var.get());
    std::vector<char> form(COMMON_OXAVarGetSerializedSize(copy.get()));
    const auto size = static_cast<std::uint32_t>(form.size());
    EXPECT_EQ(COMMON_OXAVarSerialize(form.data(), copy.get(), size), size);
    EXPECT_EQ(COMMON_OXAVarDeserialize(form.data(), copy.get()), size);
    MEM_Free(COMMON_OXAVarToString(copy.get()));
    const STATUS expected = depth > OXAVAR_DEPTH_MAX ? STATUS_NOT_SUPPORTED : STATUS_SUCCESS;
    EXPECT_EQ(COMMON_OXAVarDeserializeBounded(form.data(), size, copy.get(), nullptr), expected);
}

TEST(VariantLimits, DeepArraysTakeLessThanAMebibyteOfStack)
{
    run_silently(load_setup(), [] {
        nest(OXAVAR_DEPTH_MAX);
        nest(OXAVAR_DEPTH_MAX + 1);
        const double stack = stack_bytes([] { nest(5'000); });
        promise("5,000 arrays inside one another", "they take less than 1 MiB of stack",
                bytes(stack), stack < kMiB);
    });
}

TEST(DataLimits, LongHexadecimalTextIsWrittenAndReadBack)
{
    const std::uint32_t length = load(8 * kMiB, kGiB / 2);
    run_silently(load_setup(), [=] {
        DATA_Array* back = nullptr;
        bool same = false;
        double text_length = 0;
        {
            const Memory source = text_of(length);
            {
                const Memory text(DATA_HexToAscii(source.get(), length));
                text_length = static_cast<double>(std::strlen(text.get()));
                back = DATA_AsciiToHex(text.get());
            }
            same = back->length == length && std::memcmp(back->data, source.get(), length) == 0;
        }
        DATA_ArrayDelete(back);
        promise(bytes(length) + " as hexadecimal text", "two digits for each, which are read back",
                times(text_length / length) + " as long, " + (same ? "the same" : "not the same"),
                same && text_length == 2.0 * length);
    });
}

TEST(DataLimits, TextOf4GiBIsRefused)
{
    const Outcome outcome = well(load_setup(), [] {
        const char byte = 0;
        const bool refused = DATA_HexToAscii(&byte, 2'147'483'648) == nullptr &&
                             DATA_HexDump(&byte, 1'431'655'765) == nullptr &&
                             DATA_HexDumpPretty(&byte, 858'993'457) == nullptr;
        promise("a byte more than a text, a dump or a table of 4 GiB has",
                "it is refused as \"Failed allocating memory.\"",
                refused ? "3 of 3" : "less than 3 of 3", refused);
    });
    for (const LogRecord& record : outcome.log) {
        EXPECT_TRUE(record.text.ends_with("Failed allocating memory.")) << record;
    }
    EXPECT_THAT(outcome.log, testing::SizeIs(3));
}

struct RegExpDeleter {
    void operator()(RegExp* expression) const { RegExp_Delete(expression); }
};
using Expression = std::unique_ptr<RegExp, RegExpDeleter>;

/// Processor time to replace each second letter of a text.
double replace_ns(std::uint32_t length)
{
    std::string text(length, 'x');
    for (std::size_t i = 0; i < text.size(); i += 2) {
        text[i] = 'a';
    }
    const Expression expression(RegExp_New("a", 1));
    return processor_ns([&] {
        const char* const result = RegExp_Replace(expression.get(), text.c_str(), "bcd", 1);
        EXPECT_EQ(std::strlen(result), 2 * std::size_t{length});
    });
}

TEST(RegExpLimits, ReplacingGrowsWithTheText)
{
    const std::uint32_t length = load(kMiB / 4, 32 * kMiB);
    const std::uint32_t part = length / 32;
    run_silently(load_setup(), [=] {
        const double growth = replace_ns(length) / replace_ns(part);
        promise("a text of " + bytes(length) + ", of which each second letter is replaced",
                "the time grows with the lengths of text and result, not with their product",
                times(growth) + " the time of a text that is 32 times as short", growth < 32 * 6);
    });
}

TEST(RegExpLimits, LongTextIsSearched)
{
    // With 64 bits the longest there may be.
    const std::uint32_t length = load(16 * kMiB, kHas64Bits ? 2 * kGiB - 2 : kGiB);
    run_silently(load_setup(), [=] {
        const Memory text = text_of(length);
        std::memcpy(text.get() + length - 6, "needle", 6);
        const Expression expression(RegExp_New("n[e]+dle$", 1));
        const std::uint32_t found = RegExp_Match(expression.get(), text.get());
        promise("a text of " + number(length) + " bytes", "a match at its end is found",
                found == 1 ? "found" : "not found", found == 1);
    });
}

TEST(RegExpLimits, GroupsInsideOneAnotherTakeLessThanAMebibyteOfStack)
{
    run_silently(load_setup(), [] {
        constexpr int kGroups = 500;
        const std::string pattern = std::string(kGroups, '(') + "x" + std::string(kGroups, ')');
        const double stack = stack_bytes([&] {
            char error[100] = "";
            EXPECT_EQ(RegExp_Check(pattern.c_str(), 1, error, sizeof error), 1U) << error;
        });
        promise("500 groups inside one another", "to compile them takes less than 1 MiB of stack",
                bytes(stack), stack < kMiB);
    });
}

}  // namespace
