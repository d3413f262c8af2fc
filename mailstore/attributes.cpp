#include "mailstore/attributes.hpp"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <map>
#include <set>

#include "mailstore/attachment_types.hpp"
#include "mailstore/message_flags.hpp"
#include "mailstore/message_path.hpp"
#include "mailstore/store_error.hpp"

namespace trovadex::mailstore {
namespace {

using foundation::Value;

// The content type every mail item carries, which a restriction to e-mail messages asks for.
constexpr std::string_view kMailContentType = "public.email-message";
constexpr std::array<std::string_view, 5> kMailContentTypeTree{
    "public.email-message", "public.message", "public.data", "public.item", "public.content"};
constexpr std::string_view kMailKind = "Mail Message";

// File attributes that an .emlx file always has with the same value on this system: it has no
// creator or type code, no Finder flags or label, no custom icon, is no stationery, and shows its
// extension.
const std::array<std::pair<std::string_view, Value>, 14> kConstantAttributes{{
    {"kMDItemFSCreatorCode", Value::integer(0)},
    {"kMDItemFSTypeCode", Value::integer(0)},
    {"_kMDItemCreatorCode", Value::integer(0)},
    {"_kMDItemTypeCode", Value::integer(0)},
    {"kMDItemFSFinderFlags", Value::integer(0)},
    {"_kMDItemFinderFlags", Value::integer(0)},
    {"kMDItemFSLabel", Value::integer(0)},
    {"_kMDItemFinderLabel", Value::integer(0)},
    {"kMDItemFSHasCustomIcon", Value::boolean(false)},
    {"kMDItemFSIsStationery", Value::boolean(false)},
    {"kMDItemFSIsExtensionHidden", Value::boolean(false)},
    {"_kMDItemIsExtensionHidden", Value::boolean(false)},
    {"_kMDItemIsFromImporter", Value::boolean(true)},
    {"_kMDItemFromImporter", Value::boolean(true)},
}};

// Flag bits reported as 0/1 numbers.
constexpr std::array<std::pair<std::string_view, MessageFlag>, 3> kFlagAttributes{{
    {"com_apple_mail_read", kFlagRead},
    {"com_apple_mail_flagged", kFlagFlagged},
    {"com_apple_mail_repliedTo", kFlagAnswered},
}};

// Account types by mailbox URL scheme.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kAccountTypes{{
    {"local", "Local"},
    {"imap", "IMAP"},
    {"pop", "POP"},
    {"ews", "Exchange"},
    {"smtp", "SMTP"},
}};

Value dateValue(double unixSeconds) { return Value(foundation::Date::withUnixTime(unixSeconds)); }

Value stringArray(const std::vector<std::string>& strings) {
  Value::Array array;
  array.reserve(strings.size());
  for (const auto& text : strings) {
    if (!text.empty()) array.emplace_back(text);
  }
  return array.empty() ? Value() : Value(std::move(array));
}

std::string displayNameOf(const MailAddress& address) {
  return address.name.empty() ? address.address : address.name;
}

std::string personOf(const MailAddress& address) {
  if (address.name.empty()) return address.address;
  return address.name + " <" + address.address + ">";
}

template <typename Transform>
std::vector<std::string> mapAddresses(const std::vector<const std::vector<MailAddress>*>& lists,
                                      Transform transform) {
  std::vector<std::string> out;
  for (const auto* list : lists) {
    for (const auto& address : *list) out.push_back(transform(address));
  }
  return out;
}

class AttributeWriter {
 public:
  explicit AttributeWriter(Value::Dictionary& attributes) : attributes_(attributes) {}
  // Nil values are left out, as an attribute set never holds nil.
  void set(std::string_view name, Value value) {
    if (!value.isNil()) attributes_.insert_or_assign(std::string(name), std::move(value));
  }
  void setText(std::string_view name, const std::string& text) {
    if (!text.empty()) set(name, Value(text));
  }

 private:
  Value::Dictionary& attributes_;
};

