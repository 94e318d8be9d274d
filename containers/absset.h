// The parts that the functions of the abstract set are made of, under the names that records show.
#pragma once

#include "abstract_set.h"
#include "foundation/source.h"

namespace common {

inline constexpr Source kAbstractSet{"abstract_set", Module::Common};

/// Selects a position. From 0 on it is an index counted from the front.
using Position = std::int32_t;

inline constexpr Position kFront = -1;
inline constexpr Position kBack = -2;
inline constexpr Position kNext = -3;
inline constexpr Position kPrevious = -4;
inline constexpr Position kCursor = -5;

/// A set with this many entries takes no more.
inline constexpr std::uint32_t kMostEntries = 0x7FFFFFFF;

/// Finds an entry: kFront, kBack, kCursor or an index. Null after a failure.
AbsSET_Entry* absset_EntryGet(AbsSET* set, Position position) noexcept;

/// Takes an entry out of the ring: kFront, kBack, kCursor or an index. Null after a failure.
AbsSET_Entry* absset_EntryPop(AbsSET* set, Position position) noexcept;

/// Inserts an entry: at kFront, kBack, behind kCursor or at an index. Gives a code.
std::uint32_t absset_EntryPush(AbsSET* set, AbsSET_Entry* entry, void* value,
                               Position position) noexcept;

void* absset_ValueGet(AbsSET* set, Position position) noexcept;
void* absset_ValuePop(AbsSET* set, Position position) noexcept;

/// Moves the cursor: to kFront or kBack, or one step to kNext or kPrevious. Gives a code.
std::uint32_t absset_SetIndex(AbsSET* set, Position position) noexcept;

/// Writes an entry to the log. Gives a code.
std::uint32_t absset_EntryInfo(const AbsSET_Entry* entry) noexcept;

}  // namespace common
