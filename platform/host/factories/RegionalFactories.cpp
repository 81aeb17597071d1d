// The platform side of the regional object factories: one instance of each,
// made at static initialisation and handed to the host platform, which
// returns the selected one from TCObjectFactory::GetInstance(). They are
// never destroyed, so that the library may reach them at any time up to the
// end of the process.
#include "DakHostControl.h"
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
    dakhost::InstallObjectFactory(dakhost::Region::KR, new TCObjectFactoryKR);
    dakhost::InstallObjectFactory(dakhost::Region::USA, new TCObjectFactoryUSA);
    dakhost::InstallObjectFactory(dakhost::Region::DVB, new TCObjectFactoryDVB);
    dakhost::InstallObjectFactory(dakhost::Region::BRZ, new TCObjectFactoryBRZ);
    dakhost::InstallObjectFactory(dakhost::Region::JPN, new TCObjectFactoryJPN);
}

}  // namespace
