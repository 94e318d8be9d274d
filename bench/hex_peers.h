/** What conversions of hexadecimal text cost at least: the blocks, and their bytes copied. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct counted_bytes {
    uint8_t* data;
    uint32_t length;
    uint32_t capacity;
};

/** A block for the digits of so many bytes, with twice as many bytes copied into it. */
char* text_copied(const void* bytes, uint32_t length);
void give_back(void* block);

/** A record and a block for the bytes that a text stands for, with half of the text copied. */
struct counted_bytes* bytes_copied(const char* text);
void give_back_bytes(struct counted_bytes* array);

/** A dump by a table of the two digits of each byte. */
char* dump_by_pairs(const void* bytes, uint32_t length, const char (*pairs)[2]);

#ifdef __cplusplus
}
#endif
