#include "framework/hb/hb_broker.h"

#include <gtest/gtest.h>
