// Placeholder, replaced by the trace tests.
#include "support/mctest.h"
TEST(Memoire, Builds) { EXPECT_CODE(0, MC_CR_OK); }
