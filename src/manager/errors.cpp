#include "manager/errors.h"

#include <string>

namespace qlczephra {

const std::string& QLCZephraManager::errorDomain() {
  static const std::string& domain = *new std::string("com.quellin.qlczephra");
  return domain;
}

ErrorRef makeError(QLCZephraManager::ZephraErrorCode code) {
  return std::make_shared<Error>(QLCZephraManager::errorDomain(), code.rawValue());
}

ErrorRef errorWithCode(QLCZephraManager::ZephraErrorCode code, int serverResponseCode) {
  return std::make_shared<Error>(QLCZephraManager::errorDomain(), code.rawValue(),
                                 "Bad zephra response: code - " + std::to_string(serverResponseCode));
}

}  // namespace qlczephra
