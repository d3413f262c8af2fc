#include "foundation/property_list_text.hpp"

#include <cstdint>

#include "foundation/property_list.hpp"

namespace trovadex::foundation {

Error propertyListEncodingError(std::string message) {
  return Error{std::string(kPropertyListErrorDomain), kPropertyListEncodingError,
               std::move(message)};
}

Error propertyListDecodingError(std::string message) {
  return Error{std::string(kPropertyListErrorDomain), kPropertyListDecodingError,
               std::move(message)};
}

bool isValidUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    std::uint32_t cp = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
      cp = lead & 0x1Fu;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      cp = lead & 0x0Fu;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      cp = lead & 0x07u;
    } else {
      return false;
    }
    if (i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (next & 0x3Fu);
    }
    if ((length == 3 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF))) ||
        (length == 4 && (cp < 0x10000 || cp > 0x10FFFF))) {
      return false;
    }
    i += length;
  }
  return true;
}

std::optional<Error> checkPropertyListText(std::string_view text, const char* what) {
  if (text.find('\0') != std::string_view::npos) {
    return propertyListEncodingError(std::string("A ") + what +
                                     " with a NUL character cannot be encoded.");
  }
  if (!isValidUtf8(text)) {
    return propertyListEncodingError(std::string("A ") + what +
                                     " that is not valid UTF-8 cannot be encoded.");
  }
  return std::nullopt;
}

}  // namespace trovadex::foundation
