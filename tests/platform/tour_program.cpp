// The tour as a program of its own: silent when all steps work.
#include <cstdio>

#include "tour.h"

int main()
{
    int failed = 0;
    for (const harness::Step& step : harness::tour()) {
        const harness::StepResult result = step.run();
        const bool left_a_child = harness::end_children_of_tour();
        if (left_a_child || result.kind != harness::StepResult::Kind::Works) {
            std::printf("%s: %s\n", step.name, left_a_child ? "a child" : result.what.c_str());
            failed = 1;
        }
    }
    return failed;
}
