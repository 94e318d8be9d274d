// Lists the music in folders, and writes the list to a file in each: options, folders, streams.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <common/common.h>
#include <common/common_log_macros.h>
#include <common/oxa_file.h>
#include <common/oxa_getopt.h>
#include <common/regexp.h>

COMMON_LOG_ZONE("MUSIC");

static int by_name(const void* first, const void* second)
{
    return strcmp(*(char* const*)first, *(char* const*)second);
}

/** What fails here has been logged when it has failed. @return 1 or 0. */
static uint32_t write_list(const char* folder, const UTIL_FolderItems* names)
{
    char path[256];
    snprintf(path, sizeof path, "%s/lists/today", folder);
    if (UTIL_CreateFolderRecursive(path, 0755) != STATUS_SUCCESS) {
        return 0;
    }
    snprintf(path, sizeof path, "%s/lists/today/music.txt", folder);
    FILE* const list = FILE_Open(path, "w");
    for (uint32_t i = 0; list != NULL && i < names->count; ++i) {
        fprintf(list, "%s\n", names->items[i]);
    }
    if (list == NULL || FILE_Close(list) == 0) {
        return 0;
    }
    printf("%s: %u names, %d bytes\n", path, names->count, FILE_GetFileSizeByName(path));
    return 1;
}

int main(int argc, char** argv)
{
    static const struct option options[] = {{"help", no_argument, NULL, 'h'},
                                            {"pattern", required_argument, NULL, 'p'},
                                            {NULL, 0, NULL, 0}};
    const char* pattern = NULL;
    for (int code; (code = OXA_getopt_long(argc, argv, "hp:", options, NULL)) != -1;) {
        if (code != 'p') {
            fprintf(stderr, "usage: files [--pattern=EXPRESSION] FOLDER...\n");
            return code == 'h' ? 0 : 2;
        }
        pattern = optarg;
    }
    char reason[128];
    if (pattern != NULL && RegExp_Check(pattern, 1, reason, sizeof reason) == 0) {
        fprintf(stderr, "files: %s: %s\n", pattern, reason);
        return 2;
    }
    for (int i = optind; i < argc; ++i) {
        UTIL_FolderItems names = {0};
        if (UTIL_GetFolderItems(argv[i], pattern, UTIL_FOLDER_ITEMS_FILES, &names) !=
            STATUS_SUCCESS) {
            printf("%s: no such music\n", argv[i]);
        } else if (names.count != 0) {
            qsort(names.items, names.count, sizeof *names.items, by_name);
            if (write_list(argv[i], &names) == 0) {
                COMMON_LOG_WARN("no list for %s", argv[i]);
            }
        }
        UTIL_ReleaseFolderItems(&names);
    }
    return 0;
}
