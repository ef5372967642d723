#include "platform/native/http/transfer.h"

#include <sys/socket.h>

#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "platform/native/http/request_headers.h"
#include "platform/secret.h"

namespace qlczephra::platform {
namespace {

// curl limits everything up to the end of the TLS handshake together, which the longest wait does not; and a handshake
// that waits for a verdict must not be timed out at all.
constexpr long noConnectTimeout = 24L * 60 * 60 * 1000;

constexpr long oldestIdleConnection = 110;   // seconds; just below what servers commonly keep
constexpr long oldestConnection = 60L * 60;  // seconds; new addresses and certificates take effect by then

// Texts of curl's that name nothing but the server and its certificate.
bool hasHarmlessDetails(CURLcode code) {
  return code == CURLE_COULDNT_CONNECT || code == CURLE_SSL_CONNECT_ERROR || code == CURLE_PEER_FAILED_VERIFICATION;
}

}  // namespace

Transfer::Transfer(HttpRequest&& request, Endpoint endpoint, HttpCompletion&& completion)
    : endpoint_(std::move(endpoint)),
      progress_(request.longestWait, request.longestDuration),
      gate_([this] { onWaitingForTrust_(); }) {
  deliveryTask_.emplace_back([delivery = delivery_] { delivery->completion(std::move(delivery->outcome)); });
  request_ = std::move(request);
  delivery_->completion = std::move(completion);
}

// Header values may be secrets. What libcurl copied of them is not within reach.
Transfer::~Transfer() {
  for (auto& field : request_.headers) wipe(field.second);
}

void Transfer::ListDeleter::operator()(curl_slist* list) const noexcept {
  for (curl_slist* item = list; item != nullptr; item = item->next) explicit_bzero(item->data, std::strlen(item->data));
  curl_slist_free_all(list);
}

Transfer& Transfer::of(CURL* easy) {
  char* self = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &self);
  return *reinterpret_cast<Transfer*>(self);
}

template <typename T>
void Transfer::set(CURLoption option, T value) {
  if (curl_easy_setopt(easy_.get(), option, value) != CURLE_OK) optionsAccepted_ = false;
}

bool Transfer::prepare(EasyHandles& handles, KeptSockets& sockets, const std::vector<std::string>& addresses,
                       TrustedCertificates trusted, std::function<void()> onWaitingForTrust) {
  keptSockets_ = &sockets;
  trusted_ = std::move(trusted);
  onWaitingForTrust_ = std::move(onWaitingForTrust);
  auto lines = requestHeaderLines(request_);
  if (!lines) return false;
  for (std::string& line : *lines) {
    curl_slist* const longer = curl_slist_append(fields_.get(), line.c_str());
    wipe(line);
    if (longer == nullptr) return false;
    if (!fields_) fields_.reset(longer);
  }
  easy_ = handles.take();
  if (!easy_) return false;
  set(CURLOPT_PRIVATE, static_cast<void*>(this));
  set(CURLOPT_ERRORBUFFER, errorText_);
  set(CURLOPT_NOSIGNAL, 1L);
  setTarget(addresses);
  setMessage();
  setLimits();
  if (endpoint_.secure) setTls();
  return optionsAccepted_;
}

void Transfer::setTarget(const std::vector<std::string>& addresses) {
  set(CURLOPT_URL, request_.url.c_str());
  set(CURLOPT_PATH_AS_IS, 1L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  // Nothing from the environment or from a file, and no credentials from the URL.
  set(CURLOPT_PROXY, "");
  set(CURLOPT_NOPROXY, "*");
  set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_NONE));
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_TCP_NODELAY, 1L);
  set(CURLOPT_TCP_KEEPALIVE, 1L);
  set(CURLOPT_MAXAGE_CONN, oldestIdleConnection);
  set(CURLOPT_MAXLIFETIME_CONN, oldestConnection);
  // Should curl look a name up itself after all, it must not be waited for.
  set(CURLOPT_QUICK_EXIT, 1L);
  if (addresses.empty()) return;
  std::string entry = endpoint_.host + ":" + std::to_string(endpoint_.port) + ":";
  for (const std::string& address : addresses) {
    if (entry.back() != ':') entry += ',';
    entry += address.find(':') == std::string::npos ? address : "[" + address + "]";
  }
  resolved_.reset(curl_slist_append(nullptr, entry.c_str()));
  set(CURLOPT_RESOLVE, resolved_.get());
}

