// The naming rules of pasteboards and their types, and the shape of unique names.
//
// A name (of a pasteboard or of a type) is 1 to 200 bytes of A-Z a-z 0-9 . _ - and does not
// start with a dot; every other name is refused before anything touches the file system. Unique
// names are "trovadex-<pid>-<counter>-<random>", so that a host starting later can tell which
// folders belong to processes that no longer run. Pure functions: safe from any thread.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace trovadex::linux_platform {

inline constexpr std::size_t kMaximumPasteboardNameLength = 200;

bool isValidPasteboardName(std::string_view name);

// "trovadex-<pid>-<counter>-<random as 8 hex digits>".
std::string makeUniquePasteboardName(pid_t pid, std::uint64_t counter, std::uint32_t random);

// The pid carried by a unique name; nothing for any other name.
std::optional<pid_t> pidOfUniquePasteboardName(std::string_view name);

}  // namespace trovadex::linux_platform
