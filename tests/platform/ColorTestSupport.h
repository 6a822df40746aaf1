// Colour comparison for the colour tests: components agree to 1e-9.
#pragma once

#include <gtest/gtest.h>

#include "vantorcore/platform/Color.h"

namespace lx::test {

inline void expectNear(const Color& actual, const Color& expected) {
  EXPECT_NEAR(actual.red(), expected.red(), 1e-9);
  EXPECT_NEAR(actual.green(), expected.green(), 1e-9);
  EXPECT_NEAR(actual.blue(), expected.blue(), 1e-9);
  EXPECT_NEAR(actual.alpha(), expected.alpha(), 1e-9);
}

}  // namespace lx::test
