// Shared state of the host platform's contract implementations that the
// controls reset, and the observer they tell.
#pragma once

#include "DakHostControl.h"

namespace dakhost::detail {

// ---- back to the initial state ----
void ResetRtc();
void ResetOsClocks();
void ResetLogs();
void ResetProviders();

// ---- observer (null: none) ----
dakhost::Observer* CurrentObserver();

}  // namespace dakhost::detail
