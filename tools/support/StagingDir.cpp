#include "support/StagingDir.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
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

// What a signal handler needs to undo a run, set up before any signal can
// come: the staging folder stays open so that it can be emptied by
// descriptor, with no allocation.
struct StagingSignalCleanup {
  int stagingFd = -1;
  std::string staging;
  std::string target;
  bool removeTarget = false;
  struct sigaction previous[kSignalCount] = {};

  ~StagingSignalCleanup() {
    if (stagingFd >= 0) ::close(stagingFd);
  }
};

namespace {

std::atomic<StagingSignalCleanup*> g_cleanup{nullptr};

void restorePreviousActions(const StagingSignalCleanup& c) {
  for (size_t i = 0; i < kSignalCount; ++i) sigaction(kSignals[i], &c.previous[i], nullptr);
}

// Removes every file of the open folder with raw system calls only, pass by
// pass, since removing while listing may skip entries; the staging folder
// holds plain files only.
void emptyFolder(int fd) {
  alignas(8) static char listing[4096];
  for (int pass = 0; pass < 64; ++pass) {
    bool removed = false;
    ::lseek(fd, 0, SEEK_SET);
    for (long n; (n = ::syscall(SYS_getdents64, fd, listing, sizeof(listing))) > 0;) {
      for (long at = 0; at < n;) {
        // struct linux_dirent64: inode, offset, record length, type, name.
        unsigned short length;
        std::memcpy(&length, listing + at + 16, sizeof(length));
        const char* name = listing + at + 19;
        if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) {
          removed = ::unlinkat(fd, name, 0) == 0 || removed;
        }
        at += length;
      }
    }
    if (!removed) return;
  }
}

// Only async-signal-safe calls: system calls on descriptors and paths,
// sigaction and raise.
void removeStagedOnSignal(int signal, siginfo_t* info, void*) {
  const int savedErrno = errno;
  StagingSignalCleanup* c = g_cleanup.exchange(nullptr);
  if (c != nullptr) {
    emptyFolder(c->stagingFd);
    ::rmdir(c->staging.c_str());
    if (c->removeTarget) ::rmdir(c->target.c_str());
    restorePreviousActions(*c);
  }
  errno = savedErrno;
  // A fault comes back by itself when the faulting instruction runs again;
  // a signal that was sent (an interruption, kill, abort) is sent anew, now
  // to the previous handler.
  if (info == nullptr || info->si_code <= 0 ||
      std::find(kSignals, kSignals + kInterruptions, signal) != kSignals + kInterruptions) {
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
  action.sa_sigaction = removeStagedOnSignal;
  action.sa_flags = SA_SIGINFO;
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
  cleanup_->stagingFd = ::open(staging_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
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

std::string StagingDir::file(const std::string& name) const {
  return (fs::path(staging_) / name).string();
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
