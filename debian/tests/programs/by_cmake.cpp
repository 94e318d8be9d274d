// Converts a number, so that the exit status tells whether the library works.
#include <common/common_library.h>
#include <cstdint>
#include <cstdio>

int main()
{
    std::uint32_t value = 0;
    if (CONVERT_HexStrToU32("c0de", &value) != STATUS_SUCCESS) {
        return 1;
    }
    std::printf("%x\n", value);
}
