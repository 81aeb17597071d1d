// The library's one set of registration state. The hooks of every source
// file call these; the once-flags make the first call do the work.

namespace {
int libEnabled = 0;
int libInitialized = 0;
int libDeinitialized = 0;
}  // namespace

int* HtLibEnabled()
{
    return &libEnabled;
}

void HtLibHelperInit()
{
    if (libInitialized != 1) {
        ht_register_library(HtLibEnabled());
        libInitialized = 1;
    }
}

void HtLibHelperDeinit()
{
    if (libDeinitialized != 1) {
        ht_deregister_library(HtLibEnabled());
        libDeinitialized = 1;
    }
}
