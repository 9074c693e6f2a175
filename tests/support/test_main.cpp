#include <gtest/gtest.h>

#include "support/private_home.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const int failed = RUN_ALL_TESTS();
  bix_test::RemovePrivateHome();
  return failed;
}
