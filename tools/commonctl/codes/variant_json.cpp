#include "codes/variant_json.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <sstream>
#include <stdexcept>

#include <common/oxavar.h>
#include <nlohmann/json.hpp>

#include "codes/hex_text.h"
#include "codes/utf8.h"
#include "codes/variant_text.h"
#include "codes/variant_words.h"
#include "terminal.h"

namespace commonctl {
namespace {

using nlohmann::json;

std::string json_text(std::string_view text)
{
    return json(text).dump();
}

void append(std::string& bytes, std::uint32_t word)
{
    char raw[sizeof word];
    std::memcpy(raw, &word, sizeof word);
    bytes.append(raw, sizeof raw);
}

/// One variant of a text of JSON, and where in it we are.
class Encoder {
public:
    explicit Encoder(std::string& bytes) : bytes_(bytes) {}

    void encode(const json& variant, unsigned depth = 0)
    {
        if (!variant.is_object()) {
            refuse("is no object such as {\"type\":\"integer\",\"value\":1}");
        }
        const std::string type = member(variant, "type", &json::is_string, "a text");
        if (type == "empty") {
            only(variant, {});
            append(bytes_, OXAVAR_TYPE_NONE);
        } else if (type == "unknown") {
            encode_unknown(variant);
        } else if (type == "integer") {
            encode_integer(variant);
        } else if (type == "float") {
            encode_float(variant);
        } else if (type == "pointer") {
            only(variant, {"value"});
            append(bytes_, OXAVAR_TYPE_PVOID);
            append(bytes_, bits_of(member(variant, "value", &json::is_string, "a text")));
        } else if (type == "text") {
            encode_text(variant);
        } else if (type == "array") {
            encode_array(variant, depth);
        } else {
            refuse("has a type \"" + printable(type) +
                   "\", and not empty, integer, float, text, pointer, array or unknown");
        }
    }

private:
    [[noreturn]] void refuse(const std::string& why) const
    {
        throw std::runtime_error((path_.empty() ? "it" : path_) + " " + why);
    }

    const json& member(const json& variant, const char* name, bool (json::*is)() const noexcept,
                       const char* kind) const
    {
        const auto found = variant.find(name);
        if (found == variant.end()) {
            refuse(std::string("has no \"") + name + "\"");
        }
        if (!((*found).*is)()) {
            refuse(std::string("has a \"") + name + "\" that is not " + kind);
        }
        return *found;
    }

    /// Refuses members that would be lost.
    void only(const json& variant, std::initializer_list<const char*> names) const
    {
        for (const auto& [name, value] : variant.items()) {
            const bool known =
                name == "type" || std::find(names.begin(), names.end(), name) != names.end();
            if (!known) {
                refuse("has a member \"" + printable(name) + "\" that its type has no use for");
            }
        }
    }

    std::int64_t number(const json& variant, const char* name, std::int64_t least,
                        std::int64_t most) const
    {
        const json& found = member(variant, name, &json::is_number_integer, "a whole number");
        const bool large = found.is_number_unsigned() &&
                           found.get<std::uint64_t>() > static_cast<std::uint64_t>(most);
        if (large || found.get<std::int64_t>() < least || found.get<std::int64_t>() > most) {
            refuse(std::string("has a \"") + name + "\" that is not in 32 bits");
        }
        return found.get<std::int64_t>();
    }

    std::uint32_t bits_of(const std::string& text) const
    {
        const bool right = text.size() == 10 && text.starts_with("0x") &&
                           text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string::npos;
        if (!right) {
            refuse("has a \"value\" that is not \"0x\" and eight digits");
        }
        return static_cast<std::uint32_t>(std::stoul(text, nullptr, 16));
    }

    void encode_unknown(const json& variant)
    {
        only(variant, {"number"});
        const auto type = static_cast<std::uint32_t>(
            number(variant, "number", 0, std::numeric_limits<std::uint32_t>::max()));
        if (type <= OXAVAR_TYPE_ARRAY) {
            refuse("has the number of a known type");
        }
        append(bytes_, type);
    }

    void encode_integer(const json& variant)
    {
        only(variant, {"value"});
        const std::int64_t value =
            number(variant, "value", std::numeric_limits<std::int32_t>::min(),
                   std::numeric_limits<std::int32_t>::max());
        append(bytes_, OXAVAR_TYPE_INT);
        append(bytes_, static_cast<std::uint32_t>(value));
    }

    void encode_float(const json& variant)
    {
        only(variant, {"value"});
        append(bytes_, OXAVAR_TYPE_FLOAT);
        const auto found = variant.find("value");
        if (found != variant.end() && found->is_string()) {
            append(bytes_, bits_of(found->get<std::string>()));
            return;
        }
        const double wide = member(variant, "value", &json::is_number, "a number or its bits");
        const auto narrow = static_cast<float>(wide);
        if (std::isinf(narrow)) {
            refuse("has a \"value\" that is too large for a float of 32 bits");
        }
        append(bytes_, std::bit_cast<std::uint32_t>(narrow));
    }

