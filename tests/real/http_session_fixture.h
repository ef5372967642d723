// A real HTTP session against scripted servers on loopback.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/native/http/curl_http_session.h"
#include "platform/native/threads/worker_pool.h"
#include "tests/support/certificates.h"
#include "tests/support/raw_server.h"

namespace qlczephra::platform {

using namespace std::chrono_literals;
using test::RawConnection;
using test::RawServer;

inline constexpr auto aLot = std::chrono::seconds(60);  // for a hang; no test waits that long

inline HttpRequest get(const std::string& url) {
  HttpRequest request;
  request.url = url;
  request.method = "GET";
  return request;
}

inline HttpRequest patch(const std::string& url, std::string body) {
  HttpRequest request = get(url);
  request.method = "PATCH";
  request.body = std::move(body);
  return request;
}

inline HttpRequest impatient(HttpRequest request, std::chrono::milliseconds longestWait = 500ms) {
  request.longestWait = longestWait;
  return request;
}

inline HttpRequest judgedBy(HttpRequest request, std::shared_ptr<QLCPMCertificatesHandler> handler) {
  request.certificatesHandler = std::move(handler);
  return request;
}

class HttpSessionTest : public ::testing::Test {
 protected:
  ~HttpSessionTest() override {
    if (session_) session_->stop();
    workers_->stop();
  }

  // Before the first request.
  HttpSessionOptions options;

  CurlHttpSession& session() {
    if (!session_) {
      session_ = std::make_unique<CurlHttpSession>(httpEnvironmentOn(workers_), options);
    }
    return *session_;
  }

  std::future<HttpOutcome> begin(HttpRequest request) {
    auto promise = std::make_shared<std::promise<HttpOutcome>>();
    // A second completion would throw here and end the test.
    session().send(std::move(request), [promise](HttpOutcome outcome) { promise->set_value(std::move(outcome)); });
    return promise->get_future();
  }

  static HttpOutcome end(std::future<HttpOutcome> outcome) {
    if (outcome.wait_for(aLot) != std::future_status::ready) {
      ADD_FAILURE() << "no completion";
      return {};
    }
    return outcome.get();
  }

  HttpOutcome exchange(HttpRequest request) { return end(begin(std::move(request))); }

  static int statusOf(const HttpOutcome& outcome) { return outcome.head ? outcome.head->status : 0; }

  std::shared_ptr<WorkerPool> workers_ = WorkerPool::make();
  std::unique_ptr<CurlHttpSession> session_;
};

// Adds: an authority that the session trusts.
class TlsSessionTest : public HttpSessionTest {
 protected:
  TlsSessionTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qlczephra-trust-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "no temporary directory";
    folder_ = pattern;
    options.trustBundle = folder_ / "bundle.pem";
    trustOnly(authority_.certificate());
  }
  ~TlsSessionTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  // Replaces the bundle as the system's update does.
  void trustOnly(const std::string& certificates) {
    const auto next = folder_ / "next.pem";
    std::ofstream(next) << certificates;
    std::filesystem::rename(next, options.trustBundle);
  }

  test::CertificateAuthority authority_{"trusted authority"};
  std::filesystem::path folder_;
};

}  // namespace qlczephra::platform
