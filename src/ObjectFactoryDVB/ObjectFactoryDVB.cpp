#include "ObjectFactory/TCTimeProductHelperTV.h"
#include "TCObjectFactory.h"

TITimeProductHelper* TCObjectFactoryDVB::GetTimeProductHelper()
{
    return new TCTimeProductHelperTV();
}
