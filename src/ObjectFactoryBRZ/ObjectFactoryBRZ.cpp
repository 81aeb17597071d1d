#include "ObjectFactory/TCTimeProductHelperTV.h"
#include "TCObjectFactory.h"

TITimeProductHelper* TCObjectFactoryBRZ::GetTimeProductHelper()
{
    return new TCTimeProductHelperTV();
}
