#pragma once
// The output folder of one run. Files are written into a hidden staging
// folder inside it and moved into place only when everything succeeded, so
// a failed, interrupted or crashed run leaves no partial output, and a folder
// never holds the outputs of two runs: a folder that holds an earlier output
// of the same command is replaced whole, any other non-empty folder is
// refused. A list of what a run wrote (kManifestName) marks the folder as its
// output.
#include <string>
#include <vector>

namespace kelvora::tools {

struct StagingSignalCleanup;

constexpr const char* kManifestName = ".kelvora-outputs";
constexpr const char* kStagingPrefix = ".kelvora-staging-";

class StagingDir {
 public:
  // `command` names the run's kind ("process", "synth", ...) in the
  // manifest. Creates `target` when it is missing (its parent must exist).
  // Throws ToolError when target is not a folder, cannot be written, or holds
  // anything but an earlier output of the same command; stale staging
  // folders of runs that died are removed. Until commit or destruction,
  // SIGINT, SIGTERM, SIGHUP and the crash signals remove the staged files
  // (and the target when this run created it) before the signal takes its
  // course.
  StagingDir(const std::string& target, const std::string& command);
  ~StagingDir();  // removes what was staged unless committed
  StagingDir(const StagingDir&) = delete;
  StagingDir& operator=(const StagingDir&) = delete;

  // Path of a file inside the staging folder.
  std::string file(const std::string& name) const;
  const std::string& path() const { return staging_; }
  // Replaces the earlier output, if any, by everything staged.
  void commit();

 private:
  std::string target_;
  std::string command_;
  std::string staging_;
  std::vector<std::string> previousOutputs_;  // from an earlier run's manifest
  bool createdTarget_ = false;
  bool committed_ = false;
  StagingSignalCleanup* cleanup_ = nullptr;
};

}  // namespace kelvora::tools
