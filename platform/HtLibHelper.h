// Library registration hooks. Every source file of a registered library
// includes this header: its load-time entry registers the library before any
// other static initialisation, and its unload-time entry withdraws it before
// any static destructor runs. The once-flags make the first entry do the work.
#pragma once

#include "PlatformExport.h"

extern "C" {
DAK_PLATFORM_API void ht_register_library(int* enabled);
DAK_PLATFORM_API void ht_deregister_library(int* enabled);
}

// One set for the whole library, defined once inside it.
int* HtLibEnabled();
void HtLibHelperInit();
void HtLibHelperDeinit();

// Each source file gets its own pair of entries (internal linkage); the
// attributes keep them emitted although nothing calls them. Priority 101
// runs ahead of every default-priority static initialiser. The unload entry
// is a plain destructor function: those run before the runtime's
// finalisation (the first entry of the list, run last) calls the registered
// static destructors.
__attribute__((constructor(101), used)) static inline void HtLibHelperLoadEntry()
{
    HtLibHelperInit();
}
__attribute__((destructor, used)) static inline void HtLibHelperUnloadEntry()
{
    HtLibHelperDeinit();
}
