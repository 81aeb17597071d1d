#include "LibraryVersion.h"

#include <link.h>

#include <climits>
#include <cstdlib>
#include <string_view>

namespace daksim {

namespace {

constexpr std::string_view kSoname = "libdak-time.so";

int Visit(dl_phdr_info* info, size_t /*size*/, void* data)
{
    const std::string_view name = info->dlpi_name != nullptr ? info->dlpi_name : "";
    const size_t slash = name.rfind('/');
    const std::string_view base = slash == std::string_view::npos ? name : name.substr(slash + 1);
    if (base.substr(0, kSoname.size()) != kSoname) {
        return 0;
    }
    auto& found = *static_cast<LoadedLibrary*>(data);
    char real[PATH_MAX];
    found.path = realpath(info->dlpi_name, real) != nullptr ? real : std::string(name);
    const size_t at = found.path.rfind(kSoname);
    if (at != std::string::npos && found.path.size() > at + kSoname.size() + 1) {
        found.version = found.path.substr(at + kSoname.size() + 1);
    }
    return 1;
}

}  // namespace

LoadedLibrary LoadedLibDakTime()
{
    LoadedLibrary found;
    dl_iterate_phdr(Visit, &found);
    return found;
}

}  // namespace daksim
