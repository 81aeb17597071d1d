// Factory options of the product.
#pragma once

#include "PlatformExport.h"

class DAK_PLATFORM_API TCFactoryProvider {
public:
    enum EOption : int {
        E_OPTION_RTC_DIRECTION = 24,  // 4: the hardware clock follows the system clock
    };

    TCFactoryProvider() = default;
    // True when the option exists; its value is then written to *value.
    bool GetOption(EOption option, int* value);
};
