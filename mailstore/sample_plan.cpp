#include "mailstore/sample_plan.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <set>

#include "mailstore/mailbox_url.hpp"
#include "mailstore/message_flags.hpp"
#include "mailstore/prng.hpp"

namespace trovadex::mailstore::sample {
namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kSpanDays = 3652;
constexpr std::int64_t kSampleStartTime = kSampleEndTime - kSpanDays * kDay;
// Set on nearly every message of a current library; kept as a real store would show it.
constexpr std::int64_t kCommonHighBit = 1LL << 33;
constexpr std::array<int, 10> kTimeZones{0, 60, 120, -300, -480, 540, 330, -180, 600, 180};

enum MailboxIndex : std::size_t { kInbox, kSent, kDrafts, kJunk, kTrash, kFirstArchive };

int yearOf(std::int64_t unixTime) {
  // Civil year of a day count (proleptic Gregorian), after H. Hinnant's days_from_civil inverse.
  std::int64_t days = unixTime / kDay + 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t monthIndex = (5 * dayOfYear + 2) / 153;
  const std::int64_t month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
  return static_cast<int>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
}

std::string hex16(std::uint64_t value) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text(16, '0');
  for (int index = 15; index >= 0; --index, value >>= 4) text[index] = kDigits[value & 15];
  return text;
}

class Planner {
 public:
  Planner(std::uint64_t seed, std::size_t count)
      : prng_(Prng::forStream(seed, 0)), seed_(seed), count_(count) {}

  SamplePlan run() {
    addMailboxes();
    addPeople();
    while (plan_.messages.size() < count_) addThread();
    plant();
    std::stable_sort(
        plan_.messages.begin(), plan_.messages.end(),
        [](const MessagePlan& a, const MessagePlan& b) { return a.dateReceived < b.dateReceived; });
    return std::move(plan_);
  }

 private:
  void addMailboxes() {
    const std::string account = storeUUIDForURL("trovadex-sample-account-" + std::to_string(seed_));
    const struct {
      const char* name;
      const char* maildir;
    } serverBoxes[] = {{"INBOX", ""},
                       {"Sent Messages", ".Sent Messages"},
                       {"Drafts", ".Drafts"},
                       {"Junk", ".Junk"},
                       {"Deleted Messages", ".Deleted Messages"}};
    for (const auto& box : serverBoxes) {
      plan_.mailboxes.push_back({MailboxAddress{"imap", account, {box.name}}.url(), box.maildir});
    }
    firstArchiveYear_ = yearOf(kSampleStartTime);
    for (int year = firstArchiveYear_; year <= yearOf(kSampleEndTime); ++year) {
      const std::string name = std::to_string(year);
      plan_.mailboxes.push_back(
          {MailboxAddress{std::string(kLocalScheme), std::string(kLocalAccount), {"Archive", name}}
               .url(),
           ".Archive." + name});
    }
  }

  void addPeople() {
    plan_.people.push_back({std::string(kOwnerName), std::string(kOwnerAddress), 60});
    const std::size_t poolSize = std::clamp<std::size_t>(count_ / 5, 20, 50000);
    std::set<std::string> addresses{std::string(kOwnerAddress)};
    std::vector<double> weights;
    for (std::size_t rank = 0; rank < poolSize; ++rank) {
      const NamePart& first =
          prng_.chance(0.04) ? prng_.pick(accentedFirstNames()) : prng_.pick(firstNames());
      const NamePart& last =
          prng_.chance(0.04) ? prng_.pick(accentedLastNames()) : prng_.pick(lastNames());
      const std::string_view domain = prng_.pick(domains());
      std::string local = std::string(first.ascii) + "." + std::string(last.ascii);
      std::string address = local + "@" + std::string(domain);
      if (!addresses.insert(address).second) {
        address = local + std::to_string(rank) + "@" + std::string(domain);
        addresses.insert(address);
      }
      std::string name = prng_.chance(0.05)
                             ? std::string()
                             : std::string(first.display) + " " + std::string(last.display);
      plan_.people.push_back(
          {std::move(name), std::move(address), kTimeZones[prng_.below(kTimeZones.size())]});
      weights.push_back(1.0 / std::pow(static_cast<double>(rank + 1), 1.05));
    }
    senders_.emplace(weights);
    for (const auto& person : plantedPeople()) {
      plantedPeople_.push_back(plan_.people.size());
      plan_.people.push_back({std::string(person.name), std::string(person.address), 120});
    }
  }

