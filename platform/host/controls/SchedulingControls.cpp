// The controls that choose how the task framework's threads are scheduled.
#include <cstdint>
#include <optional>

#include "DakHostControl.h"
#include "Schedulers.h"

namespace dakhost {

bool UseDeterministicScheduling(std::optional<uint32_t> seed)
{
    return kernel::UseMode(seed ? kernel::Mode::Seeded : kernel::Mode::Fixed, seed.value_or(0));
}

bool UseRealScheduling()
{
    return kernel::UseMode(kernel::Mode::Real, 0);
}

void LetTasksRun()
{
    kernel::EndOfTurn();
}

uint64_t SchedulingChoices()
{
    return kernel::SeededChoices();
}

}  // namespace dakhost
