#include "ObjectFactory/TCTimeProductHelperTV.h"
#include "TCObjectFactory.h"

TITimeProductHelper* TCObjectFactoryUSA::GetTimeProductHelper()
{
    return new TCTimeProductHelperTV();
}
