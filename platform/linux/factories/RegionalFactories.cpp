// The platform side of the regional object factories on Linux: one of each,
// made at static initialisation and handed to the platform, which returns
// the one the options' region names. Their GetTimeProductHelper() is the
// library's, so this part is linked into the program, beside both.
#include "LinuxInternal.h"
#include "TCObjectFactory.h"

TCObjectFactoryKR::TCObjectFactoryKR() = default;
TCObjectFactoryKR::~TCObjectFactoryKR() = default;
TCObjectFactoryUSA::TCObjectFactoryUSA() = default;
TCObjectFactoryUSA::~TCObjectFactoryUSA() = default;
TCObjectFactoryDVB::TCObjectFactoryDVB() = default;
TCObjectFactoryDVB::~TCObjectFactoryDVB() = default;
TCObjectFactoryBRZ::TCObjectFactoryBRZ() = default;
TCObjectFactoryBRZ::~TCObjectFactoryBRZ() = default;
TCObjectFactoryJPN::TCObjectFactoryJPN() = default;
TCObjectFactoryJPN::~TCObjectFactoryJPN() = default;

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
