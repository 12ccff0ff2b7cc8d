#include "framework/xo/periodic_task.h"
