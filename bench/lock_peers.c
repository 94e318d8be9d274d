#include "lock_peers.h"

#include <errno.h>

void bare_lock(pthread_mutex_t* mutex)
{
    pthread_mutex_lock(mutex);
}

void bare_unlock(pthread_mutex_t* mutex)
{
    pthread_mutex_unlock(mutex);
}

void bare_notify(pthread_cond_t* condition)
{
    pthread_cond_signal(condition);
}

static const pthread_t kNobody = (pthread_t)-1;

void by_hand_init(struct owned_semaphore* lock)
{
    lock->owner = kNobody;
    sem_init(&lock->semaphore, 0, 1);
}

int by_hand_lock(struct owned_semaphore* lock)
{
    if (lock->owner == pthread_self()) {
        return EACCES;
    }
    if (sem_wait(&lock->semaphore) != 0) {
        return errno;
    }
    lock->owner = pthread_self();
    return 0;
}

int by_hand_unlock(struct owned_semaphore* lock)
{
    if (lock->owner != pthread_self()) {
        return EACCES;
    }
    lock->owner = kNobody;
    int value = 0;
    if (sem_getvalue(&lock->semaphore, &value) != 0 ||
        (value == 0 && sem_post(&lock->semaphore) != 0)) {
        return errno;
    }
    return 0;
}

void two_semaphores_init(struct two_semaphores* sync)
{
    sem_init(&sync->lock, 0, 1);
    sem_init(&sync->signal, 0, 0);
}

int two_semaphores_signal(struct two_semaphores* sync)
{
    return sem_post(&sync->signal) == 0 ? 0 : errno;
}

int two_semaphores_wait(struct two_semaphores* sync)
{
    if (sem_post(&sync->lock) != 0 || sem_wait(&sync->signal) != 0 || sem_wait(&sync->lock) != 0) {
        return errno;
    }
    return 0;
}

void mutex_ring_init(struct mutex_ring* ring, uint8_t* storage, uint32_t capacity)
{
    pthread_mutex_init(&ring->mutex, NULL);
    pthread_cond_init(&ring->filled, NULL);
    ring->storage = storage;
    ring->capacity = capacity;
    ring->read = 0;
    ring->write = 0;
    ring->count = 0;
}

void mutex_ring_destroy(struct mutex_ring* ring)
{
    pthread_cond_destroy(&ring->filled);
    pthread_mutex_destroy(&ring->mutex);
}

uint32_t mutex_ring_add(struct mutex_ring* ring, const uint8_t* data, uint32_t length)
{
    pthread_mutex_lock(&ring->mutex);
    const uint32_t space = ring->capacity - ring->count;
    const uint32_t stored = length < space ? length : space;
    for (uint32_t i = 0; i < stored; ++i) {
        ring->storage[ring->write] = data[i];
        ring->write = ring->write + 1 == ring->capacity ? 0 : ring->write + 1;
    }
    ring->count += stored;
    if (stored != 0) {
        pthread_cond_signal(&ring->filled);
    }
    pthread_mutex_unlock(&ring->mutex);
    return stored;
}

uint32_t mutex_ring_remove(struct mutex_ring* ring, uint8_t* data)
{
    pthread_mutex_lock(&ring->mutex);
    while (ring->count == 0) {
        pthread_cond_wait(&ring->filled, &ring->mutex);
    }
    const uint32_t taken = ring->count;
    for (uint32_t i = 0; i < taken; ++i) {
        data[i] = ring->storage[ring->read];
        ring->read = ring->read + 1 == ring->capacity ? 0 : ring->read + 1;
    }
    ring->count = 0;
    pthread_mutex_unlock(&ring->mutex);
    return taken;
}
