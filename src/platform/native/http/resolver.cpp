#include "platform/native/http/resolver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <thread>

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

Resolver::Resolver(LookUp lookUp, std::shared_ptr<Mailbox> mailbox)
    : lookUp_(std::make_shared<const LookUp>(std::move(lookUp))), mailbox_(std::move(mailbox)) {}

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
  entry.underWay = true;
  waiting_.push_back(name);
  startLookUps();
}

void Resolver::startLookUps() {
  while (threads_ < maximumThreads && !waiting_.empty()) {
    const Name name = std::move(waiting_.front());
    waiting_.pop_front();
    ++threads_;
    // The thread touches neither this object nor the loop, only what it shares the ownership of; a mailbox that was
    // closed meanwhile drops the answer.
    auto work = [this, name, lookUp = lookUp_, mailbox = mailbox_] {
      mailbox->post([this, name, result = (*lookUp)(name.first, name.second)] {
        --threads_;
        finish(name, result);
        startLookUps();
      });
    };
    try {
      const BlockedSignals blocked;
      std::thread(std::move(work)).detach();
    } catch (const std::system_error&) {
      mailbox_->post([this, name] {
        --threads_;
        finish(name, {{}, "Could not resolve the host name: no thread"});
        startLookUps();
      });
      return;
    }
  }
}

void Resolver::finish(const Name& name, LookUpResult result) {
  // libcurl refuses a list in which one address has a zone ("fe80::1%eth0").
  const bool hasZones =
      std::erase_if(result.addresses, [](const auto& address) { return address.find('%') != std::string::npos; }) != 0;
  if (hasZones && result.addresses.empty())
    result.failure = "Could not resolve the host name: link-local addresses only";
  const auto found = entries_.find(name);
  const std::vector<Callback> callbacks = std::move(found->second.callbacks);
  if (result.addresses.empty()) {
    entries_.erase(found);
  } else {
    found->second.callbacks.clear();
    found->second.underWay = false;
    found->second.result = result;
    found->second.expires = std::chrono::steady_clock::now() + lifetime;
  }
  for (const Callback& callback : callbacks) callback(result);
}

}  // namespace qlczephra::platform
