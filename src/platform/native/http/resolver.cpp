#include "platform/native/http/resolver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <list>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/native/threads/blocked_signals.h"

namespace qlczephra::platform {
namespace {

// A stuck name holds one of them, the others go on. A process has a handful of names, each of which is looked up once
// at a time, so that all are stuck only when the system's resolver is.
constexpr std::size_t maximumThreads = 32;
constexpr std::size_t maximumEntries = 256;
constexpr std::chrono::seconds lifetime{60};

}  // namespace

LookUpResult systemLookUp(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_ADDRCONFIG | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (error != 0) return {{}, "Could not resolve the host name: " + std::string(::gai_strerror(error))};

  LookUpResult result;
  for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
    std::array<char, NI_MAXHOST> text{};
    if (::getnameinfo(entry->ai_addr, entry->ai_addrlen, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) == 0) {
      result.addresses.emplace_back(text.data());
    }
  }
  ::freeaddrinfo(found);
  if (result.addresses.empty()) result.failure = "Could not resolve the host name: no address";
  return result;
}

Resolver::Resolver(LookUp lookUp, std::shared_ptr<LoopQueue> loopQueue)
    : lookUp_(std::make_shared<const LookUp>(std::move(lookUp))), loopQueue_(std::move(loopQueue)) {}

void Resolver::resolve(const std::string& host, std::uint16_t port, Callback callback) {
  const Name name(host, port);
  const auto now = std::chrono::steady_clock::now();
  if (entries_.size() >= maximumEntries) {
    std::erase_if(entries_, [&](const auto& entry) { return !entry.second.underWay && entry.second.expires <= now; });
  }
  Entry& entry = entries_[name];
  if (!entry.underWay && entry.expires > now) {
    const LookUpResult result = entry.result;
    callback(result);
    return;
  }
  entry.callbacks.push_back(std::move(callback));
  if (entry.underWay) return;
  try {
    waiting_.push_back(name);
  } catch (const std::bad_alloc&) {
    entry.callbacks.pop_back();
    throw;
  }
  entry.underWay = true;
  startLookUps();
}

void Resolver::startLookUps() noexcept {
  while (threads_ < maximumThreads && !waiting_.empty()) {
    const Name name = std::move(waiting_.front());
    waiting_.pop_front();
    try {
      startLookUp(name);
      ++threads_;
    } catch (const std::system_error&) {
      finish(name, {}, "Could not resolve the host name: no thread");
    } catch (const std::bad_alloc&) {
      finish(name, {}, "");
    }
  }
}

// The thread touches neither this object nor the loop, only what it shares the ownership of; a queue that was closed
// meanwhile drops the answer. After the lookup it needs no memory.
void Resolver::startLookUp(const Name& name) {
  auto result = std::make_shared<LookUpResult>();
  std::list<Task> answer;
  answer.emplace_back([this, name, result] {
    --threads_;
    finish(name, std::move(*result), "");
    startLookUps();
  });
  const BlockedSignals blocked;
  std::thread([name, result = std::move(result), answer = std::move(answer), lookUp = lookUp_,
               loopQueue = loopQueue_]() mutable {
    try {
      *result = (*lookUp)(name.first, name.second);
    } catch (const std::bad_alloc&) {  // no address
    }
    result.reset();
    loopQueue->post(answer);
  }).detach();
}

void Resolver::finish(const Name& name, LookUpResult result, const char* failure) noexcept {
  // libcurl refuses a list in which one address has a zone ("fe80::1%eth0").
  const bool hasZones =
      std::erase_if(result.addresses, [](const auto& address) { return address.find('%') != std::string::npos; }) != 0;
  const auto found = entries_.find(name);
  const std::vector<Callback> callbacks = std::exchange(found->second.callbacks, {});
  found->second.underWay = false;
  try {
    if (hasZones) failure = "Could not resolve the host name: link-local addresses only";
    if (result.addresses.empty() && result.failure.empty()) result.failure = failure;
    found->second.result = result;
    found->second.expires = std::chrono::steady_clock::now() + lifetime;
  } catch (const std::bad_alloc&) {
    found->second.expires = {};
  }
  if (result.addresses.empty()) entries_.erase(found);
  for (const Callback& callback : callbacks) callback(result);
}

}  // namespace qlczephra::platform
