// The Linux platform's regional object factories: one of each, made at
// static initialisation and handed to the platform, which returns the one
// the options' region names. Their GetTimeProductHelper() is the library's,
// so this part is linked into the program, beside both.
#include "LinuxInternal.h"
#include "TCObjectFactory.h"

namespace {

__attribute__((constructor)) void InstallRegionalFactories()
{
    daklinux::detail::InstallObjectFactory("KR", new TCObjectFactoryKR);
    daklinux::detail::InstallObjectFactory("USA", new TCObjectFactoryUSA);
    daklinux::detail::InstallObjectFactory("DVB", new TCObjectFactoryDVB);
    daklinux::detail::InstallObjectFactory("BRZ", new TCObjectFactoryBRZ);
    daklinux::detail::InstallObjectFactory("JPN", new TCObjectFactoryJPN);
}

}  // namespace
