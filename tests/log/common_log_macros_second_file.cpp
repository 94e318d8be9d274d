// A second file that calls what a header has.
#include "common_log_macros_calls.h"

void from_second_file()
{
    of_header::call_of_header("the second file");
}
