#include "framework/hb/hb_module.h"

#include <gtest/gtest.h>
