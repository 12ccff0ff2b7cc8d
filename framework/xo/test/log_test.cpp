#include "framework/xo/log.h"
