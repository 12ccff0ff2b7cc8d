#include "framework/xo/os.h"
