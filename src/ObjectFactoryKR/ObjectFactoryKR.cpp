#include "ObjectFactory/TCTimeProductHelperTV.h"
#include "TCObjectFactory.h"

TITimeProductHelper* TCObjectFactoryKR::GetTimeProductHelper()
{
    return new TCTimeProductHelperTV();
}
