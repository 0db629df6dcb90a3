#include "support/StagingDir.hpp"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "support/ToolError.hpp"

namespace fs = std::filesystem;

namespace kelvora::tools {

namespace {

// Interruptions that end the run, then the crash signals. A handler only
// removes what the run staged and lets the signal take its course.
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr int kInterruptions = 3;
constexpr size_t kSignalCount = sizeof(kSignals) / sizeof(kSignals[0]);

}  // namespace

// What a signal handler needs to undo a run, readable without allocating:
// the staged paths form a list that file() only ever prepends to.
struct StagingSignalCleanup {
  struct StagedFile {
    std::string path;
    StagedFile* next;
  };
  std::atomic<StagedFile*> files{nullptr};
  std::string staging;
  std::string target;
  bool removeTarget = false;
  struct sigaction previous[kSignalCount] = {};

  ~StagingSignalCleanup() {
    for (StagedFile* f = files.load(); f != nullptr;) {
      StagedFile* next = f->next;
      delete f;
      f = next;
    }
  }
};

namespace {

std::atomic<StagingSignalCleanup*> g_cleanup{nullptr};

void restorePreviousActions(const StagingSignalCleanup& c) {
  for (size_t i = 0; i < kSignalCount; ++i) sigaction(kSignals[i], &c.previous[i], nullptr);
}

// Only async-signal-safe calls: unlink, rmdir, sigaction, raise.
void removeStagedOnSignal(int signal) {
  const int savedErrno = errno;
  StagingSignalCleanup* c = g_cleanup.exchange(nullptr);
  if (c != nullptr) {
    for (auto* f = c->files.load(); f != nullptr; f = f->next) ::unlink(f->path.c_str());
    ::rmdir(c->staging.c_str());
    if (c->removeTarget) ::rmdir(c->target.c_str());
    restorePreviousActions(*c);
  }
  errno = savedErrno;
  // A crash signal comes back by itself when the faulting instruction runs
  // again (abort raises a second time); an interruption is sent anew, now to
  // the previous handler.
  if (std::find(kSignals, kSignals + kInterruptions, signal) != kSignals + kInterruptions) {
    ::raise(signal);
  }
}

// Blocks the interruptions for a scope, so that committing or tearing down
// the handlers is never cut in half.
class InterruptionsBlocked {
 public:
  InterruptionsBlocked() {
    sigset_t block;
    sigemptyset(&block);
    for (int i = 0; i < kInterruptions; ++i) sigaddset(&block, kSignals[i]);
    sigprocmask(SIG_BLOCK, &block, &saved_);
  }
  ~InterruptionsBlocked() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }

 private:
  sigset_t saved_;
};

void installCleanup(StagingSignalCleanup* c) {
  struct sigaction action = {};
  action.sa_handler = removeStagedOnSignal;
  sigemptyset(&action.sa_mask);
  InterruptionsBlocked blocked;
  g_cleanup.store(c);
  for (size_t i = 0; i < kSignalCount; ++i) {
    sigaction(kSignals[i], &action, &c->previous[i]);
    // A signal ignored when the run started (SIGINT of a background job)
    // stays ignored.
    if (c->previous[i].sa_handler == SIG_IGN) sigaction(kSignals[i], &c->previous[i], nullptr);
  }
}

void uninstallCleanup(StagingSignalCleanup* c) {
  InterruptionsBlocked blocked;
  if (g_cleanup.load() == c) {
    restorePreviousActions(*c);
    g_cleanup.store(nullptr);
  }
}

bool processAlive(pid_t pid) {
  return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM);
}

// The command and names of an earlier run's manifest; false without one.
bool readManifest(const fs::path& folder, std::string& command, std::vector<std::string>& names) {
  std::ifstream in(folder / kManifestName);
  std::string line;
  if (!in || !std::getline(in, line) || line.rfind("kelvora ", 0) != 0) return false;
  command = line.substr(8);
  while (std::getline(in, line)) {
    // Plain names only: a manifest never reaches outside its folder.
    if (!line.empty() && line != "." && line != ".." && line.find('/') == std::string::npos) {
      names.push_back(line);
    }
  }
  return true;
}

}  // namespace

