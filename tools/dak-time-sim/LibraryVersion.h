// The version of the libdak-time this process has loaded.
#pragma once

#include <string>

namespace daksim {

// Read from the file the dynamic loader mapped: its real name ends in the
// full version ("libdak-time.so.1.0.0"), the name the build gives it. The
// library exports nothing that says its version, and does not need to for
// this. Empty when no such object is loaded (a static build).
struct LoadedLibrary {
    std::string version;  // "1.0.0"
    std::string path;     // the file behind it
};
LoadedLibrary LoadedLibDakTime();

}  // namespace daksim
