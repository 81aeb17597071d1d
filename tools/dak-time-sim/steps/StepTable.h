// The runner's one dispatch table: every step kind and the handler that
// runs it. A handler takes its kind's record:
//
//     void SetDst(RunContext& run, const Step& step, const args::Value& dst);
//
// and a new step is one row in StepTable.cpp and one handler in its family's
// file (PlatformSteps, LibrarySteps, TimeSteps, Expectations, CaptureSteps).
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

using StepHandler = void (*)(RunContext& run, const Step& step);

// The handler of `kind`; null only for headings, which are not steps.
StepHandler HandlerOf(StepKind kind);

}  // namespace daksim