StagingDir::StagingDir(const std::string& target, const std::string& command)
    : target_(target), command_(command) {
  std::error_code ec;
  const fs::path t(target);
  if (fs::exists(t, ec)) {
    if (!fs::is_directory(t, ec)) throw ToolError("output folder " + target + " is a file");
    std::string previousCommand;
    const bool previous = readManifest(t, previousCommand, previousOutputs_);
    std::vector<std::string> foreign;
    for (const fs::directory_entry& e : fs::directory_iterator(t, ec)) {
      const std::string name = e.path().filename().string();
      if (name == kManifestName) continue;
      if (name.rfind(kStagingPrefix, 0) == 0) {
        const pid_t pid = static_cast<pid_t>(std::atoi(name.c_str() + std::strlen(kStagingPrefix)));
        if (pid != ::getpid() && processAlive(pid)) {
          throw ToolError("another kelvora run (process " + std::to_string(pid) +
                          ") is writing into " + target);
        }
        fs::remove_all(e.path(), ec);  // left by a run that was killed
        continue;
      }
      if (std::find(previousOutputs_.begin(), previousOutputs_.end(), name) ==
          previousOutputs_.end()) {
        foreign.push_back(name);
      }
    }
    if (previous && previousCommand != command) {
      throw ToolError("output folder " + target + " holds the output of kelvora " +
                      previousCommand + "; give a new or empty folder");
    }
    if (!foreign.empty()) {
      std::sort(foreign.begin(), foreign.end());
      throw ToolError("output folder " + target + " holds files kelvora did not write ('" +
                      foreign.front() + "'" + (foreign.size() > 1 ? ", ..." : "") +
                      "); give a new or empty folder");
    }
  } else {
    const fs::path parent = fs::absolute(t).lexically_normal().parent_path();
    if (!fs::is_directory(parent, ec)) {
      throw ToolError("output folder " + target + ": " + parent.string() + " does not exist");
    }
    if (!fs::create_directory(t, ec)) {
      throw ToolError("cannot create output folder " + target + ": " + ec.message());
    }
    createdTarget_ = true;
  }
  staging_ = (t / (kStagingPrefix + std::to_string(::getpid()))).string();
  if (!fs::create_directory(staging_, ec)) {
    if (createdTarget_) fs::remove(t, ec);
    throw ToolError("cannot write into output folder " + target + ": " + ec.message());
  }
  cleanup_ = new StagingSignalCleanup;
  cleanup_->staging = staging_;
  cleanup_->target = target_;
  cleanup_->removeTarget = createdTarget_;
  installCleanup(cleanup_);
}

StagingDir::~StagingDir() {
  uninstallCleanup(cleanup_);
  delete cleanup_;
  if (committed_) return;
  std::error_code ec;
  fs::remove_all(staging_, ec);
  if (createdTarget_) fs::remove(target_, ec);  // only while empty
}

std::string StagingDir::file(const std::string& name) {
  std::string path = (fs::path(staging_) / name).string();
  cleanup_->files.store(new StagingSignalCleanup::StagedFile{path, cleanup_->files.load()});
  return path;
}

void StagingDir::commit() {
  InterruptionsBlocked blocked;
  std::vector<std::string> names;
  for (const fs::directory_entry& e : fs::directory_iterator(staging_)) {
    names.push_back(e.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  std::error_code ec;
  const fs::path t(target_);
  for (const std::string& old : previousOutputs_) fs::remove_all(t / old, ec);
  fs::remove(t / kManifestName, ec);
  for (const std::string& name : names) {
    fs::rename(fs::path(staging_) / name, t / name, ec);
    if (ec) throw ToolError("cannot move " + name + " into " + target_ + ": " + ec.message());
  }
  {
    std::ofstream manifest(t / kManifestName, std::ios::trunc);
    manifest << "kelvora " << command_ << "\n";
    for (const std::string& name : names) manifest << name << "\n";
    if (!manifest.flush()) throw ToolError("cannot write into " + target_);
  }
  fs::remove(staging_, ec);
  committed_ = true;
}

}  // namespace kelvora::tools
