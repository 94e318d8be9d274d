#include "build_tree.h"

namespace support {

std::vector<std::string> build_tree()
{
    return {SUPPORT_SOURCE_FOLDER, SUPPORT_BUILD_FOLDER};
}

}  // namespace support
