#include "Util/System.h"

System::~System() = default;
