// The table of module names: fixed names, registration, the configuration file.
#include "oxa_logger.h"

#include <filesystem>
#include <map>
#include <set>

#include "fault.h"
#include "log_calls.h"

namespace {

using namespace harness;

constexpr std::uint32_t kFixed = 219;
constexpr std::uint32_t kCapacity = 251;
const std::string kConfig = "/oxa/slog/oxa_logger.cfg";

std::string name(std::uint32_t id)
{
    return LOG_GetModuleName(id);
}

/// Registers a name that must be new. @return its id.
std::uint32_t registered(const std::string& new_name)
{
    std::uint32_t id = 9999;
    EXPECT_EQ(LOG_ModuleIdStore(new_name.c_str(), &id, 1), STATUS_SUCCESS) << new_name;
    return id;
}

/// Fills every free id.
void fill_table()
{
    for (std::uint32_t id = LOG_GetNumModules(); id < kCapacity; ++id) {
        EXPECT_EQ(registered("DYNAMIC_" + std::to_string(id)), id);
    }
}

/// Reads a configuration file in a fresh process and compares the names that it registered.
void expect_names(const std::string& content, STATUS status, const std::vector<std::string>& names)
{
    SCOPED_TRACE(testing::PrintToString(content));
    const Outcome outcome = well({.files = {{kConfig, content}}}, [&] {
        EXPECT_EQ(LOG_ModuleIdReadConfig(), status);
        EXPECT_EQ(LOG_GetNumModules(), kFixed + names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(name(kFixed + static_cast<std::uint32_t>(i)), names[i]);
        }
        EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_COMPLETE);
        EXPECT_EQ(LOG_GetNumModules(), kFixed + names.size());
    });
    EXPECT_THAT(outcome.log, testing::IsEmpty());
    EXPECT_EQ(outcome.out + outcome.err, "");
}

FRESH_TEST(OxaLogger, FixedNamesAreTheLibrarysAndThoseToBeFilledIn)
{
    const std::map<std::uint32_t, std::string> own{{0, "Generic"}, {15, "TIMER"},  {16, "MALLOC"},
                                                   {17, "CLDES"},  {26, "COMMON"}, {63, "UTILS"}};
    EXPECT_EQ(LOG_GetNumModules(), kFixed);
    for (std::uint32_t id = 0; id < kFixed; ++id) {
        const std::string number = std::to_string(1000 + id).substr(1);
        const auto found = own.find(id);
        EXPECT_EQ(name(id), found != own.end() ? found->second : "COMPONENT_" + number);
    }
}

FRESH_TEST(OxaLogger, FixedNamesAreUniqueAndNotEmpty)
{
    std::set<std::string> names;
    for (std::uint32_t id = 0; id < kFixed; ++id) {
        EXPECT_NE(name(id), "") << id;
        EXPECT_NE(name(id), "Invalid") << id;
        EXPECT_TRUE(names.insert(name(id)).second) << id << " " << name(id);
        std::uint32_t found = 9999;
        EXPECT_EQ(LOG_ModuleIdStore(name(id).c_str(), &found, 0), STATUS_SUCCESS);
        EXPECT_EQ(found, id);
    }
}

FRESH_TEST(OxaLogger, IdsAreValidUpToTheNumberInUse)
{
    for (const std::uint32_t id : {0u, 1u, 218u}) {
        EXPECT_EQ(LOG_IsModuleIdValid(id), 1u) << id;
    }
    for (const std::uint32_t id : {219u, 250u, 251u, 0x80000000u, UINT32_MAX}) {
        EXPECT_EQ(LOG_IsModuleIdValid(id), 0u) << id;
        EXPECT_EQ(name(id), "Invalid") << id;
    }
    EXPECT_EQ(registered("NEW"), kFixed);
    EXPECT_EQ(LOG_IsModuleIdValid(kFixed), 1u);
    EXPECT_EQ(LOG_IsModuleIdValid(kFixed + 1), 0u);
    EXPECT_EQ(name(kFixed), "NEW");
    EXPECT_EQ(name(kFixed + 1), "Invalid");
    EXPECT_EQ(LOG_GetNumModules(), kFixed + 1);
}

FRESH_TEST(OxaLogger, TheNameIsCopied)
{
    char text[] = "MINE";
    std::uint32_t id = 0;
    EXPECT_EQ(LOG_ModuleIdStore(text, &id, 1), STATUS_SUCCESS);
    text[0] = 'X';
    EXPECT_EQ(name(id), "MINE");
}

