#include "foundation/error.hpp"

namespace trovadex::foundation {

std::string Error::description() const {
  std::string out = "Error Domain=";
  out += domain;
  out += " Code=";
  out += std::to_string(code);
  out += " \"";
  out += localizedDescription;
  out += '"';
  return out;
}

}  // namespace trovadex::foundation
