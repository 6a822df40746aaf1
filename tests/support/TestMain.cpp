#include <gtest/gtest.h>

#include "support/TestSupport.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // Every test runs with HOME and the XDG folders in a fresh temporary
  // folder, so nothing a test writes can touch the real user's files.
  lx::test::installTemporaryHome();
  return RUN_ALL_TESTS();
}
