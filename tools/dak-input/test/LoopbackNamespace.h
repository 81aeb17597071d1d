// A network namespace of the test's own with only its loopback up, so that
// no datagram a test sends can leave the machine. Entered at the start of
// main, before any thread: without privileges the kernel wants a user
// namespace first, which it gives to a process of one thread only.
#pragma once

#include <string>

namespace dakinput::test {

// False, with `why`, when the kernel refuses.
bool EnterLoopbackNamespace(std::string& why);

// Set by main: empty when the namespace was entered.
extern std::string g_namespaceRefused;

}  // namespace dakinput::test
