// The plain program: runs all bodies, one after the other, and counts them.
#include <cstdio>

#include "bodies.h"

namespace plain {
namespace {

Body* first = nullptr;
int failures = 0;

}  // namespace

Body::Body(const char* given_name, void (*given_run)())
    : name(given_name), run(given_run), next(first)
{
    first = this;
}

void check(bool holds, const char* what, const char* file, int line)
{
    if (!holds) {
        ++failures;
        std::printf("%s:%d: %s\n", file, line, what);
    }
}

}  // namespace plain

int main()
{
    int bodies = 0;
    for (const plain::Body* body = plain::first; body != nullptr; body = body->next) {
        const int before = plain::failures;
        body->run();
        ++bodies;
        if (plain::failures != before) {
            std::printf("%s failed\n", body->name);
        }
    }
    std::printf("%d bodies, %d failures\n", bodies, plain::failures);
    return plain::failures == 0 && bodies != 0 ? 0 : 1;
}
