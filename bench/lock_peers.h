/**
 * What locks and queues are without a library, in a shared object as the library is one: a bare
 * mutex, a semaphore that knows its owner, two semaphores for a signal, a ring of bytes under one
 * mutex.
 */
#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void bare_lock(pthread_mutex_t* mutex);
void bare_unlock(pthread_mutex_t* mutex);
void bare_notify(pthread_cond_t* condition);

/** A semaphore as a lock with an owner. */
struct owned_semaphore {
    pthread_t owner;
    sem_t semaphore;
};

void by_hand_init(struct owned_semaphore* lock);
/** 0 or an error number, as for all that give an int. */
int by_hand_lock(struct owned_semaphore* lock);
int by_hand_unlock(struct owned_semaphore* lock);

/** A semaphore as a lock, and one as a signal. */
struct two_semaphores {
    sem_t lock;
    sem_t signal;
};

void two_semaphores_init(struct two_semaphores* sync);
int two_semaphores_signal(struct two_semaphores* sync);
/** Unlocks, waits for the signal and locks again. */
int two_semaphores_wait(struct two_semaphores* sync);

/** A ring that copies byte by byte, under one mutex and one condition variable. */
struct mutex_ring {
    pthread_mutex_t mutex;
    pthread_cond_t filled;
    uint8_t* storage;
    uint32_t capacity;
    uint32_t read;
    uint32_t write;
    uint32_t count;
};

void mutex_ring_init(struct mutex_ring* ring, uint8_t* storage, uint32_t capacity);
void mutex_ring_destroy(struct mutex_ring* ring);
/** Stores what fits. @return how many bytes that were. */
uint32_t mutex_ring_add(struct mutex_ring* ring, const uint8_t* data, uint32_t length);
/** Waits for bytes and takes all. @return how many. */
uint32_t mutex_ring_remove(struct mutex_ring* ring, uint8_t* data);

#ifdef __cplusplus
}
#endif
