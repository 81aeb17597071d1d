#include "ObjectFactory/TCTimeProductHelperTV.h"
#include "TCObjectFactory.h"

TITimeProductHelper* TCObjectFactoryJPN::GetTimeProductHelper()
{
    return new TCTimeProductHelperTV();
}
