#include "interface/PrintMessage.hpp"

#include <gtest/gtest.h>

namespace kelvora {
namespace {

TEST(PrintMessageTest, FormatsLikePrintfAndEndsTheLine) {
  ::testing::internal::CaptureStderr();
  printMessage("key %u of %s: %.2f", 25u, "FREQUENCY_1", 0.5);
  printMessage("%s", "");
  printMessage();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "key 25 of FREQUENCY_1: 0.50\n\n");
}

}  // namespace
}  // namespace kelvora
