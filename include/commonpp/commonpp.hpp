/**
 * @file commonpp.hpp
 * The library for C++17 and later: all headers of the layer.
 *
 * The layer is inline code over the C interface, which stays the manual of what is done; these
 * headers say what is different. Nothing of it is in the library. It compiles with and without
 * exceptions and type information; it throws nothing itself, and gives errors as a status.
 *
 * - Objects own what they hold and give it back in their destructors. One that was moved from, or
 *   whose resource could not be had, holds nothing: it may be destroyed and assigned to.
 * - One thread at a time uses an object, unless its class says otherwise.
 * - Running out of memory ends the process as MEM_Malloc() does. What gives a std::string or a
 *   std::vector takes its memory as these do.
 *
 * Namespace and folder are `commonpp`, as the library's inside is the namespace `common`: inline
 * functions of the same name in both would become one in a program that links the library's objects
 * statically. And `<common/...>` is C alone, so that no C program is offered a header it cannot
 * use.
 */
#pragma once

#include "handles.hpp"
#include "log.hpp"
#include "mutex.hpp"
#include "queue.hpp"
#include "regex.hpp"
#include "state_machine.hpp"
#include "status.hpp"
#include "thread.hpp"
#include "timer.hpp"
#include "variant.hpp"

/** The layer for C++17 and later, over the C interface. */
namespace commonpp {
}
