// Counts the stations in a file, and logs what it does.
#include <stdio.h>

#include <common/common_log_macros.h>

// The name that the records of this file show.
COMMON_LOG_ZONE("TUNER");

static int count_stations(const char* path)
{
    FILE* const file = fopen(path, "r");
    if (file == NULL) {
        COMMON_LOG_WARN("cannot read %s: %m", path);
        return 0;
    }
    int stations = 0;
    for (int c = 0; (c = fgetc(file)) != EOF;) {
        stations += c == '\n';
    }
    fclose(file);
    return stations;
}

int main(int argc, char** argv)
{
    COMMON_LOG_INFO("starts");
    COMMON_LOG_DEBUG("called with %d words", argc);
    const int stations = count_stations(argc > 1 ? argv[1] : "/no/such/file");
    COMMON_LOG_INFO("%d stations", stations);
    printf("%d stations\n", stations);
    return 0;
}
