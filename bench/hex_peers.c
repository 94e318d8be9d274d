#include "hex_peers.h"

#include <stdlib.h>
#include <string.h>

char* text_copied(const void* bytes, uint32_t length)
{
    const size_t characters = 2 * (size_t)length;
    char* const text = malloc(characters + 1);
    if (text != NULL) {
        memcpy(text, bytes, characters);
        text[characters] = '\0';
    }
    return text;
}

void give_back(void* block)
{
    free(block);
}

struct counted_bytes* bytes_copied(const char* text)
{
    const uint32_t length = (uint32_t)strlen(text) / 2;
    struct counted_bytes* const array = malloc(sizeof *array);
    if (array == NULL) {
        return NULL;
    }
    array->data = malloc(length);
    array->length = length;
    array->capacity = length;
    if (array->data != NULL) {
        (void)mempcpy(array->data, text, length);
    }
    return array;
}

void give_back_bytes(struct counted_bytes* array)
{
    free(array->data);
    free(array);
}

char* dump_by_pairs(const void* bytes, uint32_t length, const char (*pairs)[2])
{
    const uint8_t* const first = bytes;
    char* const text = malloc(3 * (size_t)length + 1);
    if (text != NULL) {
        for (size_t i = 0; i < length; ++i) {
            memcpy(text + 3 * i, pairs[first[i]], 2);
            text[3 * i + 2] = ' ';
        }
        text[3 * (size_t)length] = '\0';
    }
    return text;
}
