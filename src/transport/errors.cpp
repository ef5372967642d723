#include "transport/errors.h"

#include <string>

namespace qlczephra {

const std::string& ZephraErrorCode::domain() {
  static const std::string& domain = *new std::string("com.quellin.qlczephra");
  return domain;
}

ErrorRef makeError(ZephraErrorCode code) {
  return std::make_shared<Error>(ZephraErrorCode::domain(), code.rawValue());
}

ErrorRef errorWithCode(ZephraErrorCode code, int serverResponseCode) {
  return std::make_shared<Error>(ZephraErrorCode::domain(), code.rawValue(),
                                 "Bad zephra response: code - " + std::to_string(serverResponseCode));
}

const ErrorRef& outOfMemoryError() {
  static const ErrorRef& error = *new ErrorRef(errorWithCode(ZephraErrorCode::unexpectedResponse, 0));
  return error;
}

}  // namespace qlczephra
