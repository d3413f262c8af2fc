// The sample generator's vocabulary: names, domains, words, attachment names, and the planted
// words and people whose exact counts the manifest records.
//
// Every table is fixed; the planted words occur nowhere else in the vocabulary, so a search for
// one finds exactly the messages they were planted in. Constant data: safe from any thread.
#pragma once

#include <span>
#include <string_view>

namespace trovadex::mailstore::sample {

// A name as shown, and the ASCII form used to build addresses.
struct NamePart {
  std::string_view display;
  std::string_view ascii;
};

std::span<const NamePart> firstNames();          // ASCII
std::span<const NamePart> accentedFirstNames();  // non-ASCII, RFC 2047 in headers
std::span<const NamePart> lastNames();
std::span<const NamePart> accentedLastNames();
std::span<const std::string_view> domains();
std::span<const std::string_view> words();
std::span<const std::string_view> latinWords();    // non-ASCII but within ISO 8859-1
std::span<const std::string_view> unicodeWords();  // beyond ISO 8859-1: CJK, Cyrillic, emoji
std::span<const std::string_view> attachmentStems();
std::span<const std::string_view> accentedAttachmentStems();

struct AttachmentKind {
  std::string_view extension;
  std::string_view mimeType;
  std::string_view magic;  // the first bytes of such a file
  double weight;
};
std::span<const AttachmentKind> attachmentKinds();

// Where a planted word is put.
enum class PlantedField { Body, Subject, AttachmentName };

struct PlantedWord {
  std::string_view word;
  PlantedField field;
  double share;  // of the messages, at least one message
};
std::span<const PlantedWord> plantedWords();

enum class PlantedRole { Author, Recipient };

struct PlantedPerson {
  std::string_view name;
  std::string_view address;
  PlantedRole role;
  double share;
};
std::span<const PlantedPerson> plantedPeople();

// The owner of the sample library, who writes the Sent mail.
inline constexpr std::string_view kOwnerName = "Robin Sample";
inline constexpr std::string_view kOwnerAddress = "robin@sample.example";

}  // namespace trovadex::mailstore::sample
