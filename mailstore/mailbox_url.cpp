#include "mailstore/mailbox_url.hpp"

#include <glib.h>

#include <cctype>

#include "mailstore/gmime_support.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

constexpr std::string_view kSchemeSeparator = "://";

foundation::Error badMailbox(std::string_view name, std::string_view why) {
  return storeError(StoreErrorCode::InvalidArgument,
                    "invalid mailbox \"" + std::string(name) + "\": " + std::string(why));
}

bool isFolderName(std::string_view component) {
  return !component.empty() && component != "." && component != ".." &&
         component.find('/') == std::string_view::npos &&
         component.find('\0') == std::string_view::npos;
}

foundation::Result<std::vector<std::string>> splitPath(std::string_view path, bool encoded,
                                                       std::string_view name) {
  std::vector<std::string> components;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t end = path.find('/', start);
    if (end == std::string_view::npos) end = path.size();
    const std::string raw(path.substr(start, end - start));
    std::string component = raw;
    if (encoded) {
      char* decoded = g_uri_unescape_string(raw.c_str(), nullptr);
      if (!decoded) return badMailbox(name, "bad percent-encoding");
      component = takeGString(decoded);
    }
    if (!isFolderName(component)) return badMailbox(name, "empty or reserved path component");
    components.push_back(std::move(component));
    start = end + 1;
  }
  return components;
}

}  // namespace

std::string MailboxAddress::url() const {
  std::string text = scheme + std::string(kSchemeSeparator) + account;
  for (const auto& component : components) {
    text += '/';
    text += takeGString(g_uri_escape_string(component.c_str(), nullptr, TRUE));
  }
  return text;
}

std::string MailboxAddress::path() const {
  std::string text;
  for (const auto& component : components) {
    if (!text.empty()) text += '/';
    text += component;
  }
  return text;
}

foundation::Result<MailboxAddress> parseMailboxURL(std::string_view url) {
  const std::size_t separator = url.find(kSchemeSeparator);
  if (separator == std::string_view::npos || separator == 0) return badMailbox(url, "no scheme");
  MailboxAddress mailbox;
  mailbox.scheme.assign(url.substr(0, separator));
  for (const char c : mailbox.scheme) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') {
      return badMailbox(url, "bad scheme");
    }
  }
  const std::string_view rest = url.substr(separator + kSchemeSeparator.size());
  const std::size_t slash = rest.find('/');
  if (slash == std::string_view::npos) return badMailbox(url, "no mailbox path");
  mailbox.account.assign(rest.substr(0, slash));
  if (!isFolderName(mailbox.account)) return badMailbox(url, "bad account");
  auto components = splitPath(rest.substr(slash + 1), true, url);
  if (!components) return components.error();
  mailbox.components = std::move(components).value();
  return mailbox;
}

foundation::Result<MailboxAddress> mailboxForName(std::string_view name) {
  if (name.find(kSchemeSeparator) != std::string_view::npos) return parseMailboxURL(name);
  MailboxAddress mailbox{std::string(kLocalScheme), std::string(kLocalAccount), {}};
  auto components = splitPath(name, false, name);
  if (!components) return components.error();
  mailbox.components = std::move(components).value();
  return mailbox;
}

std::filesystem::path mailboxFolder(const std::filesystem::path& v10Folder,
                                    const MailboxAddress& mailbox) {
  std::filesystem::path folder = v10Folder / mailbox.account;
  for (const auto& component : mailbox.components) folder /= component + ".mbox";
  return folder;
}

std::string storeUUIDForURL(std::string_view url) {
  std::string hex = takeGString(g_compute_checksum_for_data(
      G_CHECKSUM_SHA1, reinterpret_cast<const guchar*>(url.data()), url.size()));
  for (char& c : hex) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  hex[12] = '5';                                                              // a name-based UUID
  hex[16] = "0123456789ABCDEF"[(g_ascii_xdigit_value(hex[16]) & 0x3) | 0x8];  // RFC 4122 variant
  return hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" +
         hex.substr(16, 4) + "-" + hex.substr(20, 12);
}

}  // namespace trovadex::mailstore
