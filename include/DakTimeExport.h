// Visibility of the library's exported interfaces. Everything else in the
// library is hidden.
#pragma once

#define DAK_TIME_API __attribute__((visibility("default")))
