#include "charset.h"

#include <iterator>

#include "values/charset_table.h"

namespace {

using common::kCharsetNames;
using common::kCharsetPlaces;
using common::kCharsetRuns;

static_assert(kCharsetRuns[0].first == 0 && kCharsetRuns[0].last == 119);
static_assert(std::end(kCharsetRuns)[-1].last == 2259);

}  // namespace

extern "C" const char* CHARSET_GetName(uint32_t mib)
{
    for (const auto& run : kCharsetRuns) {
        if (mib >= run.first && mib <= run.last) {
            return kCharsetNames + kCharsetPlaces[run.index + mib - run.first];
        }
    }
    return kCharsetNames;
}
