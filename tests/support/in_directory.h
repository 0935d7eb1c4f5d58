#include "support/test.h"
