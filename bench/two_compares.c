#include "two_compares.h"

int two_compares_enabled = 1;
unsigned two_compares_level = 5;

int two_compares(unsigned level)
{
    return two_compares_enabled == 1 && level <= two_compares_level;
}