  std::size_t poolPerson() { return 1 + senders_->draw(prng_); }

  std::vector<std::size_t> poolPeople(std::size_t count, std::size_t except) {
    std::vector<std::size_t> people;
    for (std::size_t attempt = 0; people.size() < count && attempt < count * 4; ++attempt) {
      const std::size_t person = poolPerson();
      if (person != except && std::find(people.begin(), people.end(), person) == people.end()) {
        people.push_back(person);
      }
    }
    return people;
  }

  std::size_t recipientCount() {
    const double draw = prng_.unit();
    if (draw < 0.70) return 1;
    if (draw < 0.90) return static_cast<std::size_t>(prng_.between(2, 3));
    if (draw < 0.99) return static_cast<std::size_t>(prng_.between(4, 10));
    return static_cast<std::size_t>(prng_.between(11, 40));
  }

  // Thread sizes of two and more follow a power law with exponent 2.5, capped at 200.
  std::size_t threadSize() {
    static const WeightedChoice sizes = [] {
      std::vector<double> weights;
      for (int size = 2; size <= 200; ++size) weights.push_back(std::pow(size, -2.5));
      return WeightedChoice(weights);
    }();
    return 2 + sizes.draw(prng_);
  }

  // A weekday in office hours, mostly.
  std::int64_t rootTime() {
    std::int64_t day = 0;
    for (int attempt = 0; attempt < 3; ++attempt) {
      day = prng_.between(0, kSpanDays - 1);
      // 1970-01-01 was a Thursday; 0 is Sunday.
      const std::int64_t weekday = (kSampleStartTime / kDay + day + 4) % 7;
      if ((weekday != 0 && weekday != 6) || prng_.chance(0.3)) break;
    }
    const std::int64_t hour = prng_.chance(0.75) ? prng_.between(8, 17) : prng_.between(0, 23);
    return kSampleStartTime + day * kDay + hour * 3600 + prng_.between(0, 3599);
  }

  std::string subjectText() {
    const std::size_t count = static_cast<std::size_t>(prng_.between(2, 7));
    std::string subject;
    for (std::size_t index = 0; index < count; ++index) {
      std::string word(prng_.chance(0.02) ? prng_.pick(latinWords()) : prng_.pick(words()));
      if (index == 0 && word[0] >= 'a' && word[0] <= 'z') word[0] = static_cast<char>(word[0] - 32);
      if (!subject.empty()) subject += ' ';
      subject += word;
    }
    if (prng_.chance(0.04)) subject += " " + std::string(prng_.pick(unicodeWords()));
    return subject;
  }

  std::vector<PlannedAttachment> attachments() {
    std::vector<PlannedAttachment> planned;
    if (!prng_.chance(0.12)) return planned;
    const double draw = prng_.unit();
    const std::size_t count = draw < 0.75   ? 1
                              : draw < 0.90 ? 2
                                            : static_cast<std::size_t>(prng_.between(3, 5));
    static const WeightedChoice kinds = [] {
      std::vector<double> weights;
      for (const auto& kind : attachmentKinds()) weights.push_back(kind.weight);
      return WeightedChoice(weights);
    }();
    for (std::size_t index = 0; index < count; ++index) {
      PlannedAttachment attachment;
      attachment.kind = kinds.draw(prng_);
      const std::string_view stem = prng_.chance(0.05) ? prng_.pick(accentedAttachmentStems())
                                                       : prng_.pick(attachmentStems());
      attachment.fileName = std::string(stem);
      if (prng_.chance(0.5)) attachment.fileName += "-" + std::to_string(prng_.between(1, 99));
      attachment.fileName += "." + std::string(attachmentKinds()[attachment.kind].extension);
      attachment.size = std::clamp<std::int64_t>(
          static_cast<std::int64_t>(prng_.logNormal(8000, 1.2)), 64, 400000);
      planned.push_back(std::move(attachment));
    }
    return planned;
  }

