#include "framework/xo/object.h"

#include <gtest/gtest.h>
