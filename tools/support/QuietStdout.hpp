#pragma once
// Silences standard output for a scope: the calibration readers print
// progress lines there, which would bury the demo's report.
namespace kelvora::tools {

class QuietStdout {
 public:
  QuietStdout();
  ~QuietStdout();
  QuietStdout(const QuietStdout&) = delete;
  QuietStdout& operator=(const QuietStdout&) = delete;

 private:
  int saved_ = -1;
};

}  // namespace kelvora::tools
