#include "foundation/thread_state.h"

namespace common {

constinit thread_local ThreadState thread_state;

}  // namespace common
