/* What every public header needs: the export macro and C linkage.
 *
 * Some behaviour in the headers looks odd: a misspelt name, bytes in reverse order, a time-out that
 * is ignored. The headers say where. Programs and stored data rely on it, so it stays.
 *
 * This is the only place of the library outside src/platform that asks which system it is for.
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

/* For private members of an exported class that the library alone calls: they are not exported.
 * Windows exports such a class whole, and them with it. A class without virtual functions can
 * export its public members one by one instead; then nothing private is, on either system. */
#if defined(_WIN32)
#    define QZ_LOCAL
#else
#    define QZ_LOCAL __attribute__((visibility("hidden")))
#endif

/* For what the library looks up in the program that loads it. */
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
