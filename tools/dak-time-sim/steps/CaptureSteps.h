// The capture replay's step (`stream H play FILE ...`), wired to the run.
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

// The result is the number of time tables handed over.
void StreamPlay(RunContext& run, const Step& step, const args::Capture& play);

}  // namespace steps
}  // namespace daksim
