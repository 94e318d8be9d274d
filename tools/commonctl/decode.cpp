#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "codes/hex_text.h"
#include "codes/streams.h"
#include "codes/variant_json.h"
#include "codes/variant_text.h"
#include "command_line.h"
#include "subcommands.h"
#include "terminal.h"

namespace commonctl {
namespace {

/// Hexadecimal text is up to 8 times as long: "0x05, 0x00".
constexpr std::size_t kMostInputBytes = 8 * kMostVariantBytes;

enum class Form { Tree, Json };

struct DecodeOptions {
    Form form = Form::Tree;
    bool hex = false;
    bool binary = false;
    Arguments input;  ///< "-", the path of a file, or words of hexadecimal text; empty is "-"
};

bool is_path(const Arguments& input)
{
    std::error_code ignored;
    return input.size() == 1 && (input[0] == "-" || input[0].find('/') != std::string::npos ||
                                 std::filesystem::exists(std::filesystem::path(input[0]), ignored));
}

std::string joined(const Arguments& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

/// Each type that there is has a zero among its four bytes, and no text has.
bool looks_binary(const std::string& content)
{
    return content.substr(0, 4).find('\0') != std::string::npos;
}

std::string bytes_to_decode(const DecodeOptions& options)
{
    std::string bytes;
    if (!options.input.empty() && !is_path(options.input)) {
        if (options.binary) {
            throw UsageError("--binary is for a file or standard input, and there is no file \"" +
                             printable(joined(options.input)) + "\"");
        }
        bytes = bytes_of_hex(joined(options.input));
    } else {
        bytes = read_input(options.input.empty() ? "-" : options.input[0], kMostInputBytes);
        if (options.hex || (!options.binary && !looks_binary(bytes))) {
            bytes = bytes_of_hex(bytes);
        }
    }
    if (bytes.empty()) {
        throw std::runtime_error("there are no bytes to decode");
    }
    if (bytes.size() > kMostVariantBytes) {
        throw std::runtime_error("more than " + std::to_string(kMostVariantBytes) +
                                 " serialised bytes; give a part of them");
    }
    return bytes;
}

int decode(const DecodeOptions& options)
{
    const std::string bytes = bytes_to_decode(options);
    VariantTree tree(bytes.size());
    VariantJson json;
    VariantText& text = options.form == Form::Tree ? static_cast<VariantText&>(tree)
                                                   : static_cast<VariantText&>(json);
    for (std::size_t at = 0; at < bytes.size();) {
        const auto broken = read_variant(bytes, at, text);
        text.end(broken);
        write_output(text.take());
        if (broken) {
            flush_output();
            throw std::runtime_error("broken at byte " + std::to_string(broken->at) + ": " +
                                     broken->why);
        }
    }
    flush_output();
    return kSuccess;
}

struct EncodeOptions {
    bool binary = false;
    std::string input = "-";  ///< "-", the path of a file, or an object of JSON
};

int encode(const EncodeOptions& options)
{
    const std::string text =
        options.input.starts_with('{') ? options.input : read_input(options.input, kMostJsonBytes);
    bool any = false;
    try {
        serialize_json(text, [&](const std::string& bytes) {
            write_output(options.binary ? bytes : hex_of(bytes) + "\n");
            any = true;
        });
    } catch (const std::runtime_error&) {
        flush_output();
        throw;
    }
    flush_output();
    if (!any) {
        throw std::runtime_error("there is no variant to encode");
    }
    return kSuccess;
}

}  // namespace

void add_decode(Tool& tool)
{
    auto [line, options] = tool.add<DecodeOptions>(
        "decode", "show serialised variants as a tree or as JSON",
        "Shows serialised variants (oxavar.h), as many as there are behind one another, as an\n"
        "indented tree: the byte that each begins at, its type, its value. The INPUT is a file,\n"
        "\"-\" (standard input, as without one) or hexadecimal text: two digits a byte, with\n"
        "blanks, line ends, colons, commas and \"0x\" between them as you like. A file may have\n"
        "such text, too: it is taken for bytes when there is a zero among its first four, as in\n"
        "each serialised variant.\n"
        "\n"
        "With -o json: an object a line, {\"type\":T,...} with T empty, integer, float, text,\n"
        "pointer, array or unknown. \"value\" is the value (of a pointer, and of a float that is\n"
        "infinite or no number, the bits as \"0x7fc00000\"); a text that is no UTF-8 has \"hex\"\n"
        "instead, one with a padding that is not zero also has \"padding\"; an array has\n"
        "\"elements\", an unknown type its \"number\". \"commonctl encode\" gives the same bytes.\n"
        "\n"
        "Reads 1 MiB of serialised bytes at most (so 262144 variants), as 8 MiB of text, and 64\n"
        "arrays inside one another. Words have the byte order of this machine. Broken input:\n"
        "what could be read is shown, then an error that tells the byte, and the status is 1.",
        decode);
    line.word("-o,--output", "FORM", options.form, "Show as tree (the default) or json",
              {{"tree", Form::Tree}, {"json", Form::Json}});
    line.flag("--hex", options.hex, "The file has hexadecimal text");
    line.flag("--binary", options.binary, "The file has the bytes themselves");
    line.alternatives({"--hex", "--binary"});
    line.option("INPUT", "", options.input, "FILE, - or hexadecimal text");
    line.examples("  commonctl decode 05000000 02000000 01000000 f9ffffff 00000000\n"
                  "  commonctl decode -o json message.bin | jq .type\n"
                  "  commonctl decode -o json message.bin | commonctl encode --binary > same.bin");
}

void add_encode(Tool& tool)
{
    auto [line, options] = tool.add<EncodeOptions>(
        "encode", "turn JSON of \"decode\" back into serialised variants",
        "Reads variants as \"commonctl decode -o json\" writes them, an object behind the other,\n"
        "and writes their serialised form: hexadecimal text, a variant a line, or with --binary\n"
        "the bytes. The INPUT is a file, \"-\" (standard input, as without one) or an object.\n"
        "Reads 16 MiB of JSON at most, and 64 arrays inside one another. What is wrong is told\n"
        "with the variant's number and the path to it; those in front of it are written.",
        encode);
    line.flag("--binary", options.binary, "Write the bytes themselves");
    line.option("INPUT", "", options.input, "FILE, - or an object of JSON");
    line.examples("  commonctl encode '{\"type\":\"integer\",\"value\":-7}'\n"
                  "  commonctl encode --binary variants.json > message.bin");
}

}  // namespace commonctl
