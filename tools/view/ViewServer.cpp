#include "view/ViewServer.hpp"

#include <httplib.h>

#include <cstring>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/ToolError.hpp"
#include "view/FrameSetViews.hpp"
#include "view/PageAssets.hpp"

namespace kelvora::tools {

namespace {

using Json = nlohmann::json;

constexpr const char* kJson = "application/json";
// Parameter files and single values are a few kilobytes at most.
constexpr size_t kMaxRequestBytes = 1 << 20;

// An error answer the page can show as it is.
void fail(httplib::Response& res, int status, const std::string& message) {
  res.status = status;
  res.set_content(Json{{"error", message}}.dump(), kJson);
}

void reply(httplib::Response& res, const Json& body) {
  res.set_content(body.dump(), kJson);
}

const char* contentType(const std::string& name) {
  const auto endsWith = [&](const char* suffix) {
    const size_t n = std::strlen(suffix);
    return name.size() >= n && name.compare(name.size() - n, n, suffix) == 0;
  };
  if (endsWith(".html")) return "text/html; charset=utf-8";
  if (endsWith(".css")) return "text/css; charset=utf-8";
  if (endsWith(".js")) return "text/javascript; charset=utf-8";
  if (endsWith(".png")) return "image/png";
  return "application/octet-stream";
}

bool readWholeFile(const std::string& path, std::string& out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream text;
  text << in.rdbuf();
  out = text.str();
  return static_cast<bool>(in);
}

// A decimal number below `limit`, the whole text and nothing else.
bool parseIndex(const std::string& text, uint32_t limit, uint32_t& out) {
  if (text.empty() || text.size() > 9) return false;
  uint32_t v = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + static_cast<uint32_t>(c - '0');
  }
  if (v >= limit) return false;
  out = v;
  return true;
}

// Paths are matched against a fixed list, so nothing outside it can be
// served; a path that climbs is still answered as what it is.
bool climbs(const std::string& path) {
  return path.find("..") != std::string::npos || path.find('\\') != std::string::npos ||
         path.find('\0') != std::string::npos;
}

Json parameterJson(const ParameterInfo& p) {
  return {{"name", p.name},
          {"type", p.type},
          {"value", p.value},
          {"default", p.defaultValue},
          {"hasBounds", p.hasBounds},
          {"lowerBound", p.lowerBound},
          {"upperBound", p.upperBound},
          {"description", p.description}};
}

}  // namespace

struct ViewServer::Impl {
  ViewerSession& session;
  std::mutex lock;  // one request at a time reaches the session
  httplib::Server server;
  std::string threeJs, orbitControls, threeProblem;

  Impl(ViewerSession& s, const std::string& threeDir) : session(s) {
    const std::string three = threeDir + "/three.min.js";
    const std::string orbit = threeDir + "/examples/js/controls/OrbitControls.js";
    if (!readWholeFile(three, threeJs) || !readWholeFile(orbit, orbitControls)) {
      threeProblem = "three.js was not found at " + three + " and " + orbit +
                     ": the 3D view needs Debian's libjs-three (apt-get install libjs-three)";
    }
    routes();
  }

  // Frame set N of the request's first match, processed; null after an
  // error answer.
  std::shared_ptr<const ProcessedFrameSet> frameSet(const httplib::Request& req,
                                                    httplib::Response& res) {
    uint32_t index = 0;
    if (!parseIndex(req.matches[1], session.frameSetCount(), index)) {
      fail(res, 404,
           "no frame set " + std::string(req.matches[1]) + ": the recording holds " +
               std::to_string(session.frameSetCount()) + " (0 to " +
               std::to_string(session.frameSetCount() - 1) + ")");
      return nullptr;
    }
    return session.frameSet(index);
  }

