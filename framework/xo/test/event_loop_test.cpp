#include "framework/xo/event_loop.h"
