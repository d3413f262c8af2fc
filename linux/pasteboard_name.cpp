#include "linux/pasteboard_name.hpp"

#include <charconv>
#include <cstdio>
#include <limits>

namespace trovadex::linux_platform {
namespace {

constexpr std::string_view kUniquePrefix = "trovadex-";

bool isNameCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' ||
         c == '_' || c == '-';
}

bool isDecimal(std::string_view text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

bool isHex(std::string_view text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
  }
  return true;
}

}  // namespace

bool isValidPasteboardName(std::string_view name) {
  if (name.empty() || name.size() > kMaximumPasteboardNameLength || name.front() == '.') {
    return false;
  }
  for (char c : name) {
    if (!isNameCharacter(c)) return false;
  }
  return true;
}

std::string makeUniquePasteboardName(pid_t pid, std::uint64_t counter, std::uint32_t random) {
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "trovadex-%ld-%llu-%08x", static_cast<long>(pid),
                static_cast<unsigned long long>(counter), static_cast<unsigned>(random));
  return buffer;
}

std::optional<pid_t> pidOfUniquePasteboardName(std::string_view name) {
  if (!name.starts_with(kUniquePrefix)) return std::nullopt;
  name.remove_prefix(kUniquePrefix.size());
  const auto firstDash = name.find('-');
  if (firstDash == std::string_view::npos) return std::nullopt;
  const auto secondDash = name.find('-', firstDash + 1);
  if (secondDash == std::string_view::npos) return std::nullopt;
  const std::string_view pidText = name.substr(0, firstDash);
  const std::string_view counterText = name.substr(firstDash + 1, secondDash - firstDash - 1);
  const std::string_view randomText = name.substr(secondDash + 1);
  if (!isDecimal(pidText) || !isDecimal(counterText) || !isHex(randomText)) return std::nullopt;
  long pid = 0;
  const auto parsed = std::from_chars(pidText.data(), pidText.data() + pidText.size(), pid);
  if (parsed.ec != std::errc() || pid <= 0 || pid > std::numeric_limits<pid_t>::max()) {
    return std::nullopt;
  }
  return static_cast<pid_t>(pid);
}

}  // namespace trovadex::linux_platform
