#include <common/common_library.h>
#include <stdio.h>

_Static_assert(sizeof(time_t) == 8, "times are as long as in the library");

int main(void)
{
    return puts(StatusToStr(STATUS_SUCCESS)) == EOF;
}
