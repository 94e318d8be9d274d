/* Says which library it has, how it was compiled, and what it found in a map. */
#include <common/common_library.h>
#include <common/map.h>
#include <stdio.h>

#include "map.h"

/* The CMake package also gives the names without the folder; nobody else does. */
#if __has_include(<oxavar.h>)
#define NAMES "<map.h>"
#else
#define NAMES "<common/map.h>"
#endif

#ifdef __cplusplus
#define DIALECT __cplusplus
static_assert(sizeof(time_t) == 8, "times are as long as in the library");
#else
#define DIALECT __STDC_VERSION__
_Static_assert(sizeof(time_t) == 8, "times are as long as in the library");
#endif

int main(void)
{
    static char name[] = "Elm Street";
    int roads = ROADS;
    Map* map = Map_New(NULL);
    Map_Add(map, name, &roads);
    printf("%s %s %ld %s %s %d\n", COMMON_VERSION, COMMON_Version(), (long)DIALECT, NAMES,
           StatusToStr(STATUS_SUCCESS), *(int*)Map_Find(map, name));
    Map_Delete(map);
#ifdef __cplusplus
    use_layer();
#endif
    return 0;
}
