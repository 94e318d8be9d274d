/* Logs a record, and says which version it was compiled with and which one it runs with. */
#include <common/common_library.h>
#include <stdio.h>

int main(void)
{
    COMMON_Log_Write(COMMON_LogLevelWarn, 4095, "PACKAGE", __FILE__, __func__, __LINE__, "%s works",
                     "by_pkg_config");
    printf("%s %s\n", COMMON_VERSION, COMMON_Version());
    return 0;
}
