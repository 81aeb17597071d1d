// Steps that move virtual time or wait for the manager's task.
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

void Idle(RunContext& run, const Step& step, const args::None& none);
void Sync(RunContext& run, const Step& step, const args::None& none);
void Advance(RunContext& run, const Step& step, const args::Duration& advance);
void Mark(RunContext& run, const Step& step, const args::None& none);

}  // namespace steps
}  // namespace daksim