    std::string hex_member(const json& variant, const char* name) const
    {
        try {
            return bytes_of_hex(
                member(variant, name, &json::is_string, "a text").get_ref<const std::string&>());
        } catch (const std::runtime_error& error) {
            refuse(std::string("has a \"") + name + "\" that is wrong: " + error.what());
        }
    }

    void encode_text(const json& variant)
    {
        only(variant, {variant.contains("hex") ? "hex" : "value", "padding"});
        const std::string text =
            variant.contains("hex")
                ? hex_member(variant, "hex")
                : member(variant, "value", &json::is_string, "a text").get<std::string>();
        const std::size_t room = padding_of(text.size());
        const std::string padding =
            variant.contains("padding") ? hex_member(variant, "padding") : std::string(room, '\0');
        if (padding.size() != room) {
            refuse("has a \"padding\" that is not of " + std::to_string(room) + " bytes");
        }
        append(bytes_, OXAVAR_TYPE_STRING);
        append(bytes_, static_cast<std::uint32_t>(text.size()));
        bytes_ += text + padding;
    }

    void encode_array(const json& variant, unsigned depth)
    {
        only(variant, {"elements"});
        const json& elements = member(variant, "elements", &json::is_array, "an array");
        if (depth == OXAVAR_DEPTH_MAX) {
            refuse("is in more than " + std::to_string(OXAVAR_DEPTH_MAX) +
                   " arrays inside one another, which no reader takes");
        }
        append(bytes_, OXAVAR_TYPE_ARRAY);
        append(bytes_, static_cast<std::uint32_t>(elements.size()));
        const std::size_t length = path_.size();
        for (std::size_t i = 0; i < elements.size(); ++i) {
            path_ += "/elements/" + std::to_string(i);
            encode(elements[i], depth + 1);
            path_.resize(length);
        }
    }

    std::string& bytes_;
    std::string path_;
};

/// What the parser says, without its own name and without the place, which it counts anew for each
/// value.
std::string reason(const json::exception& error)
{
    const std::string text = error.what();
    const auto name = text.find("] ");
    const auto place = text.find(": ");
    const auto begin = place != std::string::npos  ? place + 2
                       : name != std::string::npos ? name + 2
                                                   : 0;
    return printable(text.substr(begin));
}

}  // namespace

void VariantJson::object(const char* type, const std::string& members)
{
    text_ += (first_ ? "" : ",") + std::string("{\"type\":\"") + type + "\"" + members;
    first_ = false;
}

void VariantJson::word(std::size_t /*at*/, std::uint32_t type, std::uint32_t bits)
{
    if (type == OXAVAR_TYPE_INT) {
        object("integer", ",\"value\":" + std::to_string(static_cast<std::int32_t>(bits)) + "}");
    } else if (type == OXAVAR_TYPE_FLOAT && is_finite_float(bits)) {
        object("float", ",\"value\":" + float_text(bits) + "}");
    } else {
        object(type == OXAVAR_TYPE_FLOAT ? "float" : "pointer",
               ",\"value\":\"" + word_text(bits) + "\"}");
    }
}

void VariantJson::text(std::size_t /*at*/, std::string_view text, std::string_view padding)
{
    std::string members =
        is_utf8(text) ? ",\"value\":" + json_text(text) : ",\"hex\":\"" + hex_of(text) + "\"";
    if (padding.find_first_not_of('\0') != std::string_view::npos) {
        members += ",\"padding\":\"" + hex_of(padding) + "\"";
    }
    object("text", members + "}");
}

void VariantJson::empty(std::size_t /*at*/, std::uint32_t type)
{
    if (type == OXAVAR_TYPE_NONE) {
        object("empty", "}");
    } else {
        object("unknown", ",\"number\":" + std::to_string(type) + "}");
    }
}

void VariantJson::begin_array(std::size_t /*at*/, std::uint32_t /*count*/)
{
    object("array", ",\"elements\":[");
    first_ = true;
    ++depth_;
}

void VariantJson::end_array()
{
    text_ += "]}";
    first_ = false;
    --depth_;
}

void VariantJson::end(const std::optional<BrokenVariant>& broken)
{
    if (broken) {
        object("broken", ",\"at\":" + std::to_string(broken->at) +
                             ",\"why\":" + json_text(broken->why) + "}");
    }
    while (depth_ > 0) {
        end_array();
    }
    text_ += "\n";
    first_ = true;
}

void serialize_json(std::string_view text, const std::function<void(const std::string&)>& take)
{
    std::istringstream stream{std::string(text)};
    for (std::size_t count = 1; !(stream >> std::ws).eof(); ++count) {
        const auto begin = static_cast<std::size_t>(stream.tellg());
        std::string bytes;
        const auto refuse = [count](const std::string& why) {
            throw std::runtime_error("variant " + std::to_string(count) + why);
        };
        try {
            json variant;
            stream >> variant;
            Encoder(bytes).encode(variant);
        } catch (const json::parse_error& error) {
            // It counts from 1, and one that ends too early at what would be behind it.
            refuse(", byte " + std::to_string(begin + error.byte - 1) + ": " + reason(error));
        } catch (const json::exception& error) {
            refuse(": " + reason(error));
        } catch (const std::runtime_error& error) {
            refuse(std::string(": ") + error.what());
        }
        take(bytes);
    }
}

}  // namespace commonctl
