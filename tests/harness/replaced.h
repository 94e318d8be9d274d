// Functions of the library replaced by the linker in a program that is built with INTERNAL and with
// the option --wrap for each of them. The linker sends a call of "f" from another file to
// "__wrap_f" and gives the real one the name "__real_f".
#pragma once

#define REPLACED(result, name, parameters)                             \
    extern "C" result real_##name parameters __asm__("__real_" #name); \
    extern "C" result wrap_##name parameters __asm__("__wrap_" #name)
