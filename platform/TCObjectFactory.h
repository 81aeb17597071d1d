// The platform's object factory and its regional variants. The platform
// chooses which one GetInstance() returns; the time service supplies
// GetTimeProductHelper() of every region.
#pragma once

#include "PlatformExport.h"

class TITimeProductHelper;

class DAK_PLATFORM_API TCObjectFactory {
public:
    TCObjectFactory() = default;
    virtual ~TCObjectFactory();
    TCObjectFactory(const TCObjectFactory&) = delete;
    TCObjectFactory& operator=(const TCObjectFactory&) = delete;

    static TCObjectFactory* GetInstance();  // null when the process has none

    // A new helper; ownership passes to the caller.
    virtual TITimeProductHelper* GetTimeProductHelper() = 0;
};

#define DAK_REGIONAL_OBJECT_FACTORY(NAME)                     \
    class DAK_PLATFORM_API NAME : public TCObjectFactory {    \
    public:                                                   \
        NAME();                                               \
        ~NAME() override;                                     \
        TITimeProductHelper* GetTimeProductHelper() override; \
    }

DAK_REGIONAL_OBJECT_FACTORY(TCObjectFactoryKR);
DAK_REGIONAL_OBJECT_FACTORY(TCObjectFactoryUSA);
DAK_REGIONAL_OBJECT_FACTORY(TCObjectFactoryDVB);
DAK_REGIONAL_OBJECT_FACTORY(TCObjectFactoryBRZ);
DAK_REGIONAL_OBJECT_FACTORY(TCObjectFactoryJPN);

#undef DAK_REGIONAL_OBJECT_FACTORY