void addPeople(AttributeWriter& out, const ParsedMessage& message) {
  const auto& from = message.from;
  out.set("kMDItemAuthors", stringArray(mapAddresses({&from}, displayNameOf)));
  out.set("kMDItemAuthorPersons", stringArray(mapAddresses({&from}, personOf)));
  const Value authorAddresses =
      stringArray(mapAddresses({&from}, [](const MailAddress& a) { return a.address; }));
  out.set("kMDItemAuthorEmailAddresses", authorAddresses);
  out.set("kMDItemAuthorAddresses", authorAddresses);

  const auto addressOf = [](const MailAddress& a) { return a.address; };
  const struct {
    const std::vector<MailAddress>* list;
    std::string_view names, persons, addresses;
  } roles[] = {
      {&message.to, "kMDItemPrimaryRecipients", "kMDItemPrimaryRecipientPersons",
       "kMDItemPrimaryRecipientEmailAddresses"},
      {&message.cc, "kMDItemAdditionalRecipients", "kMDItemAdditionalRecipientPersons", ""},
      {&message.bcc, "kMDItemHiddenAdditionalRecipients", "kMDItemHiddenAdditionalRecipientPersons",
       ""},
  };
  for (const auto& role : roles) {
    out.set(role.names, stringArray(mapAddresses({role.list}, displayNameOf)));
    out.set(role.persons, stringArray(mapAddresses({role.list}, personOf)));
    if (!role.addresses.empty()) {
      out.set(role.addresses, stringArray(mapAddresses({role.list}, addressOf)));
    }
  }
  const std::vector<const std::vector<MailAddress>*> everyone{&message.to, &message.cc,
                                                              &message.bcc};
  out.set("kMDItemRecipients", stringArray(mapAddresses(everyone, displayNameOf)));
  const Value recipientAddresses = stringArray(mapAddresses(everyone, addressOf));
  out.set("kMDItemRecipientEmailAddresses", recipientAddresses);
  out.set("kMDItemRecipientAddresses", recipientAddresses);

  std::set<std::string> seen;
  std::vector<std::string> all;
  for (const auto& address :
       mapAddresses({&message.from, &message.to, &message.cc, &message.bcc}, addressOf)) {
    if (seen.insert(address).second) all.push_back(address);
  }
  out.set("kMDItemEmailAddresses", stringArray(all));
}

void addAttachments(AttributeWriter& out, const MessageSource& source,
                    const ParsedMessage& message) {
  if (message.attachments.empty()) return;
  std::vector<std::string> names, types, kinds, mimeTypes, paths;
  const bool partial =
      parseMessageFileName(source.path.filename().string()).value_or(MessageFileName{}).kind ==
      MessageDataKind::Partial;
  // A partial file sits in Data/<digits>/Messages; its attachments in Data/<digits>/Attachments.
  const std::filesystem::path folder =
      source.path.parent_path().parent_path() / "Attachments" / std::to_string(source.libraryID);
  for (const auto& attachment : message.attachments) {
    const AttachmentType type = attachmentTypeFor(attachment.mimeType, attachment.name);
    names.push_back(attachment.name);
    types.emplace_back(type.typeIdentifier);
    kinds.emplace_back(type.kind);
    mimeTypes.push_back(attachment.mimeType);
    if (partial && attachment.bodyStripped) {
      std::error_code error;
      for (const auto& entry :
           std::filesystem::directory_iterator(folder / attachment.partNumber, error)) {
        if (entry.is_regular_file(error)) paths.push_back(entry.path().string());
      }
    }
  }
  const Value nameArray = stringArray(names);
  const Value typeArray = stringArray(types);
  out.set("kMDItemAttachmentNames", nameArray);
  out.set("com_apple_mail_attachmentNames", nameArray);
  out.set("kMDItemAttachmentTypes", typeArray);
  out.set("com_apple_mail_attachmentTypes", typeArray);
  out.set("com_apple_mail_attachmentKinds", stringArray(kinds));
  out.set("com_apple_mail_attachmentSpecificTypes", stringArray(mimeTypes));
  out.set("kMDItemAttachmentPaths", stringArray(paths));
}

std::vector<std::string> commaList(const std::string& text) {
  std::vector<std::string> items;
  gchar** parts = g_strsplit(text.c_str(), ",", -1);
  for (gchar** part = parts; *part; ++part) items.emplace_back(g_strstrip(*part));
  g_strfreev(parts);
  return items;
}