  std::size_t mailboxFor(const MessagePlan& message, std::size_t threadSize) {
    if (message.author == 0) return prng_.chance(0.01) ? kDrafts : kSent;
    if (threadSize == 1 && prng_.chance(0.03)) return kJunk;
    if (prng_.chance(0.02)) return kTrash;
    if (message.dateReceived < kSampleEndTime - 365 * kDay && prng_.chance(0.35)) {
      return kFirstArchive +
             static_cast<std::size_t>(yearOf(message.dateReceived) - firstArchiveYear_);
    }
    return kInbox;
  }

  std::int64_t flagsFor(const MessagePlan& message) {
    std::int64_t flags = kCommonHighBit;
    switch (message.mailbox) {
      case kSent:
        return flags | kFlagRead;
      case kDrafts:
        return flags | kFlagRead | kFlagDraft;
      case kJunk:
        return flags | kFlagJunk | (prng_.chance(0.3) ? std::int64_t{kFlagRead} : 0);
      default:
        break;
    }
    const bool recent = message.dateReceived > kSampleEndTime - 30 * kDay;
    if (prng_.chance(recent ? 0.5 : 0.9)) flags |= kFlagRead;
    if (prng_.chance(0.02)) flags |= kFlagAnswered;
    if (prng_.chance(0.03)) flags |= kFlagForwarded;
    if (prng_.chance(0.02)) flags |= kFlagFlagged;
    if (prng_.chance(0.003)) flags |= kFlagDeleted;
    return flags;
  }

  void addThread() {
    const std::size_t remaining = count_ - plan_.messages.size();
    const std::size_t size = std::min(remaining, prng_.chance(0.5) ? std::size_t{1} : threadSize());
    const bool ownerStarts = prng_.chance(0.2);
    const std::size_t rootAuthor = ownerStarts ? 0 : poolPerson();
    std::vector<std::size_t> rootTo;
    if (!ownerStarts) rootTo.push_back(0);
    for (const auto person : poolPeople(recipientCount() - (ownerStarts ? 0 : 1), rootAuthor)) {
      rootTo.push_back(person);
    }
    if (rootTo.empty()) rootTo.push_back(poolPerson());
    const std::vector<std::size_t> rootCc =
        prng_.chance(0.08) ? poolPeople(static_cast<std::size_t>(prng_.between(1, 3)), rootAuthor)
                           : std::vector<std::size_t>{};
    // The owner answers the threads they started and some of those addressed to them; the others
    // are conversations the owner follows as a recipient.
    const bool ownerAnswers = ownerStarts || prng_.chance(0.35);
    const std::size_t counterpart = ownerStarts         ? rootTo.front()
                                    : ownerAnswers      ? 0
                                    : rootTo.size() > 1 ? rootTo[1]
                                                        : poolPerson();
    const std::optional<std::size_t> third =
        prng_.chance(0.15) ? std::optional(poolPerson()) : std::nullopt;
    const std::string subject = subjectText();

    std::int64_t time = rootTime();
    std::vector<std::string> chain;
    std::size_t previousAuthor = rootAuthor;
    const std::size_t first = plan_.messages.size();
    for (std::size_t index = 0; index < size; ++index) {
      MessagePlan message;
      message.stream = plan_.messages.size() + 1;
      if (index == 0) {
        message.author = rootAuthor;
        message.to = rootTo;
        message.cc = rootCc;
        message.subject = subject;
      } else {
        message.author = third && prng_.chance(0.2)     ? *third
                         : previousAuthor == rootAuthor ? counterpart
                                                        : rootAuthor;
        message.to = {previousAuthor == message.author ? counterpart : previousAuthor};
        if (prng_.chance(0.5)) message.cc = rootCc;
        const auto addressed = [&](const std::vector<std::size_t>& people) {
          return std::find(people.begin(), people.end(), 0) != people.end();
        };
        if (message.author != 0 && !addressed(message.to) && !addressed(message.cc)) {
          message.cc.push_back(0);
        }
        message.subject = (prng_.chance(0.05) ? "Fwd: " : "Re: ") + subject;
        message.brokenChain = prng_.chance(0.015);
        if (!message.brokenChain) message.references = chain;
      }
      if (message.author == 0 && prng_.chance(0.05)) {
        message.bcc = poolPeople(1, message.author);
      }
      const std::string& address = plan_.people[message.author].address;
      const std::string domain = address.substr(address.find('@') + 1);
      message.messageID = hex16(prng_.next()) + "." + std::to_string(message.stream) + "@" + domain;
      message.dateSent = std::min(time, kSampleEndTime + kDay - 1);
      message.dateReceived =
          message.author == 0 ? message.dateSent : message.dateSent + prng_.between(2, 600);
      message.omitDateField = prng_.chance(0.003);
      message.mailbox = mailboxFor(message, size);
      message.flags = flagsFor(message);
      if (prng_.chance(0.02)) message.priority = prng_.chance(0.5) ? 1 : 5;
      message.attachments = attachments();
      message.partial = !message.attachments.empty() && prng_.chance(0.08);
      message.html = prng_.chance(0.3);
      message.latin1 = prng_.chance(0.03);

      chain.push_back(message.messageID);
      previousAuthor = message.author;
      time += std::clamp<std::int64_t>(static_cast<std::int64_t>(prng_.logNormal(4 * 3600, 1.3)),
                                       60, 20 * kDay);
      singleton_.push_back(size == 1);
      plan_.messages.push_back(std::move(message));
    }
    // A received message that the owner answered later in its thread is marked answered.
    for (std::size_t index = first; index + 1 < plan_.messages.size(); ++index) {
      if (plan_.messages[index + 1].author == 0 && plan_.messages[index].author != 0 &&
          plan_.messages[index].mailbox != kJunk) {
        plan_.messages[index].flags |= kFlagAnswered | kFlagRead;
      }
    }
  }

