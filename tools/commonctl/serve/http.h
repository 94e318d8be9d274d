// cpp-httplib, without the macros of the system headers that it brings.
#pragma once

#include <httplib.h>

// <resolv.h> has a macro of the name of the library's type.
#undef STATUS
