#include "Mail/Shared.h"

Mem::Shared::~Shared() = default;
