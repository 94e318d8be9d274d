/** What a map is without a library: nodes in a chain, each with a pair, and the loop over them. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct chase_pair {
    const void* key;
    void* value;
};

struct chase_node {
    struct chase_pair* pair;
    struct chase_node* next;
};

/** Finds a key by its word. */
void* chase_words(const struct chase_node* node, const void* key);

/** Finds a key with a comparison function. */
void* chase_compared(const struct chase_node* node, const void* key,
                     int (*compare)(const void*, const void*));

#ifdef __cplusplus
}
#endif
