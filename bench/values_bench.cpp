// What values cost: variants serialised, read back and copied, and expressions matched
// and replaced, against peers.
#include <benchmark/benchmark.h>
#include <regex.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <variant>
#include <vector>

#include "mem_malloc.h"
#include "oxavar.h"
#include "plain_expression.h"
#include "regexp.h"
#include "support/ratio_report.h"

#if HAVE_MSGPACK
#include <msgpack.hpp>
#endif
#if HAVE_GLIB
#include <glib.h>
#endif

namespace {

// The value: 3 integers, 2 texts (one that a std::string holds without the heap, one that it does
// not), an array of 8 integers.
constexpr std::int32_t kIntegers[3] = {4711, -1, 123456789};
constexpr const char* kTexts[2] = {"album", "a long title of an album"};
constexpr std::int32_t kArray[8] = {1, 20, 300, 4000, 50000, 600000, 7000000, 80000000};

constexpr std::uint32_t kRoom = 1024;

// ------------------------------------------------------------------------------------------- ours

void build(COMMON_OXAVar* var)
{
    COMMON_OXAVarArrayAllocAt(var, 6);
    COMMON_OXAVar* element = var->value.elements;
    for (const std::int32_t integer : kIntegers) {
        COMMON_OXAVarSetInt(element++, integer);
    }
    for (const char* const text : kTexts) {
        COMMON_OXAVarSetString(element++, text);
    }
    COMMON_OXAVarArrayAllocAt(element, 8);
    for (std::uint32_t index = 0; index < 8; ++index) {
        COMMON_OXAVarSetInt(&element->value.elements[index], kArray[index]);
    }
}

COMMON_OXAVar* make_variant()
{
    COMMON_OXAVar* const var = COMMON_OXAVarAlloc();
    build(var);
    return var;
}

/// In a record of the caller's.
void build_ours(benchmark::State& state)
{
    for (auto _ : state) {
        COMMON_OXAVar var{};
        build(&var);
        benchmark::ClobberMemory();
        COMMON_OXAVarClear(&var);
    }
}
BENCHMARK(build_ours);

/// Reads back what a variant holds, and releases it in the end. Every iteration also releases what
/// the one before has read.
void deserialise(benchmark::State& state, COMMON_OXAVar* var)
{
    char buffer[kRoom];
    (void)COMMON_OXAVarSerialize(buffer, var, kRoom);
    for (auto _ : state) {
        benchmark::DoNotOptimize(COMMON_OXAVarDeserialize(buffer, var));
        benchmark::ClobberMemory();
    }
    COMMON_OXAVarFree(var);
}

/// A short message: an integer and a text.
void deserialise_short_ours(benchmark::State& state)
{
    COMMON_OXAVar* const var = COMMON_OXAVarArrayAlloc(2);
    COMMON_OXAVarSetInt(&var->value.elements[0], kIntegers[0]);
    COMMON_OXAVarSetString(&var->value.elements[1], kTexts[0]);
    deserialise(state, var);
}
BENCHMARK(deserialise_short_ours);

void serialise_ours(benchmark::State& state)
{
    COMMON_OXAVar* const var = make_variant();
    char buffer[kRoom];
    for (auto _ : state) {
        benchmark::DoNotOptimize(COMMON_OXAVarSerialize(buffer, var, kRoom));
        benchmark::ClobberMemory();
    }
    COMMON_OXAVarFree(var);
}
BENCHMARK(serialise_ours);

void deserialise_ours(benchmark::State& state)
{
    deserialise(state, make_variant());
}
BENCHMARK(deserialise_ours);

void deserialise_bounded_ours(benchmark::State& state)
{
    COMMON_OXAVar* const var = make_variant();
    char buffer[kRoom];
    const std::uint32_t size = COMMON_OXAVarSerialize(buffer, var, kRoom);
    for (auto _ : state) {
        if (COMMON_OXAVarDeserializeBounded(buffer, size, var, nullptr) != STATUS_SUCCESS) {
            state.SkipWithError("the value was refused");
        }
        benchmark::ClobberMemory();
    }
    COMMON_OXAVarFree(var);
}
BENCHMARK(deserialise_bounded_ours);

void copy_ours(benchmark::State& state)
{
    COMMON_OXAVar* const var = make_variant();
    COMMON_OXAVar copy{};
    for (auto _ : state) {
        COMMON_OXAVarCopy(&copy, var);
        benchmark::ClobberMemory();
        COMMON_OXAVarClear(&copy);
    }
    COMMON_OXAVarFree(var);
}
BENCHMARK(copy_ours);

// ------------------------------------------------------------------------------ a std::variant
// tree

struct Tree {
    std::variant<std::monostate, std::int32_t, float, std::string, void*, std::vector<Tree>> value;
};

void build(Tree& tree)
{
    auto& elements = tree.value.emplace<std::vector<Tree>>(6);
    std::size_t index = 0;
    for (const std::int32_t integer : kIntegers) {
        elements[index++].value = integer;
    }
    for (const char* const text : kTexts) {
        elements[index++].value.emplace<std::string>(text);
    }
    auto& array = elements[index].value.emplace<std::vector<Tree>>(8);
    for (index = 0; index < 8; ++index) {
        array[index].value = kArray[index];
    }
}

void build_std_variant(benchmark::State& state)
{
    for (auto _ : state) {
        Tree tree;
        build(tree);
        benchmark::DoNotOptimize(&tree);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(build_std_variant);

void copy_std_variant(benchmark::State& state)
{
    Tree tree;
    build(tree);
    for (auto _ : state) {
        Tree copy(tree);
        benchmark::DoNotOptimize(&copy);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(copy_std_variant);

// --------------------------------------------------------------------------------- msgpack-cxx

#if HAVE_MSGPACK
template <class Stream>
void pack(msgpack::packer<Stream>& packer)
{
    packer.pack_array(6);
    for (const std::int32_t integer : kIntegers) {
        packer.pack(integer);
    }
    for (const char* const text : kTexts) {
        packer.pack(text);
    }
    packer.pack_array(8);
    for (const std::int32_t integer : kArray) {
        packer.pack(integer);
    }
}

/// From a tree that says what its values are, as a variant does.
void serialise_msgpack(benchmark::State& state)
{
    msgpack::sbuffer bytes;
    msgpack::packer<msgpack::sbuffer> packer(bytes);
    pack(packer);
    const msgpack::object_handle tree = msgpack::unpack(bytes.data(), bytes.size());
    for (auto _ : state) {
        bytes.clear();
        packer.pack(tree.get());
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(serialise_msgpack);

/// By one call for each value, whose type the compiler knows.
void serialise_msgpack_calls(benchmark::State& state)
{
    msgpack::sbuffer bytes;
    msgpack::packer<msgpack::sbuffer> packer(bytes);
    for (auto _ : state) {
        bytes.clear();
        pack(packer);
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(serialise_msgpack_calls);

void deserialise_msgpack(benchmark::State& state)
{
    msgpack::sbuffer bytes;
    msgpack::packer<msgpack::sbuffer> packer(bytes);
    pack(packer);
    for (auto _ : state) {
        const msgpack::object_handle tree = msgpack::unpack(bytes.data(), bytes.size());
        benchmark::DoNotOptimize(tree.get().via.array.size);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(deserialise_msgpack);

void deserialise_short_msgpack(benchmark::State& state)
{
    msgpack::sbuffer bytes;
    msgpack::packer<msgpack::sbuffer> packer(bytes);
    packer.pack_array(2);
    packer.pack(kIntegers[0]);
    packer.pack(kTexts[0]);
    for (auto _ : state) {
        const msgpack::object_handle tree = msgpack::unpack(bytes.data(), bytes.size());
        benchmark::DoNotOptimize(tree.get().via.array.size);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(deserialise_short_msgpack);
#endif

// -------------------------------------------------------------------------------------- GVariant

#if HAVE_GLIB
constexpr const char* kSignature = "(iiissai)";

GVariant* make_gvariant()
{
    return g_variant_ref_sink(g_variant_new(
        "(iiiss@ai)", kIntegers[0], kIntegers[1], kIntegers[2], kTexts[0], kTexts[1],
        g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, kArray, 8, sizeof kArray[0])));
}

/// A GVariant serialises itself once, so it is made anew each time.
void serialise_gvariant(benchmark::State& state)
{
    alignas(8) char buffer[kRoom];
    for (auto _ : state) {
        GVariant* const value = make_gvariant();
        if (g_variant_get_size(value) <= sizeof buffer) {
            g_variant_store(value, buffer);
        }
        benchmark::ClobberMemory();
        g_variant_unref(value);
    }
}
BENCHMARK(serialise_gvariant);

/// With every value taken out of it, because nothing is read before.
void deserialise_gvariant(benchmark::State& state)
{
    alignas(8) char buffer[kRoom];
    GVariant* const source = make_gvariant();
    const gsize size = g_variant_get_size(source);
    g_variant_store(source, buffer);
    for (auto _ : state) {
        GVariant* const value = g_variant_ref_sink(g_variant_new_from_data(
            G_VARIANT_TYPE(kSignature), buffer, size, TRUE, nullptr, nullptr));
        gint32 integers[3];
        gchar* texts[2];
        GVariant* array = nullptr;
        g_variant_get(value, "(iiiss@ai)", &integers[0], &integers[1], &integers[2], &texts[0],
                      &texts[1], &array);
        gsize count = 0;
        benchmark::DoNotOptimize(g_variant_get_fixed_array(array, &count, sizeof(gint32)));
        benchmark::DoNotOptimize(integers);
        benchmark::ClobberMemory();
        g_variant_unref(array);
        g_free(texts[0]);
        g_free(texts[1]);
        g_variant_unref(value);
    }
    g_variant_unref(source);
}
BENCHMARK(deserialise_gvariant);
#endif

// Regular expressions.

constexpr const char* kPattern = "\\.(mp3|ogg|flac)$";
constexpr const char* kName = "/media/music/an artist/an album/01 a title.flac";

void match_ours(benchmark::State& state)
{
    RegExp* const regexp = RegExp_New(kPattern, 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(RegExp_Match(regexp, kName));
    }
    RegExp_Delete(regexp);
}
BENCHMARK(match_ours);

void match_regexec(benchmark::State& state)
{
    regex_t expression;
    if (regcomp(&expression, kPattern, REG_EXTENDED) != 0) {
        state.SkipWithError("the pattern does not compile");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(regexec(&expression, kName, 0, nullptr, 0));
    }
    regfree(&expression);
}
BENCHMARK(match_regexec);

// One match replaced, and a match with its groups taken, each with what a caller would write by
// hand: the last result stays until the next one is made.

constexpr const char* kArtist = "an (artist)/(an album)";
constexpr const char* kComposer = "a composer";

void replace_first_ours(benchmark::State& state)
{
    RegExp* const regexp = RegExp_New(kArtist, 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(RegExp_Replace(regexp, kName, kComposer, 0));
    }
    RegExp_Delete(regexp);
}
BENCHMARK(replace_first_ours);

void replace_first_by_hand(benchmark::State& state)
{
    bench::Expression expression(kArtist);
    for (auto _ : state) {
        benchmark::DoNotOptimize(expression.replace_first(kName, kComposer));
    }
}
BENCHMARK(replace_first_by_hand);

void groups_ours(benchmark::State& state)
{
    RegExp* const regexp = RegExp_New(kArtist, 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(RegExp_MatchSubExp(regexp, kName, 0));
    }
    RegExp_Delete(regexp);
}
BENCHMARK(groups_ours);

void groups_by_hand(benchmark::State& state)
{
    bench::Expression expression(kArtist);
    for (auto _ : state) {
        benchmark::DoNotOptimize(expression.groups(kName));
    }
}
BENCHMARK(groups_by_hand);

void replace_all(benchmark::State& state)
{
    std::string text;
    for (std::int64_t match = 0; match < state.range(0); ++match) {
        text += "a field, ";
    }
    RegExp* const regexp = RegExp_New(",( )", 1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(RegExp_Replace(regexp, text.c_str(), ";", 1));
    }
    RegExp_Delete(regexp);
}
BENCHMARK(replace_all)->Arg(20)->Arg(200)->Arg(2000)->Arg(20000);

/// The figures are of no use if the work is not done.
bool checks_hold()
{
    bench::Expression expression(kArtist);
    RegExp* const regexp = RegExp_New(kArtist, 1);
    const bool matches =
        std::strcmp(RegExp_Replace(regexp, kName, kComposer, 0),
                    expression.replace_first(kName, kComposer)) == 0 &&
        SubExps_Size(RegExp_MatchSubExp(regexp, kName, 0)) == 3 &&
        std::strcmp(SubExps_GetIndex(&regexp->subexps, 2), expression.groups(kName)->text) == 0;
    RegExp_Delete(regexp);
    COMMON_OXAVar* const var = make_variant();
    COMMON_OXAVar* const back = COMMON_OXAVarAlloc();
    char buffer[kRoom];
    const std::uint32_t size = COMMON_OXAVarSerialize(buffer, var, kRoom);
    const bool read = COMMON_OXAVarDeserialize(buffer, back) == size;
    char* const text = COMMON_OXAVarToString(back);
    const bool same =
        std::strcmp(text, "{4711, -1, 123456789, \"album\", \"a long title of an album\", "
                          "{1, 20, 300, 4000, 50000, 600000, 7000000, 80000000}}") == 0;
    MEM_Free(text);
    COMMON_OXAVarFree(back);
    COMMON_OXAVarFree(var);
    return read && same && matches;
}

}  // namespace

int main(int argc, char** argv)
{
    if (!checks_hold()) {
        std::fputs("values_bench: the library gives wrong results\n", stderr);
        return 1;
    }
    return bench::run_and_compare(
        argc, argv,
        {
            {"serialise / msgpack pack of a tree", "serialise_ours", "serialise_msgpack", 0.6},
            {"serialise / msgpack pack call by call", "serialise_ours", "serialise_msgpack_calls",
             0},
            {"serialise / GVariant", "serialise_ours", "serialise_gvariant", 1.0},
            {"build / std::variant tree", "build_ours", "build_std_variant", 1.1},
            {"deserialise / msgpack unpack", "deserialise_ours", "deserialise_msgpack", 0.85},
            {"deserialise, short / msgpack unpack", "deserialise_short_ours",
             "deserialise_short_msgpack", 0.85},
            {"deserialise bounded / msgpack unpack", "deserialise_bounded_ours",
             "deserialise_msgpack", 1.0},
            {"deserialise / GVariant", "deserialise_ours", "deserialise_gvariant", 1.0},
            {"deep copy / std::variant tree", "copy_ours", "copy_std_variant", 1.2},
            {"match / bare regexec", "match_ours", "match_regexec", 1.02},
            {"replace first / bare regexec and a joined text", "replace_first_ours",
             "replace_first_by_hand", 1.2},
            {"groups / bare regexec and copies in a list", "groups_ours", "groups_by_hand", 1.15},
            {"replace 200 matches / 20 matches, linear is 10", "replace_all/200", "replace_all/20",
             11},
            {"replace 2,000 matches / 200 matches", "replace_all/2000", "replace_all/200", 11},
            {"replace 20,000 matches / 2,000 matches", "replace_all/20000", "replace_all/2000", 11},
        });
}
