#pragma once
// Output written into a hidden sibling directory and moved into place only
// when everything succeeded, so a failed run leaves no partial output.
#include <string>

namespace kelvora::tools {

class StagingDir {
 public:
  // Creates "<parent>/.<name>.partial-<pid>" next to `target`. Throws
  // ToolError when target exists and is not a directory.
  explicit StagingDir(const std::string& target);
  ~StagingDir();  // removes the staging directory unless committed
  StagingDir(const StagingDir&) = delete;
  StagingDir& operator=(const StagingDir&) = delete;

  // Path of a file inside the staging directory.
  std::string file(const std::string& name) const;
  const std::string& path() const { return staging_; }
  // Moves every staged file into target (created if missing, files of the
  // same name replaced).
  void commit();

 private:
  std::string target_;
  std::string staging_;
  bool committed_ = false;
};

}  // namespace kelvora::tools
