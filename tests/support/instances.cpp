#include "instances.h"

#define BENCH_DEFINE_INSTANCE(...) template __VA_ARGS__;
BENCH_INSTANCES(BENCH_DEFINE_INSTANCE)
