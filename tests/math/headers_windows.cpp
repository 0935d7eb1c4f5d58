// The headers after windows.h, whose macros take common names; and after its worst two where there
// is no windows.h. Compiled, never run.
#include "Common/Allocator.h" // standard headers do not bear those macros
#if __has_include(<windows.h>)
#    include <windows.h>
#endif
#undef min
#undef max
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))

#include "Math/Half.h"
#include "Math/Matrix.h"
#include "Math/Predictor.h"
#include "Math/RateMeter.h"
#include "Math/Rotation3.h"
#include "Math/Vector.h"
#include "Math/nMatrix.h"
