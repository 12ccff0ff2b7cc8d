#include "framework/xo/future.h"
