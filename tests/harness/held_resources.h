// What a process holds open and running, to be compared before and after.
#pragma once

#include <map>
#include <string>

namespace harness {

/// What an open descriptor leads to. A file may be renamed or removed meanwhile, and is the same.
struct OpenDescriptor {
    std::string target;
    std::string file;  ///< its numbers, of what has a path

    bool leads_to_the_same(const OpenDescriptor& other) const;
};

struct HeldResources {
    /// Without sockets connected to the system log.
    std::map<int, OpenDescriptor> descriptors;
    int threads = 0;
};

/// Lets the run-time library of a sanitizer start the thread of its own that it starts with a
/// process's first thread, so that it is there before anything is counted.
void start_sanitizer_thread();

/// Counts the threads of the calling process, with those of a sanitizer.
int thread_count();

/// Looks at the calling process.
HeldResources held_resources();

/// Names what the calling process holds more, or less, than before: descriptors, threads, children.
/// Threads that are on their way out get a moment to end.
/// @return one line for each difference; empty when there is none.
std::string differences_from(const HeldResources& before);

}  // namespace harness
