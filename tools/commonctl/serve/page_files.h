// The files of the page, which are part of the program.
#pragma once

#include <span>
#include <string_view>

namespace commonctl {

struct PageFile {
    const char* path;  ///< in an address, such as "/page.css"
    const char* type;  ///< as HTTP calls it
    std::string_view content;
};

/// All files of page/. The build makes the source of this function (embed.cmake).
std::span<const PageFile> page_files();

}  // namespace commonctl
