#include "platform/native/http/trust_store.h"

#include <openssl/err.h>

#include <list>
#include <new>
#include <utility>

namespace qlczephra::platform {
namespace {

TrustedCertificates makeStore() {
  TrustedCertificates store(X509_STORE_new(), X509_STORE_free);
  // A certificate that the system trusts is trusted as it stands, also when it is not its own issuer.
  if (store) X509_STORE_set_flags(store.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
  return store;
}

// Null when the file cannot be read or has no certificate.
TrustedCertificates readBundle(const std::string& bundle) {
  TrustedCertificates store = makeStore();
  if (store && X509_STORE_load_file(store.get(), bundle.c_str()) != 1) store.reset();
  ERR_clear_error();
  return store;
}

std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

TrustStore::TrustStore(std::string bundle, std::function<void(Task)> postToWorker, std::shared_ptr<LoopQueue> loopQueue,
                       std::shared_ptr<std::atomic<std::uint64_t>> loads)
    : bundle_(std::move(bundle)),
      postToWorker_(std::move(postToWorker)),
      loopQueue_(std::move(loopQueue)),
      loads_(std::move(loads)) {}

TrustStore::Signature TrustStore::signatureOf(const std::string& bundle) {
  struct stat status {};
  if (::stat(bundle.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim), nanoseconds(status.st_ctim)};
}

void TrustStore::whenCurrent(Callback callback) {
  if (!loading_ && signature_ == signatureOf(bundle_)) {
    callback(store_);
    return;
  }
  callbacks_.push_back(std::move(callback));
  if (loading_) return;
  try {
    load();
  } catch (...) {  // no memory or no worker
    callbacks_.pop_back();
    throw;
  }
}

void TrustStore::load() {
  auto loaded = std::make_shared<Loaded>();
  auto answer = std::make_shared<std::list<Task>>();
  answer->emplace_back([this, loaded] { finishLoad(std::move(*loaded)); });
  postToWorker_([bundle = bundle_, loaded, answer, loopQueue = loopQueue_, loads = loads_] {
    try {
      // The signature first: a file replaced while it is read is read again.
      const Signature signature = signatureOf(bundle);
      loaded->store = readBundle(bundle);
      loaded->signature = signature;
    } catch (const std::bad_alloc&) {  // read again with the next request
    }
    ++*loads;
    loopQueue->post(*answer);
  });
  loading_ = true;
}

void TrustStore::finishLoad(Loaded loaded) {
  loading_ = false;
  signature_ = loaded.signature;
  if (loaded.store) store_ = std::move(loaded.store);
  const std::vector<Callback> callbacks = std::exchange(callbacks_, {});
  try {
    if (!store_) store_ = makeStore();
  } catch (const std::bad_alloc&) {
    signature_.reset();
  }
  for (const Callback& callback : callbacks) callback(store_);
}

}  // namespace qlczephra::platform
