# cmake -D OUTPUT=FILE -D FILES=LIST -P embed.cmake: writes page_files() with the content of files.
set(types "html=text/html" "css=text/css" "js=text/javascript" "svg=image/svg+xml")
set(arrays "")
set(rows "")
set(number 0)
foreach(file IN LISTS FILES)
  get_filename_component(name ${file} NAME)
  get_filename_component(kind ${file} LAST_EXT)
  string(SUBSTRING ${kind} 1 -1 kind)
  set(type "${types}")
  list(FILTER type INCLUDE REGEX "^${kind}=")
  string(REPLACE "${kind}=" "" type "${type}")
  if(NOT type)
    message(FATAL_ERROR "${name}: what is its type?")
  endif()
  file(READ ${file} content HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" content "${content}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," content "${content}")
  string(APPEND arrays "constexpr unsigned char kFile${number}[] = {\n${content}0};\n")
  string(APPEND rows "    {\"/${name}\", \"${type}; charset=utf-8\", text_of(kFile${number})},\n")
  math(EXPR number "${number} + 1")
endforeach()

set(source [[
#include "serve/page_files.h"

#include <cstddef>

namespace commonctl {
namespace {

@arrays@
/// @param content ends with a byte that is not of the file.
template <std::size_t size>
std::string_view text_of(const unsigned char (&content)[size])
{
    return {reinterpret_cast<const char*>(content), size - 1};
}

}  // namespace

std::span<const PageFile> page_files()
{
    static const PageFile files[] = {
@rows@    };
    return files;
}

}  // namespace commonctl
]])
string(CONFIGURE "${source}" source @ONLY)
file(WRITE ${OUTPUT} "${source}")
