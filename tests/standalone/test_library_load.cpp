// Loading and unloading the library registers and withdraws it exactly once,
// around all of its own static initialisation and destruction.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "DakHostControl.h"

namespace {

struct Counts {
    int registered;
    int deregistered;
};

Counts Now()
{
    return {dakhost::RegisterCalls(), dakhost::DeregisterCalls()};
}

TEST(LibraryLoad, RegistersOnceOnLoadAndWithdrawsOnceOnUnload)
{
    const Counts before = Now();
    void* library = dlopen(DAK_TIME_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();

    EXPECT_EQ(dakhost::RegisterCalls(), before.registered + 1);
    EXPECT_EQ(dakhost::DeregisterCalls(), before.deregistered);
    int* const enabled = dakhost::LastRegisteredPointer();
    ASSERT_NE(enabled, nullptr);
    EXPECT_EQ(dakhost::LastRegisteredValue(), 0);

    // A service that writes into the flag changes nothing for the library.
    *enabled = 1;

    ASSERT_EQ(dlclose(library), 0);
    EXPECT_EQ(dlopen(DAK_TIME_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr)
        << "the library stayed loaded after dlclose";
    EXPECT_EQ(dakhost::RegisterCalls(), before.registered + 1);
    EXPECT_EQ(dakhost::DeregisterCalls(), before.deregistered + 1);
    EXPECT_EQ(dakhost::LastRegisteredPointer(), enabled);
}

TEST(LibraryLoad, LoadingAgainRegistersAgainWithFreshState)
{
    const Counts before = Now();
    for (int round = 1; round <= 2; ++round) {
        void* library = dlopen(DAK_TIME_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        EXPECT_EQ(dakhost::LastRegisteredValue(), 0);
        ASSERT_EQ(dlclose(library), 0);
        EXPECT_EQ(dakhost::RegisterCalls(), before.registered + round);
        EXPECT_EQ(dakhost::DeregisterCalls(), before.deregistered + round);
    }
}

TEST(LibraryLoad, RegistrationPrecedesStaticInitialisationAndDestruction)
{
    const Counts before = Now();
    void* probe = dlopen(DAK_REGISTRATION_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(probe, nullptr) << dlerror();

    auto* seenAtInit = static_cast<int*>(dlsym(probe, "probeRegisterCallsAtInit"));
    auto** exitSlot = static_cast<int**>(dlsym(probe, "probeDeregisterCallsAtExit"));
    ASSERT_NE(seenAtInit, nullptr);
    ASSERT_NE(exitSlot, nullptr);
    // The object's static initialiser already saw its registration.
    EXPECT_EQ(*seenAtInit, before.registered + 1);

    int seenAtExit = -1;
    *exitSlot = &seenAtExit;
    ASSERT_EQ(dlclose(probe), 0);
    // Its static destructor ran after the withdrawal.
    EXPECT_EQ(seenAtExit, before.deregistered + 1);
    EXPECT_EQ(dakhost::DeregisterCalls(), before.deregistered + 1);
}

}  // namespace
