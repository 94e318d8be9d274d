// As os_defines.h: what the C++ library's headers want to know of locales.
#pragma once

#include <locale.h>

#define _GLIBCXX_NUM_CATEGORIES 6

namespace std {
using __c_locale = locale_t;
}