void addHeaders(AttributeWriter& out, const ParsedMessage& message) {
  std::map<std::string, Value::Array> headers;
  for (const auto& [name, value] : message.headers) {
    std::string key = name;
    for (char& c : key) c = static_cast<char>(g_ascii_tolower(c));
    headers[key].emplace_back(value);
  }
  Value::Dictionary dictionary;
  for (auto& [name, values] : headers) dictionary.emplace(name, Value(std::move(values)));
  out.set("kMDItemEmailHeadersDictionary", Value(std::move(dictionary)));

  if (const std::string* keywords = headerValue(message, "Keywords")) {
    out.set("kMDItemKeywords", stringArray(commaList(*keywords)));
  }
  if (const std::string* comments = headerValue(message, "Comments")) {
    out.setText("kMDItemComment", *comments);
  }
  if (const std::string* labels = headerValue(message, "X-Gmail-Labels")) {
    out.set("com_apple_mail_gmailLabels", stringArray(commaList(*labels)));
  }
}

void addFileFacts(AttributeWriter& out, const MessageFileFacts& facts) {
  out.setText("kMDItemFSName", facts.fileName);
  out.setText("_kMDItemFileName", facts.fileName);
  out.setText("_kMDItemDisplayNameWithExtensions", facts.fileName);
  out.set("kMDItemFSInvisible",
          Value::boolean(!facts.fileName.empty() && facts.fileName[0] == '.'));
  out.set("kMDItemFSSize", Value::integer(facts.size));
  out.set("kMDItemLogicalSize", Value::integer(facts.size));
  out.set("kMDItemPhysicalSize", Value::integer(facts.allocatedSize));
  out.set("kMDItemFSContentChangeDate", dateValue(facts.modificationTime));
  out.set("_kMDItemContentChangeDate", dateValue(facts.modificationTime));
  out.set("kMDItemFSCreationDate", dateValue(facts.creationTime));
  out.set("_kMDItemCreationDate", dateValue(facts.creationTime));
  out.set("kMDItemDateAdded", dateValue(facts.creationTime));
  out.set("com_apple_metadata_modtime",
          Value::integer(static_cast<std::int64_t>(facts.modificationTime)));
  out.set("kMDItemFileIdentifier", Value::integer(facts.fileIdentifier));
  out.set("kMDItemFSOwnerUserID", Value::integer(facts.ownerUserID));
  out.set("_kMDItemOwnerUserID", Value::integer(facts.ownerUserID));
  out.set("kMDItemFSOwnerGroupID", Value::integer(facts.ownerGroupID));
  out.set("_kMDItemOwnerGroupID", Value::integer(facts.ownerGroupID));
  for (const auto& [name, value] : kConstantAttributes) out.set(name, value);
}

void addStoreProperties(AttributeWriter& out, const EmlxFile& file, const ParsedMessage& message) {
  const Value& properties = file.properties;
  const std::int64_t flags = file.flags();
  for (const auto& [name, flag] : kFlagAttributes) {
    out.set(name, Value::integer(hasFlag(flags, flag) ? 1 : 0));
  }
  const std::int64_t priority = priorityOf(flags);
  out.set("com_apple_mail_priority",
          Value::integer(priority != 0 ? priority : message.priority.value_or(kNormalPriority)));
  // The store records no flag colours of its own, so a flagged message shows the default flag.
  if (hasFlag(flags, kFlagFlagged)) out.set("com_apple_mail_flagColor", Value::integer(0));

  // Received date: the property list's, else the Date field's, else the newest trace field's.
  const Value& received = properties[kEmlxDateReceivedKey];
  std::optional<double> receivedTime;
  if (received.isNumber()) receivedTime = received.doubleValue();
  if (const auto fromHeader = message.dateSent ? message.dateSent : message.dateLastReceived;
      !receivedTime && fromHeader) {
    receivedTime = static_cast<double>(*fromHeader);
  }
  if (receivedTime) {
    out.set("com_apple_mail_dateReceived", dateValue(*receivedTime));
    out.set("kMDItemMailDateReceived", dateValue(*receivedTime));
    out.set("kMDItemInterestingDate", dateValue(*receivedTime));
  }
  const double lastViewed = properties[kEmlxDateLastViewedKey].doubleValue();
  if (lastViewed > 0) {
    out.set("com_apple_mail_dateLastViewed", dateValue(lastViewed));
    out.set("kMDItemLastUsedDate", dateValue(lastViewed));
  }
  const Value& conversation = properties[kEmlxConversationIDKey];
  if (conversation.isNumber()) out.set("kMDItemEmailConversationID", conversation);
}

}  // namespace

