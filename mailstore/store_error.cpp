#include "mailstore/store_error.hpp"

#include <cstring>

namespace trovadex::mailstore {

foundation::Error storeError(StoreErrorCode code, std::string description) {
  return foundation::Error{std::string(kStoreErrorDomain), static_cast<std::int64_t>(code),
                           std::move(description)};
}

foundation::Error fileSystemError(std::string_view what, std::string_view path, int errorNumber) {
  std::string text(what);
  text += " ";
  text += path;
  text += ": ";
  text += std::strerror(errorNumber);
  return storeError(StoreErrorCode::FileSystem, std::move(text));
}

}  // namespace trovadex::mailstore
