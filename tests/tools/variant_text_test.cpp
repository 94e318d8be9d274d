// Serialised variants as a tree and as JSON, and back.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <common/oxavar.h>

#include "codes/hex_text.h"
#include "codes/utf8.h"
#include "codes/variant_json.h"
#include "codes/variant_text.h"
#include "codes/variant_words.h"
#include "variants.h"

using namespace commonctl;
using namespace harness;
using testing::HasSubstr;

namespace {

struct Shown {
    std::string text;
    std::optional<BrokenVariant> broken{};
    std::size_t read = 0;
};

/// All variants of some bytes, up to the first that is broken.
Shown show(const std::string& bytes, VariantText& form)
{
    Shown shown;
    while (shown.read < bytes.size() && !shown.broken) {
        shown.broken = read_variant(bytes, shown.read, form);
        form.end(shown.broken);
        shown.text += form.take();
    }
    return shown;
}

std::string tree(const std::string& bytes)
{
    VariantTree form(bytes.size());
    return show(bytes, form).text;
}

Shown shown_as_json(const std::string& bytes)
{
    VariantJson form;
    return show(bytes, form);
}

std::string json(const std::string& bytes)
{
    return shown_as_json(bytes).text;
}

std::string encoded(const std::string& text)
{
    std::string bytes;
    serialize_json(text, [&](const std::string& variant) { bytes += variant; });
    return bytes;
}

template <typename Function>
std::string refusal(Function function)
{
    try {
        function();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "accepted";
}

std::string encoding_refused(const std::string& text)
{
    return refusal([&] { encoded(text); });
}

/// What the library makes of one variant, and this tool.
void expect_agreement(const std::string& bytes)
{
    COMMON_OXAVar var{};
    std::uint32_t consumed = 0;
    const bool accepted =
        COMMON_OXAVarDeserializeBounded(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                        &var, &consumed) == STATUS_SUCCESS;
    COMMON_OXAVarClear(&var);
    std::size_t read = 0;
    VariantJson form;
    const auto broken = read_variant(bytes, read, form);
    EXPECT_EQ(accepted, !broken) << hex_of(bytes);
    if (accepted && !broken) {
        EXPECT_EQ(read, consumed);
        form.end(broken);
        EXPECT_EQ(hex_of(encoded(form.take())), hex_of(bytes.substr(0, consumed)));
    }
}

TEST(HexText, TakesWhatPeoplePaste)
{
    for (const char* text : {"00ffa1", "00 FF a1", "00:ff:A1\n", "0x00ffa1", "0x00, 0XFF, 0xa1",
                             "\t00\r\nff\r\na1", "0x00 ffa1"}) {
        EXPECT_EQ(bytes_of_hex(text), std::string("\0\xff\xa1", 3)) << text;
    }
    EXPECT_EQ(bytes_of_hex(" \n"), "");
    EXPECT_EQ(hex_of(std::string("\0\xff\xa1", 3)), "00ffa1");
}

TEST(HexText, TellsTheLineAndColumnOfWhatIsWrong)
{
    const std::pair<const char*, const char*> cases[] = {
        {"00 0g", "line 1, column 5: \"g\" is no digit"},
        {"00\n0x1", "line 2, column 4: it ends within a byte"},
        {"00\n\nzz", "line 3, column 1: \"z\""},
        {"0", "line 1, column 2: it ends within a byte"},
        {"0 0", "line 1, column 2: \" \" is no digit"},
        {"0x", "line 1, column 3: it ends within a byte"},
        {"00 \x1b", "\"\\x1b\" is no digit"},
    };
    for (const auto& [text, why] : cases) {
        EXPECT_THAT(refusal([&, text = text] { bytes_of_hex(text); }), HasSubstr(why)) << text;
    }
}

TEST(Utf8, KnowsWholeCharacters)
{
    const std::pair<std::string, std::size_t> cases[] = {
        {"", 0},
        {std::string(1, '\0'), 1},
        {"a", 1},
        {"\x7f", 1},
        {"\x80", 0},
        {"\xc1\xbf", 0},
        {"\xc2\x80", 2},
        {"\xc2", 0},
        {"\xc2 ", 0},
        {"\xe0\x9f\xbf", 0},
        {"\xe0\xa0\x80", 3},
        {"\xed\x9f\xbf", 3},
        {"\xed\xa0\x80", 0},
        {"\xee\x80\x80", 3},
        {"\xe2\x82", 0},
        {"\xf0\x8f\xbf\xbf", 0},
        {"\xf0\x90\x80\x80", 4},
        {"\xf4\x8f\xbf\xbf", 4},
        {"\xf4\x90\x80\x80", 0},
        {"\xf5\x80\x80\x80", 0},
    };
    for (const auto& [bytes, length] : cases) {
        EXPECT_EQ(utf8_length(bytes), length) << hex_of(bytes);
    }
    EXPECT_TRUE(is_utf8("a\xc3\xa4"));
    EXPECT_FALSE(is_utf8("a\xc3\xa4\xff"));
}

TEST(VariantTree, ShowsPlacesTypesAndNesting)
{
    const std::string bytes = array(4, integer(0xfffffff9) + text("ab") +
                                           array(2, pointer(0xab) + word(0)) + real(0x3f000000)) +
                              integer(12);
    EXPECT_EQ(tree(bytes), " 0  array of 4\n"
                           " 8    integer -7\n"
                           "16    text \"ab\" (2 bytes)\n"
                           "28    array of 2\n"
                           "36      pointer 0x000000ab\n"
                           "44      empty\n"
                           "48    float 0.5\n"
                           "56  integer 12\n");
}

TEST(VariantTree, ShowsWhatReadersSkip)
{
    EXPECT_EQ(tree(word(77)), "0  unknown type 77, read as empty\n");
    EXPECT_EQ(tree(text("a", "xyz")), " 0  text \"a\" (1 byte, padding 78797a)\n");
    EXPECT_EQ(tree(text(std::string("a\0bc", 4))),
              " 0  text \"a\\x00bc\" (4 bytes, read up to its first zero byte)\n");
}

TEST(VariantTree, TextsCannotSteerTheTerminal)
{
    EXPECT_EQ(tree(text("\"\\\x1b[1m\x7f\xff\xc2\x9b\xc3\xa4\t")),
              " 0  text \"\\\"\\\\\\x1b[1m\\x7f\\xff\\xc2\\x9b\xc3\xa4\\x09\" (13 bytes)\n");
}

TEST(VariantTree, ShowsEachKindOfFloat)
{
    const std::pair<std::uint32_t, const char*> cases[] = {
        {0, "0.0"},
        {0x80000000, "-0.0"},
        {0x3f800000, "1.0"},
        {0x3dcccccd, "0.1"},
        {0x00000001, "1e-45"},
        {0x7f7fffff, "3.4028235e+38"},
        {0x7f800000, "infinite (0x7f800000)"},
        {0xff800000, "-infinite (0xff800000)"},
        {0x7fc00001, "no number (0x7fc00001)"},
        {0xff800001, "no number (0xff800001)"},
    };
    for (const auto& [bits, shown] : cases) {
        EXPECT_EQ(tree(real(bits)), std::string("0  float ") + shown + "\n");
    }
}

TEST(VariantTree, BrokenInputIsShownUpToTheByte)
{
    const std::string bytes = array(3, integer(1) + text("abcd").substr(0, 10));
    VariantTree form(bytes.size());
    const Shown shown = show(bytes, form);
    ASSERT_TRUE(shown.broken);
    EXPECT_EQ(shown.broken->at, 24U);
    EXPECT_EQ(shown.text, " 0  array of 3\n"
                          " 8    integer 1\n"
                          "24    broken: a text with its padding has 4 bytes, and 2 are left\n");
}

TEST(VariantReader, TellsWhereAndWhyItIsBroken)
{
    struct Case {
        std::string bytes;
        std::size_t at;
        const char* why;
    };
    const Case cases[] = {
        {"xyz", 0, "a type has 4 bytes, and 3 are left"},
        {integer(5) + "xyz", 8, "a type has 4 bytes, and 3 are left"},
        {word(2) + "x", 4, "a value has 4 bytes, and 1 are left"},
        {word(3), 4, "the length of a text has 4 bytes, and 0 are left"},
        {word(3) + word(9) + "abc", 8, "has 12 bytes, and 3 are left"},
        {word(3) + word(0xffffffff) + "abc", 8, "has 4294967296 bytes, and 3 are left"},
        {word(5) + "xy", 4, "the number of elements has 4 bytes, and 2 are left"},
        {array(0xffffffff, word(0)), 12,
         "the array at byte 0 has 4294967295 elements, and 1 are there"},
        {array(2, array(1, word(0))), 20, "the array at byte 0 has 2 elements, and 1 are there"},
        {arrays(65), 512, "more than 64 arrays inside one another"},
    };
    for (const Case& its : cases) {
        const Shown shown = shown_as_json(its.bytes);
        ASSERT_TRUE(shown.broken) << its.why;
        EXPECT_EQ(shown.broken->at, its.at);
        EXPECT_THAT(shown.broken->why, HasSubstr(its.why));
        expect_agreement(its.bytes);
    }
    EXPECT_FALSE(shown_as_json(arrays(64)).broken);
}

TEST(VariantJson, KeepsTypes)
{
    EXPECT_EQ(json(word(0)), "{\"type\":\"empty\"}\n");
    EXPECT_EQ(json(integer(0x80000000)), "{\"type\":\"integer\",\"value\":-2147483648}\n");
    EXPECT_EQ(json(real(0x80000000)), "{\"type\":\"float\",\"value\":-0.0}\n");
    EXPECT_EQ(json(real(0x7fc00001)), "{\"type\":\"float\",\"value\":\"0x7fc00001\"}\n");
    EXPECT_EQ(json(pointer(0x89abcdef)), "{\"type\":\"pointer\",\"value\":\"0x89abcdef\"}\n");
    EXPECT_EQ(json(word(77)), "{\"type\":\"unknown\",\"number\":77}\n");
    EXPECT_EQ(json(text(std::string("\"\0\n", 3))),
              "{\"type\":\"text\",\"value\":\"\\\"\\u0000\\n\"}\n");
    EXPECT_EQ(json(text("a\xff", "xy")),
              "{\"type\":\"text\",\"hex\":\"61ff\",\"padding\":\"7879\"}\n");
    EXPECT_EQ(json(array(2, array(0, "") + integer(1)) + word(0)),
              "{\"type\":\"array\",\"elements\":[{\"type\":\"array\",\"elements\":[]},"
              "{\"type\":\"integer\",\"value\":1}]}\n{\"type\":\"empty\"}\n");
}

TEST(VariantJson, BrokenInputIsWholeJsonThatCannotBeTurnedBack)
{
    const std::string broken = json(array(2, array(9, integer(1))));
    EXPECT_EQ(broken, "{\"type\":\"array\",\"elements\":[{\"type\":\"array\",\"elements\":["
                      "{\"type\":\"integer\",\"value\":1},{\"type\":\"broken\",\"at\":24,"
                      "\"why\":\"the array at byte 8 has 9 elements, and 1 are there\"}]}]}\n");
    EXPECT_THAT(encoding_refused(broken),
                HasSubstr("variant 1: /elements/0/elements/1 has a type \"broken\""));
}

TEST(VariantJson, EachFloatComesBackBitByBit)
{
    std::mt19937 random(4711);
    std::vector<std::uint32_t> all{0,          0x80000000, 1,          0x007fffff,
                                   0x00800000, 0x7f7fffff, 0x7f800000, 0xff800000,
                                   0x7fc00000, 0x7f800001, 0x4b800001, 0x4b7fffff};
    for (int i = 0; i < 20'000; ++i) {
        all.push_back(static_cast<std::uint32_t>(random()));
    }
    std::string bytes;
    for (const std::uint32_t bits : all) {
        bytes += real(bits);
    }
    EXPECT_TRUE(encoded(json(bytes)) == bytes);
}

TEST(VariantJson, TheCorpusComesBackAsTheLibraryReadsIt)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CORPUS)) {
        std::ostringstream content;
        content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        SCOPED_TRACE(entry.path());
        expect_agreement(content.str());
        ++count;
    }
    EXPECT_GT(count, 10);
}

