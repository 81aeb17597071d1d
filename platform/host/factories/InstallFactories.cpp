// The host platform's regional object factories: one instance of each,
// made at static initialisation and handed to the host platform, which
// returns the selected one from TCObjectFactory::GetInstance(). They are
// never destroyed, so that the library may reach them at any time up to the
// end of the process.
#include "DakHostControl.h"
#include "TCObjectFactory.h"

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
