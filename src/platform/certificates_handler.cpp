#include "qlczephra/certificates_handler.h"

#include <utility>

#include "platform/mutex.h"

namespace qlczephra {
namespace {

struct SharedInstance {
  platform::Mutex mutex;
  std::shared_ptr<QLCPMCertificatesHandler> handler QLCZ_GUARDED_BY(mutex);
};

// Never destroyed: threads that outlive static destruction may still ask for it.
SharedInstance& sharedInstance() {
  static auto* const shared = new SharedInstance;
  return *shared;
}

}  // namespace

QLCPMCertificatesHandler::~QLCPMCertificatesHandler() = default;

std::shared_ptr<QLCPMCertificatesHandler> QLCPMCertificatesHandler::instance() {
  SharedInstance& shared = sharedInstance();
  const platform::MutexLock lock(shared.mutex);
  return shared.handler;
}

void QLCPMCertificatesHandler::setInstance(std::shared_ptr<QLCPMCertificatesHandler> handler) {
  SharedInstance& shared = sharedInstance();
  {
    const platform::MutexLock lock(shared.mutex);
    shared.handler.swap(handler);
  }
  // The previous object goes here, outside the lock: its destructor is host code.
}

}  // namespace qlczephra
