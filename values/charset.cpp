#include "charset.h"

#include <iterator>

#include "values/charset_table.h"

namespace {

using common::charset::kNames;
using common::charset::kPlaces;
using common::charset::kRuns;

static_assert(kRuns[0].first == 0 && kRuns[0].last == 119);
static_assert(std::end(kRuns)[-1].last == 2259);

}  // namespace

extern "C" const char* CHARSET_GetName(uint32_t mib)
{
    for (const auto& run : kRuns) {
        if (mib >= run.first && mib <= run.last) {
            return kNames + kPlaces[run.index + mib - run.first];
        }
    }
    return kNames;
}
