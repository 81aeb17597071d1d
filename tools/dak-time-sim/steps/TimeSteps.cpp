#include "TimeSteps.h"

#include <cstdint>

#include "DakHostControl.h"
#include "RunContext.h"

namespace daksim::steps {

void Idle(RunContext& /*run*/, const Step& /*step*/)
{
    dakhost::WaitIdle();
}

void Sync(RunContext& /*run*/, const Step& /*step*/)
{
    dakhost::FireAlarms();
}

void Advance(RunContext& /*run*/, const Step& step)
{
    dakhost::Advance(static_cast<uint64_t>(step.value));
}

void Mark(RunContext& run, const Step& step)
{
    dakhost::ClearLogs();
    run.markLine = step.line;
}

}  // namespace daksim::steps
