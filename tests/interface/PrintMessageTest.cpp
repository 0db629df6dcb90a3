#include "interface/PrintMessage.hpp"

#include <gtest/gtest.h>

#include <csignal>

namespace kelvora {
namespace {

TEST(PrintMessageTest, FormatsLikePrintfAndEndsTheLine) {
  ::testing::internal::CaptureStderr();
  printMessage("key %u of %s: %.2f", 25u, "FREQUENCY_1", 0.5);
  printMessage("%s", "");
  printMessage();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "key 25 of FREQUENCY_1: 0.50\n\n");
}

TEST(PrintMessageDeathTest, AbortPrintsTheMessageFirst) {
  EXPECT_EXIT(abortWithMessage("ResultType enumeration not handled completely."),
              ::testing::KilledBySignal(SIGABRT),
              "^ResultType enumeration not handled completely\\.\n");
}

}  // namespace
}  // namespace kelvora
