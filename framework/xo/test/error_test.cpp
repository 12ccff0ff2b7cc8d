#include "framework/xo/error.h"

#include <gtest/gtest.h>
