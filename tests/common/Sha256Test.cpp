#include "common/Sha256.h"

#include <gtest/gtest.h>

namespace vale {
namespace {

// NIST's examples for FIPS 180-4.
TEST(Sha256, standardVectors) {
  EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(sha256Hex(std::string(1'000'000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

}  // namespace
}  // namespace vale
