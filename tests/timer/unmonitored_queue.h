// The queue of a watchdog without a monitor: the test is the monitor.
#pragma once

#include <cstdlib>
#include <semaphore.h>
#include <vector>

#include "timer/common_wdm_queue.h"

namespace harness {

struct UnmonitoredQueue {
    UnmonitoredQueue()
    {
        watchdog.head = watchdog.tail = &watchdog.anchor;
        sem_init(&watchdog.wake, 0, 0);
    }
    UnmonitoredQueue(const UnmonitoredQueue&) = delete;
    UnmonitoredQueue& operator=(const UnmonitoredQueue&) = delete;
    ~UnmonitoredQueue() { sem_destroy(&watchdog.wake); }

    /// From head to tail.
    std::vector<COMMON_wdm_Node*> nodes() const
    {
        std::vector<COMMON_wdm_Node*> all;
        for (auto* node = watchdog.head; node != nullptr; node = common::wdm::next_of(*node)) {
            all.push_back(node);
        }
        return all;
    }

    /// What a monitor does as it ends; the queue is of no use then.
    void clear() const
    {
        for (COMMON_wdm_Node* const node : nodes()) {
            if (node->subscriber != nullptr) {
                common::wdm::release(node->subscriber, 1);
                std::free(node);
            }
        }
    }

    /// How often the monitor was to wake up.
    int wakes()
    {
        int value = -1;
        sem_getvalue(&watchdog.wake, &value);
        return value;
    }

    COMMON_wdm watchdog{};
};

}  // namespace harness
