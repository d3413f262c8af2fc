// Mailbox URLs: the one identity of a mailbox, and the folder it maps to.
//
// A mailbox is "<scheme>://<account>/<path>", the path's components percent-encoded and joined by
// '/': "local://Mailboxes/INBOX", "local://Mailboxes/Archive/2019",
// "imap://<account-id>/Sent%20Items". Its folder is <V10>/<account>/<component>.mbox/..., one .mbox
// folder per component, and inside that the store folder named by a UUID. Plain functions: safe
// from any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.hpp"

namespace trovadex::mailstore {

// The account folder of mailboxes that belong to no server account.
inline constexpr std::string_view kLocalAccount = "Mailboxes";
inline constexpr std::string_view kLocalScheme = "local";

struct MailboxAddress {
  std::string scheme;
  std::string account;
  std::vector<std::string> components;  // decoded: {"Archive", "2019"}

  std::string url() const;
  std::string path() const;  // decoded components joined by '/'
};

// Reads a URL; fails (InvalidArgument) for a malformed one or a component that cannot be a folder
// name ("", ".", "..", or one holding '/' or NUL after decoding).
foundation::Result<MailboxAddress> parseMailboxURL(std::string_view url);

// What a user types after --mailbox: a URL as it stands, or a path such as "Archive/2019" for a
// local mailbox.
foundation::Result<MailboxAddress> mailboxForName(std::string_view name);

std::filesystem::path mailboxFolder(const std::filesystem::path& v10Folder,
                                    const MailboxAddress& mailbox);

// The store folder's name for a new mailbox: an upper-case UUID derived from the URL, so that the
// same mailbox gets the same folder in every store built from the same input.
std::string storeUUIDForURL(std::string_view url);

}  // namespace trovadex::mailstore
