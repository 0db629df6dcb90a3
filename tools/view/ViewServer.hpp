#pragma once
// The viewer's HTTP server on 127.0.0.1: the page and its scripts, three.js
// from the system's copy, and an API over a ViewerSession:
//
//   GET /api/session                       calibration, recording, frame size, frame sets
//   GET /api/frames/N                      frame set N: valid fraction, time, proposals
//   GET /api/frames/N/RESULT.png           distance, amplitude, noise, intensity or flags
//   GET /api/frames/N/pixel?x=X&y=Y        every result of one pixel, flags in words
//   GET /api/frames/N/points               the point cloud with its colours (binary)
//   GET /api/parameters                    what the engine accepts, with values and bounds
//   PUT /api/parameters/NAME  {"value": V} sets one parameter
//   GET /api/parameter-file                the current settings as a parameter file
//   PUT /api/parameter-file   {...}        loads a parameter file: all of it or nothing
//
// Errors are JSON objects {"error": "..."} with a 4xx status for a bad
// request (400 malformed, 404 unknown, 422 refused value) and 500 when the
// recording cannot be read. Each request is handled whole under one lock:
// the engine serves one caller at a time.
#include <memory>
#include <string>

#include "view/ViewerSession.hpp"

namespace kelvora::tools {

class ViewServer {
 public:
  // `threeDir` is where Debian's libjs-three keeps three.js.
  ViewServer(ViewerSession& session, const std::string& threeDir);
  ~ViewServer();
  ViewServer(const ViewServer&) = delete;
  ViewServer& operator=(const ViewServer&) = delete;

  // Binds 127.0.0.1:port, or any free port for 0; returns the port bound.
  // Throws ToolError when the port cannot be had.
  int bind(int port);
  // Serves until stop() is called; false when serving failed.
  bool run();
  // May be called from any thread.
  void stop();
  // What went wrong with three.js, for the user; empty when it was found.
  const std::string& threeProblem() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kelvora::tools
