#include "service/http_server.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>
#include <set>
#include <stdexcept>
#include <thread>

#include "service/channel.h"
#include "service/connection_threads.h"
#include "service/control.h"

namespace qlczephra::service {
namespace {

constexpr std::chrono::milliseconds keepAliveTime{120000};
constexpr std::chrono::milliseconds requestTime{60000};  // the longest wait within a request
constexpr std::size_t mostConnections = 4096;
constexpr int listenBacklog = 1024;

void addressOf(const sockaddr_in& address, std::string& ip, int& port) {
  char text[INET_ADDRSTRLEN] = {};
  ip = inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) == nullptr ? "" : text;
  port = ntohs(address.sin_port);
}

// A channel as the HTTP library reads and writes it.
class ChannelStream final : public httplib::Stream {
 public:
  explicit ChannelStream(Channel& channel) : channel_(channel) {}

  bool is_readable() const override { return channel_.awaitInput(requestTime); }
  bool is_writable() const override { return channel_.awaitOutput(requestTime); }
  ssize_t read(char* target, std::size_t size) override { return is_readable() ? channel_.read(target, size) : -1; }
  ssize_t write(const char* source, std::size_t size) override { return channel_.write(source, size); }
  void get_remote_ip_and_port(std::string& ip, int& port) const override { describe(::getpeername, ip, port); }
  void get_local_ip_and_port(std::string& ip, int& port) const override { describe(::getsockname, ip, port); }
  socket_t socket() const override { return channel_.socket(); }

 private:
  template <typename Lookup>
  void describe(Lookup lookup, std::string& ip, int& port) const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (lookup(channel_.socket(), reinterpret_cast<sockaddr*>(&address), &size) == 0) addressOf(address, ip, port);
  }

  Channel& channel_;
};

class ConnectionQueue final : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> task) override { threads_.run(std::move(task)); }
  void shutdown() override { threads_.finish(); }

 private:
  ConnectionThreads threads_{mostConnections};
};

using TlsContext = std::shared_ptr<SSL_CTX>;

TlsContext makeTlsContext(const ServerCertificate& certificate) {
  TlsContext context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  constexpr unsigned char sessionName[] = "stand-in";
  const bool done = context != nullptr && SSL_CTX_use_certificate(context.get(), certificate.certificate.get()) == 1 &&
                    SSL_CTX_use_PrivateKey(context.get(), certificate.key.get()) == 1 &&
                    SSL_CTX_add1_chain_cert(context.get(), certificate.authority.get()) == 1 &&
                    SSL_CTX_set_session_id_context(context.get(), sessionName, sizeof sessionName) == 1;
  if (!done) throw std::runtime_error("cannot set up TLS");
  // A peer that closes without the TLS farewell has sent all it wanted.
  SSL_CTX_set_options(context.get(), SSL_OP_IGNORE_UNEXPECTED_EOF);
  return context;
}

ServiceRequest serviceRequest(const httplib::Request& request) {
  ServiceRequest result{request.method, request.target, {}, request.body};
  for (const auto& [name, value] : request.headers) {
    const bool madeByTheLibrary =
        name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" || name == "LOCAL_PORT";
    if (!madeByTheLibrary) result.headers.emplace_back(name, value);
  }
  return result;
}

// Announces more than it sends, so that the client sees a reply that breaks off.
void sendInPart(httplib::Response& response, const std::string& contentType, std::string body, bool anyOfIt) {
  const std::size_t announced = std::max<std::size_t>(body.size(), 2);
  body.resize(anyOfIt ? body.size() / 2 : 0);
  response.set_content_provider(announced, contentType,
                                [body = std::move(body)](std::size_t, std::size_t, httplib::DataSink& sink) {
                                  if (!body.empty()) sink.write(body.data(), body.size());
                                  return false;
                                });
}

}  // namespace