foundation::Result<MessageFileFacts> fileFactsFor(const std::filesystem::path& path) {
  struct statx status {};
  if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
    return fileSystemError("cannot examine", path.string(), errno);
  }
  const auto seconds = [](const struct statx_timestamp& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
  };
  MessageFileFacts facts;
  facts.fileName = path.filename().string();
  facts.size = static_cast<std::int64_t>(status.stx_size);
  facts.allocatedSize = static_cast<std::int64_t>(status.stx_blocks) * 512;
  facts.modificationTime = seconds(status.stx_mtime);
  facts.creationTime =
      (status.stx_mask & STATX_BTIME) ? seconds(status.stx_btime) : facts.modificationTime;
  facts.fileIdentifier = static_cast<std::int64_t>(status.stx_ino);
  facts.ownerUserID = status.stx_uid;
  facts.ownerGroupID = status.stx_gid;
  return facts;
}

platform::SearchableItem searchableItemFor(const MessageSource& source, const EmlxFile& file,
                                           const ParsedMessage& message,
                                           const MessageFileFacts& facts) {
  platform::SearchableItem item;
  item.uniqueIdentifier = std::to_string(source.libraryID);
  item.domainIdentifier = source.mailbox.url();
  AttributeWriter out(item.attributeSet.attributes);

  out.set("_kMDItemExternalID", Value::integer(source.libraryID));
  out.set("kMDItemDocumentIdentifier", Value::integer(source.libraryID));
  out.set("com_apple_mail_messageID", Value(std::to_string(source.libraryID)));
  out.set("kMDItemContentType", Value(kMailContentType));
  Value::Array tree(kMailContentTypeTree.begin(), kMailContentTypeTree.end());
  out.set("kMDItemContentTypeTree", Value(std::move(tree)));
  out.set("kMDItemKind", Value(kMailKind));

  out.setText("kMDItemSubject", message.subject);
  out.setText("kMDItemDisplayName", message.subject);
  if (!message.messageID.empty()) out.set("kMDItemIdentifier", "<" + message.messageID + ">");
  if (message.dateSent) {
    const double sent = static_cast<double>(*message.dateSent);
    out.set("kMDItemContentCreationDate", dateValue(sent));
    out.set("kMDItemContentModificationDate", dateValue(sent));
    out.set("com_apple_mail_dateSent", dateValue(sent));
  }
  out.setText("kMDItemTextContent", message.bodyText);

  out.setText("kMDItemAccountIdentifier", source.mailbox.account);
  for (const auto& [scheme, type] : kAccountTypes) {
    if (scheme == source.mailbox.scheme) out.set("kMDItemAccountType", Value(type));
  }
  out.set("kMDItemMailboxes", stringArray({source.mailbox.path()}));

  addPeople(out, message);
  addAttachments(out, source, message);
  addHeaders(out, message);
  addStoreProperties(out, file, message);
  addFileFacts(out, facts);
  return item;
}

foundation::Result<platform::SearchableItem> searchableItemForMessage(const MessageSource& source) {
  auto file = readEmlxFile(source.path);
  if (!file) return file.error();
  auto facts = fileFactsFor(source.path);
  if (!facts) return facts.error();
  auto message = parseMessage(file.value().message);
  if (!message) {
    return storeError(StoreErrorCode::Unparseable,
                      source.path.string() + ": " + message.error().localizedDescription);
  }
  return searchableItemFor(source, file.value(), message.value(), facts.value());
}

}  // namespace trovadex::mailstore
