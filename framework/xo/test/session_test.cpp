#include "framework/xo/session.h"

#include <gtest/gtest.h>
