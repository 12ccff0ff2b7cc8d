#include "framework/xo/method.h"

#include <gtest/gtest.h>