/// Any variant at all, and now and then one that is broken.
std::string random_variant(std::mt19937& random, unsigned depth = 0)
{
    const auto below = [&](std::uint32_t most) {
        return static_cast<std::uint32_t>(random() % most);
    };
    std::string bytes;
    switch (below(depth < 4 ? 8 : 5)) {
    case 0:
        return integer(static_cast<std::uint32_t>(random()));
    case 1:
        return real(static_cast<std::uint32_t>(random()));
    case 2:
        return pointer(static_cast<std::uint32_t>(random()));
    case 3:
        return word(below(2) == 0 ? 0 : 6 + below(100));
    case 4:
        for (std::uint32_t left = below(9); left != 0; --left) {
            bytes += static_cast<char>(below(2) == 0 ? 'a' : below(256));
        }
        return text(bytes, below(4) == 0 ? "xyz" : "");
    default:
        const std::uint32_t count = below(4);
        for (std::uint32_t i = 0; i < count; ++i) {
            bytes += random_variant(random, depth + 1);
        }
        return array(below(20) == 0 ? count + 1 : count, bytes);
    }
}

TEST(VariantJson, AnyVariantComesBackAsTheLibraryReadsIt)
{
    std::mt19937 random(12);
    for (int i = 0; i < 3'000; ++i) {
        const std::string bytes = random_variant(random);
        expect_agreement(bytes);
        expect_agreement(bytes.substr(0, random() % (bytes.size() + 1)));
        expect_agreement(bytes + "x");
        if (testing::Test::HasFailure()) {
            return;
        }
    }
}

