// The headers after windows.h, whose macros take common names. Compiled, never run.
#if __has_include(<windows.h>)
#    define NOMINMAX // the standard headers do not bear these two
#    include <windows.h>
#endif

#include "Globals.h"
#include "Random/RandomManager.h"
#include "Random/Randomizer.h"
#include "Util/ConsoleArgs.h"
#include "Util/FPS_Controller.h"
#include "Util/Strings.h"
#include "Util/System.h"
#include "Util/TempFilesManager.h"
