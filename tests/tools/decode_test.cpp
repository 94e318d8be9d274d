// commonctl decode and encode, as their user sees them.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "codes/hex_text.h"
#include "fresh_process.h"
#include "variants.h"

using namespace harness;
using commonctl::hex_of;
using testing::HasSubstr;

namespace {

using Words = std::vector<std::string>;

Outcome commonctl_run(const Words& arguments, const FreshSetup& setup = {})
{
    Words words{COMMONCTL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_program(setup, words);
}

Outcome shell(const std::string& script, const FreshSetup& setup = {})
{
    return run_program(setup, {"sh", "-c", "commonctl() { " COMMONCTL " \"$@\"; }; " + script});
}

const std::string kList = array(2, integer(1) + text("a"));
const std::string kTree = " 0  array of 2\n 8    integer 1\n16    text \"a\" (1 byte)\n";

TEST(CommonctlDecode, TakesTextAFileOrStandardInput)
{
    const FreshSetup setup{.files = {{"/tmp/bytes", kList},
                                     {"/tmp/text", hex_of(kList) + "\n"},
                                     {"/tmp/0500", kList}}};
    for (const std::string& line : std::vector<std::string>{
             "commonctl decode " + hex_of(kList),
             "commonctl decode 0x05000000 " + hex_of(kList.substr(4)),
             "commonctl decode /tmp/bytes", "commonctl decode /tmp/text",
             "commonctl decode < /tmp/bytes", "commonctl decode - < /tmp/text",
             "cat /tmp/bytes | commonctl decode --binary", "commonctl decode --hex /tmp/text",
             // A file that is there is meant.
             "cd /tmp && commonctl decode 0500"}) {
        const Outcome outcome = shell(line, setup);
        EXPECT_THAT(outcome, exited(0));
        EXPECT_EQ(outcome.out, kTree) << line;
        EXPECT_EQ(outcome.err, "");
    }
}

TEST(CommonctlDecode, OptionsSayWhatAFileHas)
{
    // Neither is what it looks like.
    const FreshSetup setup{.files = {{"/tmp/unknown", "abcd"}, {"/tmp/zeroes", word(0)}}};
    EXPECT_EQ(shell("commonctl decode --binary /tmp/unknown", setup).out,
              "0  unknown type 1684234849, read as empty\n");
    const Outcome hex = shell("commonctl decode --hex /tmp/zeroes", setup);
    EXPECT_THAT(hex, exited(1));
    EXPECT_EQ(hex.err, "commonctl: hexadecimal text, line 1, column 1: \"\\x00\" is no digit here; "
                       "a byte has two of 0-9a-f\n");
}

TEST(CommonctlDecode, ShowsWhatCouldBeReadAndFails)
{
    const std::string bytes = integer(5) + kList.substr(0, kList.size() - 1);
    const Outcome outcome = commonctl_run({"decode", hex_of(bytes)});
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.out, " 0  integer 5\n 8  array of 2\n16    integer 1\n"
                           "32    broken: a text with its padding has 4 bytes, and 3 are left\n");
    EXPECT_EQ(outcome.err, "commonctl: broken at byte 32: a text with its padding has 4 bytes, and "
                           "3 are left\n");
}

TEST(CommonctlDecode, JsonGoesBackToTheSameBytes)
{
    const std::string bytes =
        array(3, real(0x7fc00001) + text(std::string("\0\xff", 2), "xy") + word(77)) + kList;
    const FreshSetup setup{.files = {{"/tmp/bytes", bytes}}};
    const Outcome binary = shell("commonctl decode -o json /tmp/bytes | commonctl encode --binary |"
                                 " cmp - /tmp/bytes",
                                 setup);
    EXPECT_THAT(binary, exited(0));
    EXPECT_EQ(binary.out + binary.err, "");
    const Outcome hex =
        shell("commonctl decode -o json /tmp/bytes > /tmp/json; commonctl encode /tmp/json", setup);
    EXPECT_EQ(hex.out,
              hex_of(bytes.substr(0, bytes.size() - kList.size())) + "\n" + hex_of(kList) + "\n");
}

TEST(CommonctlDecode, ReadsSoMuchAndNoMore)
{
    const std::string most(1 << 20, '\0');
    const FreshSetup setup{.files = {{"/tmp/most", most}, {"/tmp/more", most + word(0)}}};
    const Outcome outcome = shell("commonctl decode /tmp/most | wc -l; commonctl decode -o json "
                                  "/tmp/most | commonctl encode --binary | cmp - /tmp/most",
                                  setup);
    EXPECT_EQ(outcome.out, "262144\n");
    EXPECT_THAT(outcome, exited(0));
    const Outcome more = shell("commonctl decode /tmp/more", setup);
    EXPECT_THAT(more, exited(1));
    EXPECT_EQ(more.err, "commonctl: more than 1048576 serialised bytes; give a part of them\n");
    const Outcome endless = shell("commonctl decode --binary /dev/zero", setup);
    EXPECT_THAT(endless, exited(1));
    EXPECT_EQ(endless.err, "commonctl: /dev/zero has more than 8388608 bytes; give a part of it\n");
    const Outcome json = shell("commonctl encode /dev/zero", setup);
    EXPECT_EQ(json.err, "commonctl: /dev/zero has more than 16777216 bytes; give a part of it\n");
}

TEST(CommonctlDecode, BadInputIsOneLine)
{
    const std::pair<Words, const char*> cases[] = {
        {{"decode"}, "there are no bytes to decode\n"},
        {{"decode", "/tmp/none"}, "/tmp/none: No such file or directory\n"},
        {{"decode", "/tmp"}, "/tmp: Is a directory\n"},
        {{"decode", "none"}, "line 1, column 1: \"n\" is no digit here"},
        {{"encode"}, "there is no variant to encode\n"},
        {{"encode", "/tmp/none"}, "/tmp/none: No such file or directory\n"},
        {{"encode", "{\"type\":\"none\"}"}, "variant 1: it has a type \"none\""},
    };
    for (const auto& [arguments, why] : cases) {
        const Outcome outcome = commonctl_run(arguments);
        EXPECT_THAT(outcome, exited(1));
        EXPECT_THAT(outcome.err, testing::StartsWith("commonctl: "));
        EXPECT_THAT(outcome.err, HasSubstr(why));
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1);
    }
    for (const Words& arguments : std::vector<Words>{{"decode", "--hex", "--binary", "/tmp/x"},
                                                     {"decode", "-o", "xml"},
                                                     {"decode", "--binary", "0500"},
                                                     {"encode", "a", "b"}}) {
        EXPECT_THAT(commonctl_run(arguments), exited(2));
    }
}

TEST(CommonctlDecode, ABrokenPipeEndsItQuietly)
{
    const Outcome outcome = shell("{ " COMMONCTL " decode /tmp/most; echo $? >&2; } | head -n 1",
                                  {.files = {{"/tmp/most", std::string(1 << 20, '\0')}}});
    EXPECT_EQ(outcome.out, "      0  empty\n");
    EXPECT_EQ(outcome.err, "141\n");
}

TEST(CommonctlDecode, AnOutputThatTakesNothingIsAFailure)
{
    const Outcome outcome = shell("commonctl decode 00000000 > /dev/full");
    EXPECT_THAT(outcome, exited(1));
    EXPECT_EQ(outcome.err, "commonctl: standard output: No space left on device\n");
}

}  // namespace
