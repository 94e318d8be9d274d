// Texts in what a browser reads: pages and pictures.
#pragma once

#include <string>
#include <string_view>

namespace commonctl {

/// A text as markup has it, also in quotation marks.
std::string markup_of(std::string_view text);

}  // namespace commonctl
