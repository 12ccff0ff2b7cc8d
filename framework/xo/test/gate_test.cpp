#include "framework/xo/gate.h"
