#include "framework/xo/type.h"

#include <gtest/gtest.h>