TEST(EncodeJson, WritesWhatTheLibraryWrites)
{
    COMMON_OXAVar* const list = COMMON_OXAVarArrayAlloc(3);
    COMMON_OXAVarSetInt(&list->value.elements[0], -7);
    COMMON_OXAVarSetFloat(&list->value.elements[1], 0.1F);
    COMMON_OXAVarSetString(&list->value.elements[2], "hello");
    std::string bytes(COMMON_OXAVarGetSerializedSize(list), '\0');
    EXPECT_EQ(COMMON_OXAVarSerialize(bytes.data(), list, static_cast<std::uint32_t>(bytes.size())),
              bytes.size());
    COMMON_OXAVarFree(list);
    EXPECT_EQ(encoded(R"(
        {"elements": [{"value": -7, "type": "integer"},
                      {"type": "float", "value": 0.1},
                      {"type": "text", "value": "hello"}], "type": "array"})"),
              bytes);
}

TEST(EncodeJson, TakesWholeNumbersForFloatsAndTextsAsHex)
{
    EXPECT_EQ(encoded(R"({"type":"float","value":2})"), real(0x40000000));
    EXPECT_EQ(encoded(R"({"type":"float","value":"0x7F800000"})"), real(0x7f800000));
    EXPECT_EQ(encoded(R"({"type":"text","hex":"61 62"})"), text("ab"));
    EXPECT_EQ(encoded(R"({"type":"unknown","number":4294967295})"), word(0xffffffff));
    EXPECT_EQ(encoded(" \n"), "");
    EXPECT_EQ(encoded(R"({"type":"empty"}{"type":"empty"})"), word(0) + word(0));
}

