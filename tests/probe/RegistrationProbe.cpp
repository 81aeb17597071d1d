// A shared object built with the library's registration hooks and one
// ordinary static object, to show where registration falls among the
// object's own static initialisation and destruction.
#include "DakHostControl.h"

extern "C" {
__attribute__((visibility("default"))) int probeRegisterCallsAtInit = -1;
__attribute__((visibility("default"))) int* probeDeregisterCallsAtExit = nullptr;
}

namespace {
struct StaticProbe {
    StaticProbe() { probeRegisterCallsAtInit = dakhost::RegisterCalls(); }
    ~StaticProbe()
    {
        if (probeDeregisterCallsAtExit != nullptr) {
            *probeDeregisterCallsAtExit = dakhost::DeregisterCalls();
        }
    }
    StaticProbe(const StaticProbe&) = delete;
    StaticProbe& operator=(const StaticProbe&) = delete;
};
const StaticProbe staticProbe;
}  // namespace
