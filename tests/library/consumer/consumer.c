#include <common_library.h>
#include <stdio.h>

int main(void)
{
    return puts(StatusToStr(STATUS_SUCCESS)) == EOF;
}
