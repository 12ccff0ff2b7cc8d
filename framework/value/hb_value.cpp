#include "framework/value/hb_value.h"
