// The fetched-attribute list and query construction.
//
// Every found item carries back these attributes: the metadata the companion shows, and the
// private attributes that tie an item to the host's message database ("_kMDItemExternalID" is the
// message's library ID). The list is built once per context, whichever thread asks first.
#include <array>
#include <mutex>
#include <string_view>
#include <unordered_set>

#include "plugin/td_mail_plugin.hpp"

namespace trovadex::plugin {

namespace {

constexpr std::array<std::string_view, 90> kFetchedAttributeNames = {
    // The index's own device and path attributes.
    ":MD:DeviceId",
    ":MD:kMDItemPath",
    // The mail application's own attributes.
    "com_apple_mail_dateReceived",
    "com_apple_mail_flagged",
    "com_apple_mail_gmailLabels",
    "com_apple_mail_messageID",
    "com_apple_mail_priority",
    "com_apple_mail_read",
    "com_apple_mail_repliedTo",
    "com_apple_metadata_modtime",
    // Public metadata attributes.
    "kMDItemAdditionalRecipientPersons",
    "kMDItemAdditionalRecipients",
    "kMDItemAuthorAddresses",
    "kMDItemAuthorEmailAddresses",
    "kMDItemAuthorPersons",
    "kMDItemAuthors",
    "kMDItemContentCreationDate",
    "kMDItemContentModificationDate",
    "kMDItemContentType",
    "kMDItemContentTypeTree",
    "kMDItemDateAdded",
    "kMDItemDisplayName",
    "kMDItemDocumentIdentifier",
    "kMDItemEmailHeadersDictionary",
    "kMDItemFileIdentifier",
    "kMDItemFSContentChangeDate",
    "kMDItemFSCreationDate",
    "kMDItemFSCreatorCode",
    "kMDItemFSFinderFlags",
    "kMDItemFSHasCustomIcon",
    "kMDItemFSInvisible",
    "kMDItemFSIsExtensionHidden",
    "kMDItemFSIsStationery",
    "kMDItemFSLabel",
    "kMDItemFSName",
    "kMDItemFSOwnerGroupID",
    "kMDItemFSOwnerUserID",
    "kMDItemFSSize",
    "kMDItemFSTypeCode",
    "kMDItemHiddenAdditionalRecipientPersons",
    "kMDItemHiddenAdditionalRecipients",
    "kMDItemIdentifier",
    "kMDItemKind",
    "kMDItemLogicalSize",
    "kMDItemPath",
    "kMDItemPhysicalSize",
    "kMDItemPrimaryRecipientPersons",
    "kMDItemPrimaryRecipients",
    "kMDItemRecipientAddresses",
    "kMDItemRecipientEmailAddresses",
    "kMDItemRecipients",
    "kMDItemSubject",
    "kMDItemURL",
    // Private metadata attributes.
    "_kMDItemBundleID",
    "_kMDItemContentChangeDate",
    "_kMDItemCreationDate",
    "_kMDItemCreatorCode",
    "_kMDItemDisplayNameWithExtensions",
    "_kMDItemExternalID",
    "_kMDItemFileName",
    "_kMDItemFinderFlags",
    "_kMDItemFinderLabel",
    "_kMDItemFromImporter",
    "_kMDItemIsExtensionHidden",
    "_kMDItemIsFromImporter",
    "_kMDItemOwnerGroupID",
    "_kMDItemOwnerUserID",
    "_kMDItemTypeCode",
    // Attachments, accounts and the rest.
    "com_apple_mail_attachmentKinds",
    "com_apple_mail_attachmentNames",
    "com_apple_mail_attachmentTypes",
    "com_apple_mail_dateLastViewed",
    "com_apple_mail_flagColor",
    "kMDItemAccountHandles",
    "kMDItemAttachmentNames",
    "kMDItemAttachmentPaths",
    "kMDItemAttachmentTypes",
    "kMDItemLastUsedDate",
    "com_apple_mail_attachmentSpecificTypes",
    "kMDItemKeywords",
    "kMDItemInterestingDate",
    "kMDItemMailDateReceived",
    "kMDItemPrimaryRecipientEmailAddresses",
    "kMDItemRelatedUniqueIdentifier",
    "kMDItemWhereFroms",
    "kMDItemAccountIdentifier",
    "kMDItemAccountType",
    "kMDItemEmailAddresses",
    "kMDItemProjects",
    "kMDItemComment",
};

}  // namespace

const std::vector<std::string>& TDMailPlugin::fetchedAttributes(PluginContext& context) {
  std::call_once(context.fetchedAttributesOnce, [&context] {
    // Each name once, whatever the table holds; the order carries no meaning.
    std::unordered_set<std::string_view> seen;
    for (std::string_view name : kFetchedAttributeNames) {
      if (seen.insert(name).second) context.fetchedAttributes.emplace_back(name);
    }
  });
  return context.fetchedAttributes;
}

std::shared_ptr<platform::SearchQuery> TDMailPlugin::buildQueryWithString(
    PluginContext& context, const std::string& queryString, bool fetchAllAttributes) {
  const auto& attributes = fetchedAttributes(context);
  std::optional<std::vector<std::string>> fetched;
  if (fetchAllAttributes) fetched = attributes;
  return context.ports().searchQueryFactory->makeQuery(queryString, fetched);
}

}  // namespace trovadex::plugin
