// To be included by one source of a test program that asks for more memory than there is. Makes the
// sanitizers' allocators return null, as others do, instead of ending the process.
#pragma once

#define QZ_SANITIZER_OPTIONS(name)                                        \
    extern "C" __attribute__((visibility("default"))) const char* name(); \
    const char* name() {                                                  \
        return "allocator_may_return_null=1";                             \
    }
QZ_SANITIZER_OPTIONS(__asan_default_options)
QZ_SANITIZER_OPTIONS(__tsan_default_options)
