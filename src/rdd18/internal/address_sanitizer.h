// Whether this build runs under AddressSanitizer: g++ tells with __SANITIZE_ADDRESS__, clang
// through __has_feature. Defines VELMORA_ADDRESS_SANITIZER when it does.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define VELMORA_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VELMORA_ADDRESS_SANITIZER 1
#endif
#endif