FRESH_TEST(OxaLogger, AKnownNameGivesItsIdAndAddsNothing)
{
    for (const std::uint32_t allow : {0u, 1u, 2u, UINT32_MAX}) {
        std::uint32_t id = 9999;
        EXPECT_EQ(LOG_ModuleIdStore("COMMON", &id, allow), STATUS_SUCCESS);
        EXPECT_EQ(id, 26u);
    }
    EXPECT_EQ(registered("NEW"), kFixed);
    EXPECT_EQ(registered("NEW"), kFixed);
    EXPECT_EQ(LOG_GetNumModules(), kFixed + 1);
}

FRESH_TEST(OxaLogger, NamesAreComparedWholeAndWithCase)
{
    std::uint32_t expected = kFixed;
    for (const char* other : {"common", "Common", "COMMO", "COMMON ", " COMMON"}) {
        EXPECT_EQ(registered(other), expected++);
    }
}

FRESH_TEST(OxaLogger, OnlyOneAllowsANewName)
{
    for (const std::uint32_t allow : {0u, 2u, 3u, 257u, UINT32_MAX}) {
        std::uint32_t id = 9999;
        EXPECT_EQ(LOG_ModuleIdStore("NEW", &id, allow), STATUS_FAILED) << allow;
        EXPECT_EQ(id, 9999u);
    }
    EXPECT_EQ(LOG_GetNumModules(), kFixed);
}

FRESH_TEST(OxaLogger, BadArgumentsAreRefused)
{
    std::uint32_t id = 9999;
    EXPECT_EQ(LOG_ModuleIdStore(nullptr, &id, 1), STATUS_INVALID_PARAM);
    EXPECT_EQ(LOG_ModuleIdStore("NEW", nullptr, 1), STATUS_INVALID_PARAM);
    EXPECT_EQ(LOG_ModuleIdStore("COMMON", nullptr, 0), STATUS_INVALID_PARAM);
    EXPECT_EQ(LOG_ModuleIdStore("", &id, 1), STATUS_INVALID_PARAM);
    EXPECT_EQ(LOG_ModuleIdStore(nullptr, nullptr, 0), STATUS_INVALID_PARAM);
    EXPECT_EQ(id, 9999u);
    EXPECT_EQ(LOG_GetNumModules(), kFixed);
}

FRESH_TEST(OxaLogger, The33rdNewNameFails)
{
    fill_table();
    EXPECT_EQ(LOG_GetNumModules(), kCapacity);
    std::uint32_t id = 9999;
    EXPECT_EQ(LOG_ModuleIdStore("ONE TOO MANY", &id, 1), STATUS_FAILED);
    EXPECT_EQ(id, 9999u);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic("ONE TOO MANY"), 0u);
    EXPECT_EQ(LOG_GetNumModules(), kCapacity);
    EXPECT_EQ(name(250), "DYNAMIC_250");
    EXPECT_EQ(name(251), "Invalid");
    EXPECT_EQ(LOG_IsModuleIdValid(250), 1u);
    EXPECT_EQ(LOG_IsModuleIdValid(251), 0u);
    // What is there is still found.
    EXPECT_EQ(LOG_ModuleIdStore("DYNAMIC_250", &id, 1), STATUS_SUCCESS);
    EXPECT_EQ(id, 250u);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic("DYNAMIC_219"), 219u);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic("COMMON"), 26u);
}

FRESH_TEST(OxaLogger, AssignDynamic)
{
    EXPECT_EQ(LOG_ModuleIdAssignDynamic(nullptr), 0u);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic(""), 0u);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic("FIRST"), 219u);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic("SECOND"), 220u);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic("FIRST"), 219u);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic("TIMER"), 15u);
    EXPECT_EQ(LOG_GetNumModules(), 221u);
}

TEST(OxaLogger, AssignDynamicReadsTheConfigurationFirst)
{
    well({.files = {{kConfig, "LISTED\nALSO LISTED\n"}}}, [] {
        EXPECT_EQ(LOG_ModuleIdAssignDynamic("OTHER"), 221u);
        EXPECT_EQ(LOG_ModuleIdAssignDynamic("ALSO LISTED"), 220u);
        EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_COMPLETE);
    });
    well({.files = {{kConfig, "LISTED\n"}}}, [] {
        // Nothing to assign: the file is left for later.
        EXPECT_EQ(LOG_ModuleIdAssignDynamic(""), 0u);
        EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_SUCCESS);
    });
}