  // Answers a parameter change: 200 with the new list, 404 for a name the
  // engine does not know, 422 for a refused value.
  void answerChange(httplib::Response& res, const ParameterChange& change) {
    switch (change.outcome) {
      case ParameterChange::Outcome::kApplied:
        return parameters(res);
      case ParameterChange::Outcome::kUnknownName:
        return fail(res, 404, change.message);
      case ParameterChange::Outcome::kRefused:
        break;
    }
    res.status = 422;
    reply(res, {{"error", change.message}, {"parameter", change.name}});
  }

  void parameters(httplib::Response& res) {
    Json list = Json::array();
    for (const ParameterInfo& p : session.parameters()) list.push_back(parameterJson(p));
    reply(res, {{"parameters", list}});
  }

  void pageRoutes() {
    for (size_t i = 0; i < kPageAssetCount; ++i) {
      const PageAsset& asset = kPageAssets[i];
      const std::string name = asset.name;
      const std::string body(reinterpret_cast<const char*>(asset.data), asset.size);
      server.Get(name == "index.html" ? "/" : "/" + name,
                 [name, body](const httplib::Request&, httplib::Response& res) {
                   res.set_content(body, contentType(name));
                 });
    }
    const auto serveThree = [this](const char* path, const std::string& script) {
      server.Get(path, [this, &script](const httplib::Request&, httplib::Response& res) {
        if (!threeProblem.empty()) return fail(res, 404, threeProblem);
        res.set_content(script, "text/javascript; charset=utf-8");
      });
    };
    serveThree("/three/three.min.js", threeJs);
    serveThree("/three/OrbitControls.js", orbitControls);
  }

  void frameRoutes() {
    server.Get("/api/session", [this](const httplib::Request&, httplib::Response& res) {
      std::lock_guard<std::mutex> hold(lock);
      const RecordingHeader& h = session.recordingHeader();
      reply(res, {{"calibration", session.options().calibration},
                  {"recording", session.options().recording},
                  {"width", h.width},
                  {"height", h.height},
                  {"frameSets", session.frameSetCount()},
                  {"frequencies", session.frequencies()},
                  {"imageScale", kViewImageScale},
                  {"threeProblem", threeProblem}});
    });
    server.Get(R"(/api/frames/([^/]+))",
               [this](const httplib::Request& req, httplib::Response& res) {
                 std::lock_guard<std::mutex> hold(lock);
                 if (const auto f = frameSet(req, res)) reply(res, frameSetSummary(*f));
               });
    server.Get(R"(/api/frames/([^/]+)/([a-z]+)\.png)",
               [this](const httplib::Request& req, httplib::Response& res) {
                 std::lock_guard<std::mutex> hold(lock);
                 const auto f = frameSet(req, res);
                 if (!f) return;
                 std::string png = resultPng(*f, req.matches[2]);
                 if (png.empty()) {
                   return fail(res, 404,
                               "no result " + std::string(req.matches[2]) +
                                   ": distance, amplitude, noise, intensity or flags");
                 }
                 res.set_content(std::move(png), "image/png");
               });
    server.Get(R"(/api/frames/([^/]+)/pixel)",
               [this](const httplib::Request& req, httplib::Response& res) {
                 std::lock_guard<std::mutex> hold(lock);
                 const RecordingHeader& h = session.recordingHeader();
                 uint32_t x = 0, y = 0;
                 if (!parseIndex(req.get_param_value("x"), h.width, x) ||
                     !parseIndex(req.get_param_value("y"), h.height, y)) {
                   return fail(res, 400,
                               "pixel?x=X&y=Y needs 0 <= X < " + std::to_string(h.width) +
                                   " and 0 <= Y < " + std::to_string(h.height));
                 }
                 if (const auto f = frameSet(req, res)) reply(res, pixelResults(*f, x, y));
               });
    server.Get(R"(/api/frames/([^/]+)/points)",
               [this](const httplib::Request& req, httplib::Response& res) {
                 std::lock_guard<std::mutex> hold(lock);
                 if (const auto f = frameSet(req, res)) {
                   res.set_content(pointCloudBytes(*f), "application/octet-stream");
                 }
               });
  }

