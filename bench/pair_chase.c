#include "pair_chase.h"

#include <stddef.h>

void* chase_words(const struct chase_node* node, const void* key)
{
    for (; node != NULL; node = node->next) {
        if (node->pair->key == key) {
            return node->pair->value;
        }
    }
    return NULL;
}

void* chase_compared(const struct chase_node* node, const void* key,
                     int (*compare)(const void*, const void*))
{
    for (; node != NULL; node = node->next) {
        if (compare(key, node->pair->key) == 0) {
            return node->pair->value;
        }
    }
    return NULL;
}
