#include "support/StagingDir.hpp"

#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "support/ToolError.hpp"

namespace fs = std::filesystem;

namespace kelvora::tools {

StagingDir::StagingDir(const std::string& target) : target_(target) {
  std::error_code ec;
  if (fs::exists(target, ec) && !fs::is_directory(target, ec)) {
    throw ToolError(target + " exists and is not a directory");
  }
  fs::path t = fs::absolute(fs::path(target)).lexically_normal();
  if (!t.has_filename()) t = t.parent_path();
  const fs::path parent = t.parent_path();
  if (!fs::is_directory(parent, ec)) {
    throw ToolError("output folder " + target + ": " + parent.string() + " does not exist");
  }
  staging_ =
      (parent / ("." + t.filename().string() + ".partial-" + std::to_string(::getpid()))).string();
  fs::remove_all(staging_, ec);
  if (!fs::create_directory(staging_, ec)) {
    throw ToolError("cannot create a folder next to " + target + ": " + ec.message());
  }
}

StagingDir::~StagingDir() {
  std::error_code ec;
  fs::remove_all(staging_, ec);  // after a commit only the empty folder is left
}

std::string StagingDir::file(const std::string& name) const {
  return (fs::path(staging_) / name).string();
}

void StagingDir::commit() {
  std::error_code ec;
  if (!fs::exists(target_, ec)) {
    fs::rename(staging_, target_, ec);
    if (ec) throw ToolError("cannot create " + target_ + ": " + ec.message());
    committed_ = true;
    return;
  }
  for (const fs::directory_entry& e : fs::directory_iterator(staging_)) {
    const fs::path destination = fs::path(target_) / e.path().filename();
    fs::remove_all(destination, ec);
    fs::rename(e.path(), destination, ec);
    if (ec)
      throw ToolError("cannot move " + e.path().string() + " into " + target_ + ": " +
                      ec.message());
  }
  committed_ = true;
}

}  // namespace kelvora::tools
