#include "spotlight/attribute_names.hpp"

#include <array>

namespace trovadex::spotlight {
namespace {

// {canonical, alias}: kept as a two-element array so that both spellings form one span.
using Alias = std::array<std::string_view, 2>;

// Property names of item attribute sets and the metadata keys they stand for.
constexpr std::array<Alias, 24> kAliases{{
    {"kMDItemSubject", "subject"},
    {"kMDItemTitle", "title"},
    {"kMDItemDisplayName", "displayName"},
    {"kMDItemAuthors", "authorNames"},
    {"kMDItemAuthorEmailAddresses", "authorEmailAddresses"},
    {"kMDItemAuthorAddresses", "authorAddresses"},
    {"kMDItemRecipients", "recipientNames"},
    {"kMDItemRecipientEmailAddresses", "recipientEmailAddresses"},
    {"kMDItemRecipientAddresses", "recipientAddresses"},
    {"kMDItemPrimaryRecipients", "primaryRecipients"},
    {"kMDItemAdditionalRecipients", "additionalRecipients"},
    {"kMDItemHiddenAdditionalRecipients", "hiddenAdditionalRecipients"},
    {"kMDItemEmailAddresses", "emailAddresses"},
    {"kMDItemTextContent", "textContent"},
    {"kMDItemContentType", "contentType"},
    {"kMDItemContentTypeTree", "contentTypeTree"},
    {"kMDItemContentCreationDate", "contentCreationDate"},
    {"kMDItemContentModificationDate", "contentModificationDate"},
    {"kMDItemKeywords", "keywords"},
    {"kMDItemAccountIdentifier", "accountIdentifier"},
    {"kMDItemAccountHandles", "accountHandles"},
    {"kMDItemKind", "kind"},
    {"kMDItemPath", "path"},
    {"kMDItemEmailHeadersDictionary", "emailHeaders"},
}};

}  // namespace

std::string_view canonicalAttributeName(std::string_view name) {
  for (const Alias& entry : kAliases) {
    if (entry[1] == name) return entry[0];
  }
  return name;
}

std::span<const std::string_view> attributeSpellings(std::string_view canonicalName,
                                                     std::string_view& single) {
  for (const Alias& entry : kAliases) {
    if (entry[0] == canonicalName) {
      return std::span<const std::string_view>(entry.data(), entry.size());
    }
  }
  single = canonicalName;
  return std::span<const std::string_view>(&single, 1);
}

bool isFullTextAttribute(std::string_view canonicalName) {
  return canonicalName == "kMDItemTextContent";
}

}  // namespace trovadex::spotlight
