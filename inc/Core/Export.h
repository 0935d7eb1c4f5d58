/* What every public header needs: the export macro and C linkage.
 *
 * Some behaviour is odd: a misspelt name, bytes in reverse order, a time-out that is ignored. It
 * stays because programs and stored data depend on it; the headers say where it is.
 *
 * No other file outside src/platform asks which system the library is built for.
 */
#ifndef QZCORE_CORE_EXPORT_H
#define QZCORE_CORE_EXPORT_H

#if defined(_WIN32)
#    if defined(QZCORE_BUILD)
#        define QZ_API __declspec(dllexport)
#    else
#        define QZ_API __declspec(dllimport)
#    endif
#else
#    define QZ_API __attribute__((visibility("default")))
#endif

/* What a variable is called where the names of a program and of all its libraries meet. On Linux a
 * variable of the program would else take the place of one of the library with the same name, and
 * the library would write to it. */
#if defined(_WIN32)
#    define QZ_SYMBOL(name)
#else
#    define QZ_SYMBOL(name) __asm__(name)
#endif

/* Marks private members of an exported class that only the library calls, so that they are not
 * exported. It has no effect on Windows, which exports an exported class as a whole. A class
 * without virtual functions can export its public members one by one instead; then no private
 * member is exported on either system. */
#if defined(_WIN32)
#    define QZ_LOCAL
#else
#    define QZ_LOCAL __attribute__((visibility("hidden")))
#endif

/* Marks symbols that the library looks up in the program that loads it. */
#if defined(_WIN32)
#    define QZ_PROGRAM_EXPORT __declspec(dllexport)
#else
#    define QZ_PROGRAM_EXPORT __attribute__((visibility("default")))
#endif

/* Lets the compiler check printf-style arguments: the positions of the format and of the first
 * value to format (0 for functions that take a va_list). */
#if defined(_WIN32) && defined(__GNUC__) && !defined(__clang__)
#    define QZ_PRINTF_LIKE(format_position, first_value) \
        __attribute__((format(gnu_printf, format_position, first_value)))
#elif defined(__GNUC__)
#    define QZ_PRINTF_LIKE(format_position, first_value) \
        __attribute__((format(printf, format_position, first_value)))
#else
#    define QZ_PRINTF_LIKE(format_position, first_value)
#endif

/* A function that is defined in a header. */
#ifdef __cplusplus
#    define QZ_INLINE inline
#else
#    define QZ_INLINE static inline
#endif

#ifdef __cplusplus
#    define QZ_EXTERN_C extern "C"
#    define QZ_EXTERN_C_BEGIN extern "C" {
#    define QZ_EXTERN_C_END }
#else
#    define QZ_EXTERN_C extern
#    define QZ_EXTERN_C_BEGIN
#    define QZ_EXTERN_C_END
#endif

#endif
