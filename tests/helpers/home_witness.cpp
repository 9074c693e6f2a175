#include "helpers/home_witness.h"

#include <cstdlib>
#include <string>

namespace bix_test {
namespace {

const std::string s_home = std::getenv("HOME") != nullptr ? std::getenv("HOME") : "";

}  // namespace

const char* HomeSeenByConstructor() { return s_home.c_str(); }

}  // namespace bix_test