void Transfer::setMessage() {
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  if (request_.body) {
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body->size()));
    set(CURLOPT_POSTFIELDS, request_.body->data());
  } else if (request_.method == "HEAD") {
    set(CURLOPT_NOBODY, 1L);
  } else {
    set(CURLOPT_HTTPGET, 1L);
  }
  set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
  set(CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  set(CURLOPT_HTTPHEADER, fields_.get());
  set(CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
  set(CURLOPT_HEADERDATA, static_cast<void*>(this));
  set(CURLOPT_DEBUGFUNCTION, &Transfer::onDebug);
  set(CURLOPT_WRITEFUNCTION, &Transfer::onBody);
  set(CURLOPT_WRITEDATA, static_cast<void*>(this));
}

// As curl does it itself, but so that a program that the host starts does not inherit the connection.
curl_socket_t Transfer::onOpenSocket(void* self, curlsocktype, curl_sockaddr* address) try {
  auto& opened = static_cast<Transfer*>(self)->openedSockets_;
  static_cast<Transfer*>(self)->receivedBefore_ = 0;  // the kept connection, if there was one, is given up
  opened.reserve(opened.size() + 1);
  const int socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  if (socket >= 0) opened.push_back(socket);
  return socket;
} catch (const std::bad_alloc&) {
  return CURL_SOCKET_BAD;
}

// Just before the request goes out. What waits on a kept connection is no reply to it, wherever it comes from.
int Transfer::onConnected(void* self, char* /*address*/, char* localAddress, int /*port*/, int localPort) try {
  Transfer& transfer = *static_cast<Transfer*>(self);
  const int kept = transfer.keptSockets_->find(localAddress, localPort);
  if (kept < 0) {
    transfer.keptSockets_->keepOneOf(transfer.openedSockets_, localAddress, localPort);
    return CURL_PREREQFUNC_OK;
  }
  const curl_tlssessioninfo* tls = nullptr;
  curl_easy_getinfo(transfer.easy(), CURLINFO_TLS_SSL_PTR, &tls);
  const bool isSecure = transfer.endpoint_.secure && tls != nullptr;
  transfer.isNotSilent_ = !isSilent(kept, isSecure ? static_cast<const SSL*>(tls->internals) : nullptr);
  transfer.receivedBefore_ = bytesReceived(kept);
  return transfer.isNotSilent_ ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
} catch (const std::bad_alloc&) {
  return CURL_PREREQFUNC_ABORT;
}

void Transfer::setLimits() {
  set(CURLOPT_OPENSOCKETFUNCTION, &Transfer::onOpenSocket);
  set(CURLOPT_OPENSOCKETDATA, static_cast<void*>(this));
  set(CURLOPT_CLOSESOCKETFUNCTION, &KeptSockets::close);
  set(CURLOPT_CLOSESOCKETDATA, static_cast<void*>(keptSockets_));
  set(CURLOPT_PREREQFUNCTION, &Transfer::onConnected);
  set(CURLOPT_PREREQDATA, static_cast<void*>(this));
  // Until TCP is connected; it also makes curl share the time out among the server's addresses.
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request_.longestWait.count()));
  set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(maximumBodySize));
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
  set(CURLOPT_XFERINFODATA, static_cast<void*>(this));
}

void Transfer::setTls() {
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  // A handler judges the name too.
  set(CURLOPT_SSL_VERIFYHOST, request_.certificatesHandler ? 0L : 2L);
  // The trusted certificates come with the context.
  set(CURLOPT_CAINFO, static_cast<char*>(nullptr));
  set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
  set(CURLOPT_CA_CACHE_TIMEOUT, 0L);
  set(CURLOPT_SSL_CTX_FUNCTION, &Transfer::onTlsContext);
  set(CURLOPT_SSL_CTX_DATA, static_cast<void*>(this));
}

std::size_t Transfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) try {
  const std::size_t length = size * count;
  Transfer& transfer = *static_cast<Transfer*>(self);
  if (!transfer.reply_.begun()) {
    // From here on, so that the way to the reply is not commented; see onDebug().
    curl_easy_setopt(transfer.easy(), CURLOPT_VERBOSE, 1L);
    curl_off_t sent = 0;
    curl_easy_getinfo(transfer.easy(), CURLINFO_SIZE_UPLOAD_T, &sent);
    transfer.repliedEarly_ = transfer.request_.body && static_cast<std::size_t>(sent) < transfer.request_.body->size();
    if (transfer.repliedEarly_) return 0;
  }
  return transfer.reply_.headerLine({data, length}) ? length : 0;
} catch (const std::bad_alloc&) {
  return 0;
}

// Behind a chunked or an empty body curl drops what else it has read, says so, and would keep the connection.
int Transfer::onDebug(CURL* easy, curl_infotype type, char* data, std::size_t size, void*) {
  const std::string_view text(data, size);
  if (type == CURLINFO_TEXT && (text.starts_with("Excess found") || text.starts_with("Leftovers after chunking"))) {
    curl_easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
  }
  return 0;
}