class ServiceServer::Implementation final : private httplib::Server {
 public:
  Implementation(Service& service, const std::optional<ServerCertificate>& certificate)
      : service_(service), tls_(certificate ? makeTlsContext(*certificate) : nullptr) {
    new_task_queue = [] { return new ConnectionQueue; };  // the library deletes it
    set_keep_alive_timeout(std::chrono::duration_cast<std::chrono::seconds>(keepAliveTime).count());
    set_keep_alive_max_count(std::numeric_limits<int>::max());
    // The library's own choice would let two servers share one port.
    set_socket_options([](socket_t socket) {
      const int on = 1;
      ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    const Handler handler = [this](const httplib::Request& request, httplib::Response& response) {
      respond(request, response);
    };
    Get(".*", handler).Post(".*", handler).Put(".*", handler).Patch(".*", handler).Delete(".*", handler);
    Options(".*", handler);
  }

  ~Implementation() override { stopAll(); }

  bool startOn(std::uint16_t port) {
    const std::string host = "127.0.0.1";
    const int bound = port == 0 ? bind_to_any_port(host) : bind_to_port(host, port) ? port : -1;
    if (bound <= 0) return false;
    port_ = static_cast<std::uint16_t>(bound);
    ::listen(svr_sock_, listenBacklog);
    listener_ = std::thread([this] {
      listen_after_bind();
      listenerEnded_ = true;
    });
    while (!is_running() && !listenerEnded_) std::this_thread::yield();
    return !listenerEnded_;
  }

  void stopAll() {
    {
      const platform::MutexLock lock(mutex_);
      stopping_ = true;
      for (Channel* channel : channels_) channel->cut();
      stoppingChanged_.notifyAll();
    }
    if (!listener_.joinable()) return;
    Server::stop();
    listener_.join();
  }

  [[nodiscard]] std::uint16_t port() const { return port_; }
  [[nodiscard]] bool isTls() const { return tls_ != nullptr; }

  std::atomic<std::uint64_t> accepted{0};
  std::atomic<std::uint64_t> resumed{0};

 private:
  // Serves one connection to its end; replaces the library's loop, which wakes up every 10 ms for each idle connection.
  bool process_and_close_socket(socket_t socket) override {
    Channel channel(socket, tls_.get());
    if (!enter(channel)) return false;
    servedHere = &channel;
    ++accepted;
    if (channel.open()) {
      if (channel.isResumedSession()) ++resumed;
      ChannelStream stream(channel);
      bool closed = false;
      while (!closed && channel.awaitInput(keepAliveTime) && process_request(stream, false, closed, nullptr)) {
      }
    }
    servedHere = nullptr;
    leave(channel);
    return true;
  }

  void respond(const httplib::Request& request, httplib::Response& response) {
    const ServiceRequest question = serviceRequest(request);
    ServiceReply reply = isControlRequest(question) ? handleControl(service_, question) : service_.handle(question);
    if (!holdBack(reply.delay) || reply.drop == Drop::beforeHeaders) servedHere->cut();
    response.status = reply.status;
    const std::string contentType = findHeader(reply.headers, "Content-Type").value_or("");
    removeHeader(reply.headers, "Content-Type");
    for (const auto& [name, value] : reply.headers) response.set_header(name, value);
    if (reply.drop == Drop::afterHeaders || reply.drop == Drop::midBody) {
      sendInPart(response, contentType, std::move(reply.body), reply.drop == Drop::midBody);
    } else if (!reply.body.empty()) {
      response.set_content(reply.body, contentType);
    }
  }

  // False when the server stopped meanwhile.
  bool holdBack(std::chrono::milliseconds delay) {
    const auto deadline = std::chrono::steady_clock::now() + delay;
    const platform::MutexLock lock(mutex_);
    while (!stopping_ && std::chrono::steady_clock::now() < deadline) stoppingChanged_.waitUntil(mutex_, deadline);
    return !stopping_;
  }

  bool enter(Channel& channel) {
    const platform::MutexLock lock(mutex_);
    if (!stopping_) channels_.insert(&channel);
    return !stopping_;
  }

  void leave(Channel& channel) {
    const platform::MutexLock lock(mutex_);
    channels_.erase(&channel);
  }

  // The connection that this thread serves: the library tells a handler nothing about it.
  static thread_local Channel* servedHere;

  Service& service_;
  const TlsContext tls_;
  std::uint16_t port_ = 0;
  std::thread listener_;
  std::atomic<bool> listenerEnded_{false};
  platform::Mutex mutex_;
  platform::CondVar stoppingChanged_;
  bool stopping_ QLCZ_GUARDED_BY(mutex_) = false;
  std::set<Channel*> channels_ QLCZ_GUARDED_BY(mutex_);
};

thread_local Channel* ServiceServer::Implementation::servedHere = nullptr;

ServiceServer::ServiceServer(Service& service, const std::optional<ServerCertificate>& certificate)
    : implementation_(std::make_unique<Implementation>(service, certificate)) {}

ServiceServer::~ServiceServer() = default;

bool ServiceServer::start(std::uint16_t port) {
  return implementation_->startOn(port);
}

void ServiceServer::stop() {
  implementation_->stopAll();
}

std::uint16_t ServiceServer::port() const {
  return implementation_->port();
}

std::string ServiceServer::url() const {
  return (implementation_->isTls() ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port());
}

std::uint64_t ServiceServer::acceptedConnections() const {
  return implementation_->accepted;
}

std::uint64_t ServiceServer::resumedTlsSessions() const {
  return implementation_->resumed;
}

}  // namespace qlczephra::service
