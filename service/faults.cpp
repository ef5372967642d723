#include "service/faults.h"

#include <algorithm>

namespace qlczephra::service {

void spoil(ServiceReply& reply, const Fault& fault) {
  if (fault.status) reply.status = *fault.status;
  if (fault.body) reply.body = *fault.body;
  const std::optional<std::string> tag = findHeader(reply.headers, "Etag");
  switch (fault.tag) {
    case Fault::Tag::genuine:
      break;
    case Fault::Tag::none:
      removeHeader(reply.headers, "Etag");
      break;
    case Fault::Tag::weak:
      if (tag) setHeader(reply.headers, "Etag", "W/" + *tag);
      break;
    case Fault::Tag::wrong:
      setHeader(reply.headers, "Etag", "\"wrong\"");
      break;
  }
  for (const auto& [name, value] : fault.headers) setHeader(reply.headers, name, value);
  reply.delay = fault.delay;
  reply.drop = fault.drop;
}

void FaultScript::add(std::vector<Fault> faults) {
  const platform::MutexLock lock(mutex_);
  faults_.insert(faults_.end(), std::make_move_iterator(faults.begin()), std::make_move_iterator(faults.end()));
}

void FaultScript::clear() {
  const platform::MutexLock lock(mutex_);
  faults_.clear();
}

std::optional<Fault> FaultScript::take(std::string_view method, std::string_view path) {
  const platform::MutexLock lock(mutex_);
  for (auto fault = faults_.begin(); fault != faults_.end(); ++fault) {
    if (!fault->method.empty() && fault->method != method) continue;
    if (!path.ends_with(fault->pathSuffix)) continue;
    if (fault->onlyAfter > 0) {
      --fault->onlyAfter;
      continue;
    }
    Fault taken = *fault;
    if (fault->count && --*fault->count == 0) faults_.erase(fault);
    return taken;
  }
  return std::nullopt;
}

std::size_t FaultScript::remaining() const {
  const platform::MutexLock lock(mutex_);
  return faults_.size();
}

}  // namespace qlczephra::service