TEST(OxaLogger, ConfiguredNamesInFileOrder)
{
    expect_names("ONE\nTWO\nTHREE\n", STATUS_SUCCESS, {"ONE", "TWO", "THREE"});
    expect_names("TWO\nONE", STATUS_SUCCESS, {"TWO", "ONE"});
    expect_names("ONE\nCOMMON\nONE\nTWO\n", STATUS_SUCCESS, {"ONE", "TWO"});
    expect_names(" spaced name \n", STATUS_SUCCESS, {" spaced name "});
    expect_names("", STATUS_SUCCESS, {});
}

TEST(OxaLogger, AnEmptyConfiguredLineStopsTheReading)
{
    expect_names("ONE\nTWO\n\nTHREE\n", STATUS_NO_RESOURCES, {"ONE", "TWO"});
    expect_names("\nONE\n", STATUS_NO_RESOURCES, {});
    expect_names("ONE\n\n", STATUS_NO_RESOURCES, {"ONE"});
}

TEST(OxaLogger, LongConfiguredLinesAreSeveralNames)
{
    const std::string piece(31, 'a');
    expect_names(piece + "bbbbbbbbb\n", STATUS_SUCCESS, {piece, "bbbbbbbbb"});
    expect_names(piece + piece.substr(1) + "c\nNEXT\n", STATUS_NO_RESOURCES,
                 {piece, piece.substr(1) + "c"});
    // 30 characters and the newline are one name; with 31 the newline is left, an empty name.
    expect_names(piece.substr(1) + "\nNEXT\n", STATUS_SUCCESS, {piece.substr(1), "NEXT"});
    expect_names(piece + "\nNEXT\n", STATUS_NO_RESOURCES, {piece});
    expect_names(piece, STATUS_SUCCESS, {piece});
}

TEST(OxaLogger, AConfigurationOf33NamesDoesNotFit)
{
    std::string content;
    std::vector<std::string> names;
    for (int i = 0; i < 32; ++i) {
        names.push_back("NAME" + std::to_string(i));
        content += names.back() + "\n";
    }
    expect_names(content, STATUS_SUCCESS, names);
    expect_names(content + "NAME32\n", STATUS_NO_RESOURCES, names);
    expect_names(content + "NAME0\nCOMMON\n", STATUS_SUCCESS, names);
}

FRESH_TEST(OxaLogger, AMissingConfigurationIsNotTriedAgain)
{
    EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_NOT_FOUND);
    std::filesystem::create_directories("/oxa/slog");
    std::FILE* const file = std::fopen(kConfig.c_str(), "w");
    std::fputs("LATE\n", file);
    std::fclose(file);
    EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_COMPLETE);
    EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_COMPLETE);
    EXPECT_EQ(LOG_GetNumModules(), kFixed);
    EXPECT_EQ(LOG_ModuleIdAssignDynamic("OTHER"), kFixed);
}

TEST(OxaLogger, AnUnreadableConfigurationIsNotTriedAgain)
{
    well({.files = {{kConfig, "LISTED\n"}}}, [] {
        fault::fail(fault::Call::open, 1, EACCES);
        EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_NOT_FOUND);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_COMPLETE);
        EXPECT_EQ(LOG_GetNumModules(), kFixed);
    });
}

TEST(OxaLogger, WithoutMemoryANameIsNotRegistered)
{
    well([] {
        std::uint32_t id = 9999;
        fault::fail(fault::Call::strdup);
        EXPECT_EQ(LOG_ModuleIdStore("NEW", &id, 1), STATUS_FAILED);
        EXPECT_EQ(fault::fired(), 1);
        EXPECT_EQ(id, 9999u);
        EXPECT_EQ(LOG_GetNumModules(), kFixed);
        fault::fail(fault::Call::strdup);
        EXPECT_EQ(LOG_ModuleIdAssignDynamic("NEW"), 0u);
        EXPECT_EQ(LOG_ModuleIdAssignDynamic("NEW"), kFixed);
    });
    well({.files = {{kConfig, "ONE\nTWO\nTHREE\n"}}}, [] {
        fault::fail(fault::Call::strdup, 2);
        EXPECT_EQ(LOG_ModuleIdReadConfig(), STATUS_NO_RESOURCES);
        EXPECT_EQ(LOG_GetNumModules(), kFixed + 1);
        EXPECT_EQ(name(kFixed), "ONE");
    });
}

FRESH_TEST(OxaLogger, NamesAreOneBlockEach)
{
    const long blocks = fault::outstanding_blocks();
    registered("NEW");
    registered("NEW");
    registered("COMMON");
    EXPECT_EQ(fault::outstanding_blocks(), blocks + 1);
}

}  // namespace
