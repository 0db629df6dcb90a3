// kelvora view CALIBRATION RECORDING [--port N] [--params FILE] [--set name=value ...]
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "commands/Commands.hpp"
#include "support/ToolError.hpp"
#include "view/ViewServer.hpp"
#include "view/ViewerSession.hpp"

#ifndef KELVORA_THREE_JS_DIR
#define KELVORA_THREE_JS_DIR "/usr/share/javascript/three"
#endif

namespace kelvora::tools {

namespace {

struct ViewCommandOptions {
  ViewerOptions viewer;
  int port = 8090;
};

// Ctrl-C and SIGTERM stop the server from a thread of its own that waits
// for them: stop() is not safe inside a signal handler. The signals are
// blocked before the server starts its threads, which inherit the mask, so
// only this thread ever receives them.
class StopOnSignal {
 public:
  explicit StopOnSignal(ViewServer& server) {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    sigaddset(&signals_, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals_, &previous_);
    waiter_ = std::thread([this, &server] {
      int received = 0;
      sigwait(&signals_, &received);
      done_ = true;
      if (received != SIGUSR1) server.stop();
    });
  }
  ~StopOnSignal() {
    // SIGUSR1 wakes the waiter when the server ended on its own.
    if (!done_) pthread_kill(waiter_.native_handle(), SIGUSR1);
    waiter_.join();
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }
  StopOnSignal(const StopOnSignal&) = delete;
  StopOnSignal& operator=(const StopOnSignal&) = delete;

 private:
  sigset_t signals_;
  sigset_t previous_;
  std::atomic<bool> done_{false};
  std::thread waiter_;
};

void runView(const ViewCommandOptions& o) {
  if (o.viewer.calibration.empty() || o.viewer.recording.empty()) {
    throw ToolError("view needs a calibration file and a recording");
  }
  if (o.port < 0 || o.port > 65535) throw ToolError("--port must be 0..65535");
  ViewerSession session(o.viewer);
  ViewServer server(session, KELVORA_THREE_JS_DIR);
  if (!server.threeProblem().empty()) {
    std::fprintf(stderr, "kelvora view: %s\n", server.threeProblem().c_str());
  }
  const int port = server.bind(o.port);
  // A browser that closes a connection while an answer is being written
  // must not end the server.
  signal(SIGPIPE, SIG_IGN);
  bool served = false;
  {
    const StopOnSignal stopper(server);
    std::printf("kelvora view: %u frame sets of %s at http://127.0.0.1:%d/ (Ctrl-C stops)\n",
                session.frameSetCount(), o.viewer.recording.c_str(), port);
    std::fflush(stdout);
    served = server.run();
  }
  if (!served) throw ToolError("the server on port " + std::to_string(port) + " failed");
  std::printf("kelvora view: stopped\n");
}

}  // namespace

void addViewCommand(CLI::App& app) {
  auto o = std::make_shared<ViewCommandOptions>();
  CLI::App* cmd = app.add_subcommand(
      "view", "Look at a recording's results in the browser and tune the parameters");
  cmd->add_option("calibration", o->viewer.calibration,
                  "calibration file in the container or legacy format");
  cmd->add_option("recording", o->viewer.recording,
                  "recording of raw frame sets (docs/RECORDING.md)");
  cmd->add_option("--port", o->port, "port on 127.0.0.1; 0 picks a free one")
      ->capture_default_str();
  cmd->add_option("--params", o->viewer.parameterFile,
                  "parameter file (JSON) to start from, as the page saves it");
  cmd->add_option("--set", o->viewer.settings,
                  "set a processing parameter: name=value (repeatable, after --params)");
  cmd->callback([o] { runView(*o); });
}

}  // namespace kelvora::tools
