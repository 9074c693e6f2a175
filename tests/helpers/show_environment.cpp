// Shows the environment that a test program runs in: one line for each variable.

#include <cstdio>

#include <unistd.h>

#include "support/private_home.h"

int main() {
  for (char** entry = environ; *entry != nullptr; ++entry) std::printf("%s\n", *entry);
  bix_test::RemovePrivateHome();
}
