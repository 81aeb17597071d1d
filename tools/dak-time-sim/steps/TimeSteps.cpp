#include "TimeSteps.h"

#include <cstdint>

#include "DakHostControl.h"
#include "RunContext.h"

namespace daksim::steps {

void Idle(RunContext& /*run*/, const Step& /*step*/, const args::None& /*none*/)
{
    dakhost::WaitIdle();
}

void Sync(RunContext& /*run*/, const Step& /*step*/, const args::None& /*none*/)
{
    dakhost::FireAlarms();
}

void Advance(RunContext& /*run*/, const Step& /*step*/, const args::Duration& advance)
{
    dakhost::Advance(static_cast<uint64_t>(advance.ms));
}

void Mark(RunContext& run, const Step& step, const args::None& /*none*/)
{
    dakhost::ClearLogs();
    run.markLine = step.line;
}

}  // namespace daksim::steps
