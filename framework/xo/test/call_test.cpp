#include "framework/xo/call.h"

#include <gtest/gtest.h>
