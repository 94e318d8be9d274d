// commonctl serve, where there is no library to serve with.
#include <stdexcept>

#include "command_line.h"
#include "subcommands.h"

namespace commonctl {
namespace {

struct NoOptions {};

int refuse(const NoOptions&)
{
    throw std::runtime_error(
        "this commonctl was built without \"serve\"; build it where cpp-httplib "
        "is installed (Debian: libcpp-httplib-dev)");
}

}  // namespace

void add_serve(Tool& tool)
{
    auto [line, options] = tool.add<NoOptions>(
        "serve", "show it all on a page in a browser (not in this build)",
        "Would serve a page, but this commonctl was built without the library for it.", refuse);
    line.allow_anything();
}

}  // namespace commonctl
