#include "mailstore/emlx.hpp"

#include <charconv>

#include "foundation/property_list.hpp"
#include "mailstore/file_io.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::size_t kCountColumns = 10;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// The count line: optional blanks, digits, optional blanks, optional CR, LF. On success gives the
// count and the offset of the first message byte.
std::optional<std::pair<std::size_t, std::size_t>> parseCountLine(std::string_view bytes) {
  std::size_t at = 0;
  while (at < bytes.size() && isBlank(bytes[at])) ++at;
  const std::size_t digitsStart = at;
  while (at < bytes.size() && bytes[at] >= '0' && bytes[at] <= '9') ++at;
  if (at == digitsStart || at - digitsStart > 18) return std::nullopt;
  std::size_t count = 0;
  std::from_chars(bytes.data() + digitsStart, bytes.data() + at, count);
  while (at < bytes.size() && isBlank(bytes[at])) ++at;
  if (at < bytes.size() && bytes[at] == '\r') ++at;
  if (at >= bytes.size() || bytes[at] != '\n') return std::nullopt;
  return std::make_pair(count, at + 1);
}

// Where an XML declaration starts a line, from `from` on; npos when none does.
std::size_t findPropertyListStart(std::string_view bytes, std::size_t from) {
  constexpr std::string_view kDeclaration = "<?xml";
  for (std::size_t at = bytes.find(kDeclaration, from); at != std::string_view::npos;
       at = bytes.find(kDeclaration, at + 1)) {
    if (at == 0 || bytes[at - 1] == '\n') return at;
  }
  return std::string_view::npos;
}

foundation::Value decodeTrailer(std::string_view trailer) {
  std::size_t start = 0;
  while (start < trailer.size() &&
         (isBlank(trailer[start]) || trailer[start] == '\n' || trailer[start] == '\r')) {
    ++start;
  }
  if (start == trailer.size()) return {};
  auto decoded = foundation::decodePropertyList(trailer.substr(start));
  if (!decoded || !decoded.value().isDictionary()) return {};
  return std::move(decoded).value();
}

std::string countLine(std::size_t count) {
  std::string line = std::to_string(count);
  if (line.size() < kCountColumns) line.append(kCountColumns - line.size(), ' ');
  line += '\n';
  return line;
}

}  // namespace

std::int64_t EmlxFile::flags() const { return properties[kEmlxFlagsKey].integerValue(); }

foundation::Result<std::string> encodeEmlx(std::string_view message,
                                           const foundation::Value& properties) {
  auto trailer = foundation::encodePropertyList(properties, foundation::PropertyListFormat::Xml);
  if (!trailer) return trailer.error();
  std::string bytes = countLine(message.size());
  bytes.reserve(bytes.size() + message.size() + trailer.value().size());
  bytes += message;
  bytes += trailer.value();
  return bytes;
}

std::string encodeEmlx(const EmlxFile& file) {
  std::string bytes = countLine(file.message.size());
  bytes += file.message;
  bytes += file.trailer;
  return bytes;
}

foundation::Result<EmlxFile> decodeEmlx(std::string_view bytes) {
  EmlxFile file;
  std::size_t messageStart = 0;
  std::size_t messageEnd = 0;
  if (const auto counted = parseCountLine(bytes)) {
    messageStart = counted->second;
    const std::size_t available = bytes.size() - messageStart;
    if (counted->first > available) {
      // A truncated file: keep what is there, up to a property list if one survived.
      file.framingProblem =
          "count exceeds the file by " + std::to_string(counted->first - available) + " bytes";
      const std::size_t plist = findPropertyListStart(bytes, messageStart);
      messageEnd = plist == std::string_view::npos ? bytes.size() : plist;
    } else {
      messageEnd = messageStart + counted->first;
    }
  } else {
    file.framingProblem = "no count line";
    const std::size_t plist = findPropertyListStart(bytes, 0);
    messageEnd = plist == std::string_view::npos ? bytes.size() : plist;
  }
  file.message.assign(bytes.substr(messageStart, messageEnd - messageStart));
  if (file.message.find_first_not_of(" \t\r\n") == std::string::npos) {
    return storeError(StoreErrorCode::Unparseable, "no message in the file");
  }
  file.trailer.assign(bytes.substr(messageEnd));
  file.properties = decodeTrailer(file.trailer);
  if (file.properties.isNil() && !file.framingProblem) {
    file.framingProblem = file.trailer.empty() ? "no property list" : "unreadable property list";
  }
  return file;
}

foundation::Result<EmlxFile> readEmlxFile(const std::filesystem::path& path) {
  auto bytes = readWholeFile(path);
  if (!bytes) return bytes.error();
  auto file = decodeEmlx(bytes.value());
  if (!file) {
    return storeError(StoreErrorCode::Unparseable,
                      path.string() + ": " + file.error().localizedDescription);
  }
  return file;
}

}  // namespace trovadex::mailstore
