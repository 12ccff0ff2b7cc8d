#include "framework/xo/version.h"
