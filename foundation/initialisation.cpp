#include "foundation/initialisation.h"

namespace common {

bool may_initialise(InitRank rank) noexcept
{
    const InitRank running = thread_state.initialising;
    return running == InitRank::None || rank < running;
}

}  // namespace common
