// Included first when clang checks sources in Microsoft's mode: what mingw-w64's headers and GCC's
// C++ library need in that mode. Microsoft's own headers are not available on every machine.
#include <_mingw.h>

// The headers use these where Microsoft's spelling is not allowed.
#undef __MINGW_NOTHROW
#define __MINGW_NOTHROW
#undef __MINGW_ATTRIB_NORETURN
#define __MINGW_ATTRIB_NORETURN
#undef __MINGW_ATTRIB_DEPRECATED
#define __MINGW_ATTRIB_DEPRECATED

// Clang's own headers use it; mingw-w64 defines it away for compilers other than GCC.
#undef __attribute__

// sal.h defines names that GCC's library has for parameters.
#include <sal.h>
#undef __in
#undef __out
