// Variants written as JSON, turned into their serialised form.
//
//     {"type":"empty"}
//     {"type":"integer","value":-7}
//     {"type":"float","value":0.5}            or its bits: "value":"0x7fc00000"
//     {"type":"text","value":"abc"}           or its bytes, if they are no UTF-8: "hex":"ff00"
//     {"type":"pointer","value":"0x89abcdef"}
//     {"type":"array","elements":[...]}
//     {"type":"unknown","number":77}          a type that no reader knows
//
// A text whose padding is not zero has "padding":"78797a", too.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace commonctl {

/// Bytes of JSON that are read at most: enough for what kMostVariantBytes can become.
inline constexpr std::size_t kMostJsonBytes = 16 << 20;

/// Calls `take` with the serialised form of each variant in a text, which has one object behind the
/// other.
/// @throws std::runtime_error, whose text says which variant is wrong, where and why.
void serialize_json(std::string_view text, const std::function<void(const std::string&)>& take);

}  // namespace commonctl
