#include "memory_peers.h"

#include <stdlib.h>
#include <string.h>

static void* block_of(size_t size)
{
    void* block = malloc(size);
    if (block == NULL) {
        abort();
    }
    return block;
}

void* plain_zeroed(uint32_t size)
{
    return memset(block_of(size), 0, size);
}

void plain_free(void* block)
{
    free(block);
}

void plain_push(struct plain_list* list, void* data)
{
    struct plain_node* node = block_of(sizeof *node);
    node->data = data;
    node->next = NULL;
    if (list->tail == NULL) {
        list->head = node;
    } else {
        list->tail->next = node;
    }
    list->tail = node;
    ++list->size;
}

void* plain_pop(struct plain_list* list)
{
    struct plain_node* node = list->head;
    if (node == NULL) {
        return NULL;
    }
    void* data = node->data;
    list->head = node->next;
    if (list->head == NULL) {
        list->tail = NULL;
    }
    --list->size;
    free(node);
    return data;
}

struct plain_array* plain_array_new(uint32_t capacity, const void* bytes, uint32_t length)
{
    struct plain_array* array = block_of(sizeof *array);
    array->data = block_of(capacity);
    memcpy(array->data, bytes, length);
    memset(array->data + length, 0, capacity - length);
    array->length = length;
    array->capacity = capacity;
    return array;
}

void plain_array_delete(struct plain_array* array)
{
    free(array->data);
    free(array);
}
