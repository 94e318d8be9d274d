/** What memory, light lists and byte arrays are without a library, in a shared object. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** malloc() and memset(), and the end of the process without memory. */
void* plain_zeroed(uint32_t size);
void plain_free(void* block);

struct plain_node {
    void* data;
    struct plain_node* next;
};

struct plain_list {
    struct plain_node* head;
    struct plain_node* tail;
    uint32_t size;
};

/** A singly linked list with one malloc() for each entry. */
void plain_push(struct plain_list* list, void* data);
void* plain_pop(struct plain_list* list);

struct plain_array {
    uint8_t* data;
    uint32_t length;
    uint32_t capacity;
};

/** A record and its storage: the bytes, and zeroes behind them. */
struct plain_array* plain_array_new(uint32_t capacity, const void* bytes, uint32_t length);
void plain_array_delete(struct plain_array* array);

#ifdef __cplusplus
}
#endif