std::size_t Transfer::onBody(char* data, std::size_t size, std::size_t count, void* self) try {
  const std::size_t length = size * count;
  return static_cast<Transfer*>(self)->reply_.bodyData({data, length}) ? length : CURL_WRITEFUNC_ERROR;
} catch (const std::bad_alloc&) {
  return CURL_WRITEFUNC_ERROR;
}

int Transfer::onProgress(void* self, curl_off_t /*total*/, curl_off_t now, curl_off_t /*toSend*/, curl_off_t /*sent*/) {
  Transfer& transfer = *static_cast<Transfer*>(self);
  // As it came, before decoding: an encoding that never yields anything must end too.
  if (static_cast<std::uint64_t>(now) > maximumBodySize)
    transfer.aborted_ = "The body of the reply is larger than 64 MiB";
  // What frames a body counts as no body to curl.
  for (const int socket : transfer.sockets_) {
    if (bytesReceived(socket) - transfer.receivedBefore_ <= maximumReplySize) continue;
    transfer.aborted_ = "The reply is larger than 80 MiB";
  }
  return transfer.aborted_ == nullptr ? 0 : 1;
}

CURLcode Transfer::onTlsContext(CURL* easy, void* context, void* self) {
  Transfer& transfer = *static_cast<Transfer*>(self);
  auto* const tls = static_cast<SSL_CTX*>(context);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, noConnectTimeout);
  // curl would write the session keys to the file that an environment variable names.
  SSL_CTX_set_keylog_callback(tls, nullptr);
  // The verdict of the handshake holds for the life of the connection.
  SSL_CTX_set_options(tls, SSL_OP_NO_RENEGOTIATION);
  if (transfer.request_.certificatesHandler) {
    transfer.gate_.installIn(tls);
    return CURLE_OK;
  }
  SSL_CTX_set1_cert_store(tls, transfer.trusted_.get());
  return expectHost(SSL_CTX_get0_param(tls), transfer.endpoint_.host) ? CURLE_OK : CURLE_OUT_OF_MEMORY;
}

bool Transfer::retryOnFreshConnection(CURLcode code) {
  if (retried_ || reply_.begun() || repliedEarly_) return false;
  if (!isNotSilent_) {
    if (code != CURLE_SEND_ERROR && code != CURLE_RECV_ERROR) return false;
    long madeConnections = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_NUM_CONNECTS, &madeConnections);
    if (madeConnections != 0) return false;
  }
  retried_ = true;
  set(CURLOPT_FRESH_CONNECT, 1L);
  return optionsAccepted_;
}

HttpOutcome Transfer::outcome(CURLcode code) {
  HttpOutcome outcome = reply_.take();
  if (reply_.endedWell()) return outcome;
  if (code == CURLE_OK) {
    // curl takes the end of the connection for the end of the header.
    if (!reply_.headComplete()) outcome.failure = "The connection ended within the header of the reply";
  } else if (repliedEarly_) {
    outcome.failure = "A reply began before the request was sent";
  } else if (!reply_.refusal().empty()) {
    outcome.failure = reply_.refusal();
  } else if (aborted_ != nullptr) {
    outcome.failure = aborted_;
  } else if (code == CURLE_FILESIZE_EXCEEDED) {
    outcome.failure = "The body of the reply is larger than 64 MiB";
  } else {
    outcome.failure = curl_easy_strerror(code);
    if (hasHarmlessDetails(code) && errorText_[0] != '\0') *outcome.failure += ": " + std::string(errorText_);
  }
  return outcome;
}

HttpOutcome Transfer::stalled() {
  HttpOutcome outcome = reply_.take();
  outcome.failure = "No progress for " + std::to_string(request_.longestWait.count()) + " ms";
  return outcome;
}

HttpOutcome Transfer::overdue() {
  HttpOutcome outcome = reply_.take();
  outcome.failure = "Not complete after " + std::to_string(request_.longestDuration.count()) + " ms";
  return outcome;
}

std::list<Task> Transfer::takeDelivery(HttpOutcome outcome) noexcept {
  delivery_->outcome = std::move(outcome);
  delivery_->handler = std::move(request_.certificatesHandler);
  delivery_.reset();
  return std::exchange(deliveryTask_, {});
}

HttpOutcome failedOutcome(const char* reason) noexcept {
  HttpOutcome outcome;
  outcome.failure.emplace();
  try {
    *outcome.failure = reason;
  } catch (const std::bad_alloc&) {
  }
  return outcome;
}

}  // namespace qlczephra::platform
