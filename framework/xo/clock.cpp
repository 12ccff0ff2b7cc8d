#include "framework/xo/clock.h"
