// Visibility of the platform's own classes. The platform lives in other
// shared objects; its classes keep default visibility so that the library can
// derive from them and reference their type information across the boundary.
#pragma once

#define DAK_PLATFORM_API __attribute__((visibility("default")))
