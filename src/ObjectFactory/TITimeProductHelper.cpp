#include "TITimeProductHelper.h"

// Out of line so that the interface's type information lives in the library.
TITimeProductHelper::~TITimeProductHelper() = default;