  // count distinct indices among candidates, in a random order.
  std::vector<std::size_t> choose(std::vector<std::size_t> candidates, std::size_t count) {
    count = std::min(count, candidates.size());
    for (std::size_t index = 0; index < count; ++index) {
      std::swap(candidates[index], candidates[index + prng_.below(candidates.size() - index)]);
    }
    candidates.resize(count);
    return candidates;
  }

  std::size_t plantedCount(double share) const {
    return std::max<std::size_t>(1, static_cast<std::size_t>(std::llround(share * count_)));
  }

  void plant() {
    std::vector<std::size_t> all(plan_.messages.size());
    std::iota(all.begin(), all.end(), 0);
    std::vector<std::size_t> singletons, received, withAttachments;
    for (const auto index : all) {
      const MessagePlan& message = plan_.messages[index];
      if (singleton_[index]) singletons.push_back(index);
      if (singleton_[index] && message.author != 0 && message.mailbox != kJunk) {
        received.push_back(index);
      }
      if (!message.attachments.empty()) withAttachments.push_back(index);
    }
    for (const auto& planted : plantedWords()) {
      const std::size_t count = plantedCount(planted.share);
      switch (planted.field) {
        case PlantedField::Body:
          for (const auto index : choose(all, count)) {
            plan_.messages[index].plantedBodyWords.emplace_back(planted.word);
          }
          break;
        case PlantedField::Subject:
          // Only in threads of one message, so that no reply repeats the word.
          for (const auto index : choose(singletons, count)) {
            plan_.messages[index].subject += " " + std::string(planted.word);
          }
          break;
        case PlantedField::AttachmentName:
          for (const auto index : choose(withAttachments, count)) {
            PlannedAttachment& attachment = plan_.messages[index].attachments.front();
            attachment.fileName = std::string(planted.word) + "-" + attachment.fileName;
          }
          break;
      }
    }
    const auto people = plantedPeople();
    for (std::size_t index = 0; index < people.size(); ++index) {
      const std::size_t person = plantedPeople_[index];
      const std::size_t count = plantedCount(people[index].share);
      if (people[index].role == PlantedRole::Author) {
        for (const auto message : choose(received, count)) plan_.messages[message].author = person;
      } else {
        for (const auto message : choose(all, count)) plan_.messages[message].cc.push_back(person);
      }
    }
  }

  Prng prng_;
  const std::uint64_t seed_;
  const std::size_t count_;
  SamplePlan plan_;
  int firstArchiveYear_ = 0;
  std::optional<WeightedChoice> senders_;
  std::vector<std::size_t> plantedPeople_;
  std::vector<bool> singleton_;  // by message index before sorting
};

}  // namespace

SamplePlan planSampleMail(std::uint64_t seed, std::size_t messageCount) {
  return Planner(seed, messageCount).run();
}

}  // namespace trovadex::mailstore::sample
