// Steps that move virtual time or wait for the manager's task.
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

void Idle(RunContext& run, const Step& step);
void Sync(RunContext& run, const Step& step);
void Advance(RunContext& run, const Step& step);
void Mark(RunContext& run, const Step& step);

}  // namespace steps
}  // namespace daksim