TEST(EncodeJson, SaysWhatIsWrongAndWhere)
{
    const std::pair<const char*, const char*> cases[] = {
        {"nonsense", "variant 1, byte 1: syntax error"},
        {"{\"type\":\"empty\"} {", "variant 2, byte "},
        {"{\"type\":\"float\",\"value\":1e999}", "variant 1: number overflow"},
        {"[]", "is no object"},
        {"{}", "has no \"type\""},
        {R"({"type":1})", "has a \"type\" that is not a text"},
        {R"({"type":"\u001b"})", "has a type \"\\x1b\""},
        {R"({"type":"empty","value":1})", "a member \"value\" that its type has no use for"},
        {R"({"type":"integer"})", "has no \"value\""},
        {R"({"type":"integer","value":1.5})", "not a whole number"},
        {R"({"type":"integer","value":2147483648})", "not in 32 bits"},
        {R"({"type":"integer","value":-2147483649})", "not in 32 bits"},
        {R"({"type":"integer","value":18446744073709551615})", "not in 32 bits"},
        {R"({"type":"float","value":1e39})", "too large for a float"},
        {R"({"type":"float","value":true})", "not a number or its bits"},
        {R"({"type":"float","value":"nan"})", "\"0x\" and eight digits"},
        {R"({"type":"pointer","value":"0x123"})", "\"0x\" and eight digits"},
        {R"({"type":"pointer","value":"12345678ab"})", "\"0x\" and eight digits"},
        {R"({"type":"pointer","value":"0x1234567g"})", "\"0x\" and eight digits"},
        {R"({"type":"pointer","value":5})", "not a text"},
        {R"({"type":"text","hex":"6"})", "a \"hex\" that is wrong: hexadecimal text, line 1"},
        {R"({"type":"text","hex":"61","value":"a"})", "\"value\" that its type has no use for"},
        {R"({"type":"text","value":"a","padding":"00"})", "not of 3 bytes"},
        {R"({"type":"unknown","number":5})", "the number of a known type"},
        {R"({"type":"unknown","number":4294967296})", "not in 32 bits"},
        {R"({"type":"unknown","number":-1})", "not in 32 bits"},
        {R"({"type":"array","elements":{}})", "not an array"},
        {R"({"type":"array","elements":[{"type":"empty"},1]})", "/elements/1 is no object"},
    };
    for (const auto& [text, why] : cases) {
        EXPECT_THAT(encoding_refused(text), HasSubstr(why)) << text;
    }
}

TEST(EncodeJson, TakesNoMoreArraysInsideOneAnotherThanReaders)
{
    EXPECT_EQ(encoded(json(arrays(64))), arrays(64));
    std::string deep = R"({"type":"empty"})";
    for (int i = 0; i < 65; ++i) {
        deep = R"({"type":"array","elements":[)" + deep + "]}";
    }
    EXPECT_THAT(encoding_refused(deep), HasSubstr("more than 64 arrays inside one another"));
    EXPECT_THAT(encoding_refused(std::string(1'000'000, '[')), HasSubstr("variant 1"));
}

}  // namespace
