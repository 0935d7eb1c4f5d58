/* Every flat header, as C11 sees it, after the macros that windows.h and builds define. */
#define ERROR 0
#define DEBUG 1
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))

#include "flat_headers.h"

_Static_assert(QZ_LOG_ERROR == 0x08 && WARNING == 0x10 && ALL == 0xFF, "levels");
_Static_assert(sizeof(QZ_atomic_gather) == 2 * sizeof(void*), "two words");

void use_headers(void);
void use_headers(void) {
    qz_log("C", QZ_LOG_INFO, SYS_cmdline());
}
