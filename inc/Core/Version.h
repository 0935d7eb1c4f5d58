/* The version of the library: of the headers at compile time, and of the loaded library at run
 * time.
 *
 * Versions are MAJOR.MINOR.PATCH. Until 1.0.0 a new MINOR may change the interface; from then on
 * only a new MAJOR does. A new PATCH changes no interface.
 *
 * The build takes the version of its packages from this file.
 */
#ifndef QZCORE_CORE_VERSION_H
#define QZCORE_CORE_VERSION_H

#include "Core/Export.h"

#define QZ_VERSION_MAJOR 0
#define QZ_VERSION_MINOR 1
#define QZ_VERSION_PATCH 0

/* For comparisons: #if QZ_VERSION_NUMBER >= QZ_MAKE_VERSION(0, 2, 0). Parts are below 1000. */
#define QZ_MAKE_VERSION(major, minor, patch) ((major)*1000000 + (minor)*1000 + (patch))
#define QZ_VERSION_NUMBER QZ_MAKE_VERSION(QZ_VERSION_MAJOR, QZ_VERSION_MINOR, QZ_VERSION_PATCH)

QZ_EXTERN_C_BEGIN

/* Returns the version of the loaded library in the form of QZ_VERSION_NUMBER. Any thread. */
QZ_API int QZ_version(void);

/* Returns the same as text, "0.1.0", which belongs to the library and does not change. Any thread.
 */
QZ_API const char* QZ_version_string(void);

QZ_EXTERN_C_END

#endif
