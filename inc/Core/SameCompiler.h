/* Included by the headers marked "C++ only". Their classes use the C++ binary interface of the
 * compiler that built the library, so the program has to be built by the same compiler, or by one
 * with the same interface and C++ library. Programs built by other compilers use the flat
 * functions.
 */
#ifndef QZCORE_CORE_SAMECOMPILER_H
#define QZCORE_CORE_SAMECOMPILER_H

/* The first compilers with C++20 have numbers between those of C++17 and C++20. */
#if !defined(__cplusplus)
#    error "This header is for C++ only; use the headers of flat functions."
#elif __cplusplus <= 201703L && !(defined(_MSVC_LANG) && _MSVC_LANG > 201703L)
#    error "This header needs C++20; use -std=c++20, or the headers of flat functions."
#endif

/* The library's CMake target defines it for programs when Microsoft's compiler built the library.
 */
#if defined(_MSC_VER) && !defined(QZCORE_BUILT_BY_MSVC)
#    error \
        "This header needs a qzCore built by the same compiler; use the headers of flat functions."
#endif

#endif
