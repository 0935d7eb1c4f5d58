// The headers compile before windows.h as well.
#include "all_headers.h"

#if __has_include(<windows.h>)
#    include <windows.h>
#endif
