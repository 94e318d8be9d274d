// Each family of the library at work: a short use of it that checks what it gives.
#pragma once

#include <vector>

namespace harness {

struct FamilyUse {
    const char* family;
    /// @param user tells the threads and processes that use it at once apart.
    void (*use)(unsigned user);
    /// Whether several threads may do so at once.
    bool by_many;
    /// Whether a child may do so, whatever the threads of its parent were doing.
    bool in_child = true;
};

extern const std::vector<FamilyUse> kEveryFamily;

}  // namespace harness
