// MessageFlags: the 64-bit flag word of a stored message, as kept in the .emlx property list and
// in the messages table.
//
// Bits 0-30 have the meanings below; the attachment count and the priority are small fields
// inside the word. Bits from 31 up are not interpreted and are always kept as they were found.
// Plain constants and functions: safe from any thread.
#pragma once

#include <cstdint>

namespace trovadex::mailstore {

enum MessageFlag : std::int64_t {
  kFlagRead = 1LL << 0,
  kFlagDeleted = 1LL << 1,
  kFlagAnswered = 1LL << 2,
  kFlagEncrypted = 1LL << 3,
  kFlagFlagged = 1LL << 4,
  kFlagRecent = 1LL << 5,
  kFlagDraft = 1LL << 6,
  kFlagInitial = 1LL << 7,
  kFlagForwarded = 1LL << 8,
  kFlagRedirected = 1LL << 9,
  kFlagSigned = 1LL << 23,
  kFlagJunk = 1LL << 24,
  kFlagNotJunk = 1LL << 25,
};

inline constexpr int kAttachmentCountShift = 10;
inline constexpr std::int64_t kAttachmentCountMask = 0x3FLL << kAttachmentCountShift;
// The count field's largest value, which also stands for "not computed".
inline constexpr std::int64_t kAttachmentCountUnknown = 0x3F;
inline constexpr int kPriorityShift = 16;
inline constexpr std::int64_t kPriorityMask = 0x7FLL << kPriorityShift;
inline constexpr std::int64_t kNormalPriority = 3;

constexpr std::int64_t attachmentCountOf(std::int64_t flags) {
  return (flags & kAttachmentCountMask) >> kAttachmentCountShift;
}

// Counts above the field's range are stored as "not computed".
constexpr std::int64_t withAttachmentCount(std::int64_t flags, std::int64_t count) {
  const std::int64_t stored =
      count < 0 || count > kAttachmentCountUnknown ? kAttachmentCountUnknown : count;
  return (flags & ~kAttachmentCountMask) | (stored << kAttachmentCountShift);
}

constexpr std::int64_t priorityOf(std::int64_t flags) {
  return (flags & kPriorityMask) >> kPriorityShift;
}

constexpr std::int64_t withPriority(std::int64_t flags, std::int64_t priority) {
  return (flags & ~kPriorityMask) | ((priority & 0x7F) << kPriorityShift);
}

constexpr bool hasFlag(std::int64_t flags, MessageFlag flag) { return (flags & flag) != 0; }

}  // namespace trovadex::mailstore