  void parameterRoutes() {
    server.Get("/api/parameters", [this](const httplib::Request&, httplib::Response& res) {
      std::lock_guard<std::mutex> hold(lock);
      parameters(res);
    });
    server.Put(
        R"(/api/parameters/([^/]+))", [this](const httplib::Request& req, httplib::Response& res) {
          const Json body = Json::parse(req.body, nullptr, false);
          if (body.is_discarded() || !body.is_object() || !body.contains("value")) {
            return fail(res, 400, "malformed request: expected the JSON object {\"value\": ...}");
          }
          std::vector<ParameterSetting> settings;
          try {
            settings = parseParameterFile(Json{{req.matches[1].str(), body["value"]}}.dump(),
                                          "the request");
          } catch (const ToolError& e) {
            return fail(res, 400, e.what());
          }
          std::lock_guard<std::mutex> hold(lock);
          answerChange(res, session.change(settings));
        });
    server.Get("/api/parameter-file", [this](const httplib::Request&, httplib::Response& res) {
      std::lock_guard<std::mutex> hold(lock);
      res.set_header("Content-Disposition", "attachment; filename=\"kelvora-params.json\"");
      res.set_content(session.parameterFile(), kJson);
    });
    server.Put("/api/parameter-file", [this](const httplib::Request& req, httplib::Response& res) {
      std::vector<ParameterSetting> settings;
      try {
        settings = parseParameterFile(req.body, "the parameter file");
      } catch (const ToolError& e) {
        return fail(res, 400, e.what());
      }
      std::lock_guard<std::mutex> hold(lock);
      answerChange(res, session.change(settings));
    });
  }

  void routes() {
    server.set_payload_max_length(kMaxRequestBytes);
    // Short, so that stop() is not held up by a browser's idle connections.
    server.set_keep_alive_timeout(1);
    server.set_default_headers({{"Cache-Control", "no-store"}});
    server.set_pre_routing_handler([](const httplib::Request& req, httplib::Response& res) {
      if (!climbs(req.path)) return httplib::Server::HandlerResponse::Unhandled;
      fail(res, 400, "path outside the viewer: " + req.path);
      return httplib::Server::HandlerResponse::Handled;
    });
    server.set_error_handler([](const httplib::Request& req, httplib::Response& res) {
      if (!res.body.empty()) return;
      fail(res, res.status, res.status == 404 ? "not found: " + req.path : "bad request");
    });
    server.set_exception_handler(
        [](const httplib::Request&, httplib::Response& res, std::exception_ptr e) {
          try {
            std::rethrow_exception(e);
          } catch (const std::exception& x) {
            fail(res, 500, x.what());
          } catch (...) {
            fail(res, 500, "unexpected failure");
          }
        });
    pageRoutes();
    frameRoutes();
    parameterRoutes();
  }
};

ViewServer::ViewServer(ViewerSession& session, const std::string& threeDir)
    : impl_(std::make_unique<Impl>(session, threeDir)) {}

ViewServer::~ViewServer() = default;

int ViewServer::bind(int port) {
  const std::string host = "127.0.0.1";
  if (port == 0) {
    const int bound = impl_->server.bind_to_any_port(host);
    if (bound > 0) return bound;
  } else if (impl_->server.bind_to_port(host, port)) {
    return port;
  }
  throw ToolError("cannot listen on " + host + ":" + std::to_string(port) +
                  (port == 0 ? "" : " (in use? --port 0 picks a free port)"));
}

bool ViewServer::run() {
  return impl_->server.listen_after_bind();
}

void ViewServer::stop() {
  impl_->server.stop();
}

const std::string& ViewServer::threeProblem() const {
  return impl_->threeProblem;
}

}  // namespace kelvora::tools
