#include "mailstore/sample_vocabulary.hpp"

#include <array>

namespace trovadex::mailstore::sample {
namespace {

constexpr std::array<NamePart, 48> kFirstNames{{
    {"Alice", "alice"},   {"Bob", "bob"},       {"Carol", "carol"},   {"David", "david"},
    {"Emma", "emma"},     {"Frank", "frank"},   {"Grace", "grace"},   {"Henry", "henry"},
    {"Isabel", "isabel"}, {"Jack", "jack"},     {"Karen", "karen"},   {"Liam", "liam"},
    {"Maria", "maria"},   {"Noah", "noah"},     {"Olivia", "olivia"}, {"Peter", "peter"},
    {"Quinn", "quinn"},   {"Rachel", "rachel"}, {"Samuel", "samuel"}, {"Tina", "tina"},
    {"Umar", "umar"},     {"Vera", "vera"},     {"Walter", "walter"}, {"Xavier", "xavier"},
    {"Yasmin", "yasmin"}, {"Zack", "zack"},     {"Anna", "anna"},     {"Ben", "ben"},
    {"Clara", "clara"},   {"Daniel", "daniel"}, {"Eva", "eva"},       {"Felix", "felix"},
    {"Hannah", "hannah"}, {"Ivan", "ivan"},     {"Julia", "julia"},   {"Kevin", "kevin"},
    {"Laura", "laura"},   {"Martin", "martin"}, {"Nina", "nina"},     {"Oscar", "oscar"},
    {"Paula", "paula"},   {"Ruth", "ruth"},     {"Simon", "simon"},   {"Theo", "theo"},
    {"Ursula", "ursula"}, {"Victor", "victor"}, {"Wendy", "wendy"},   {"Yusuf", "yusuf"},
}};

constexpr std::array<NamePart, 20> kAccentedFirstNames{{
    {"Zo\u00EB", "zoe"},
    {"J\u00FCrgen", "juergen"},
    {"Fran\u00E7ois", "francois"},
    {"S\u00F8ren", "soren"},
    {"\u0141ukasz", "lukasz"},
    {"Jos\u00E9", "jose"},
    {"Chlo\u00E9", "chloe"},
    {"Bj\u00F6rn", "bjorn"},
    {"Ren\u00E9e", "renee"},
    {"I\u00F1aki", "inaki"},
    {"\u00C1gnes", "agnes"},
    {"\u592A\u90CE", "taro"},
    {"\u82B1\u5B50", "hanako"},
    {"\u0410\u043B\u0435\u043A\u0441\u0435\u0439", "aleksei"},
    {"\u0395\u03BB\u03AD\u03BD\u03B7", "eleni"},
    {"Ana\u00EFs", "anais"},
    {"M\u00E1rta", "marta"},
    {"Dag\u00F0\u00FDr", "dagdyr"},
    {"\u00C9lodie", "elodie"},
    {"Ji\u0159\u00ED", "jiri"},
}};

constexpr std::array<NamePart, 40> kLastNames{{
    {"Smith", "smith"},       {"Johnson", "johnson"}, {"Brown", "brown"},
    {"Taylor", "taylor"},     {"Miller", "miller"},   {"Wilson", "wilson"},
    {"Moore", "moore"},       {"Clark", "clark"},     {"Lewis", "lewis"},
    {"Walker", "walker"},     {"Hall", "hall"},       {"Young", "young"},
    {"King", "king"},         {"Wright", "wright"},   {"Scott", "scott"},
    {"Green", "green"},       {"Baker", "baker"},     {"Adams", "adams"},
    {"Nelson", "nelson"},     {"Hill", "hill"},       {"Campbell", "campbell"},
    {"Mitchell", "mitchell"}, {"Roberts", "roberts"}, {"Carter", "carter"},
    {"Phillips", "phillips"}, {"Evans", "evans"},     {"Turner", "turner"},
    {"Parker", "parker"},     {"Collins", "collins"}, {"Edwards", "edwards"},
    {"Stewart", "stewart"},   {"Morris", "morris"},   {"Rogers", "rogers"},
    {"Reed", "reed"},         {"Cook", "cook"},       {"Morgan", "morgan"},
    {"Bell", "bell"},         {"Murphy", "murphy"},   {"Bailey", "bailey"},
    {"Rivera", "rivera"},
}};

constexpr std::array<NamePart, 16> kAccentedLastNames{{
    {"M\u00FCller", "mueller"},
    {"Garc\u00EDa", "garcia"},
    {"Dvo\u0159\u00E1k", "dvorak"},
    {"\u00D8stergaard", "ostergaard"},
    {"\u0141\u0119cka", "lecka"},
    {"\u5C71\u7530", "yamada"},
    {"\u4F50\u85E4", "sato"},
    {"\u0418\u0432\u0430\u043D\u043E\u0432", "ivanov"},
    {"\u03A0\u03B1\u03C0\u03B1\u03B4\u03CC\u03C0\u03BF\u03C5\u03BB\u03BF\u03C2", "papadopoulos"},
    {"Sch\u00F6nberg", "schoenberg"},
    {"Gonz\u00E1lez", "gonzalez"},
    {"Br\u00FBl\u00E9", "brule"},
    {"Lindstr\u00F6m", "lindstrom"},
    {"\u00D3 Briain", "obriain"},
    {"Ko\u00E7", "koc"},
    {"Nguy\u1EC5n", "nguyen"},
}};

constexpr std::array<std::string_view, 16> kDomains{
    "example.org",      "example.com",      "example.net",        "mail.example.de",
    "post.example.fr",  "corp.example",     "uni.example",        "lists.example.org",
    "shop.example.com", "team.example.net", "office.example",     "research.example",
    "city.example.gov", "club.example",     "bank.example.co.uk", "news.example.jp",
};

constexpr std::array<std::string_view, 205> kWords{
    "about",    "account",   "action",     "agenda",    "agreement", "answer",   "april",
    "area",     "article",   "attached",   "august",    "back",      "balance",  "before",
    "best",     "better",    "board",      "book",      "branch",    "budget",   "build",
    "call",     "campaign",  "change",     "check",     "client",    "code",     "coffee",
    "comment",  "company",   "conference", "confirm",   "contract",  "cost",     "course",
    "customer", "data",      "date",       "deadline",  "december",  "decision", "design",
    "detail",   "dinner",    "document",   "draft",     "early",     "east",     "edit",
    "email",    "event",     "expense",    "feedback",  "figure",    "file",     "final",
    "finance",  "first",     "follow",     "form",      "friday",    "garden",   "goal",
    "good",     "group",     "guide",      "happy",     "help",      "holiday",  "hotel",
    "idea",     "important", "invoice",    "issue",     "item",      "january",  "july",
    "june",     "kitchen",   "large",      "last",      "launch",    "lead",     "legal",
    "letter",   "list",      "local",      "lunch",     "manager",   "march",    "market",
    "material", "meeting",   "member",     "memo",      "minutes",   "monday",   "month",
    "morning",  "move",      "network",    "new",       "news",      "next",     "note",
    "november", "number",    "october",    "offer",     "office",    "open",     "order",
    "outline",  "page",      "paper",      "party",     "payment",   "people",   "period",
    "phone",    "photo",     "plan",       "please",    "point",     "policy",   "price",
    "print",    "priority",  "problem",    "process",   "product",   "project",  "proposal",
    "quarter",  "question",  "quick",      "ready",     "reason",    "receipt",  "record",
    "region",   "release",   "reminder",   "report",    "request",   "research", "review",
    "river",    "room",      "sale",       "saturday",  "schedule",  "school",   "season",
    "second",   "section",   "send",       "september", "service",   "share",    "ship",
    "short",    "sign",      "simple",     "slides",    "small",     "soon",     "source",
    "spring",   "staff",     "start",      "status",    "station",   "step",     "store",
    "story",    "study",     "summary",    "summer",    "sunday",    "support",  "survey",
    "system",   "table",     "task",       "team",      "test",      "thanks",   "thursday",
    "ticket",   "today",     "topic",      "total",     "travel",    "trip",     "tuesday",
    "update",   "version",   "visit",      "week",      "weekend",   "welcome",  "winter",
    "work",     "year",
};

constexpr std::array<std::string_view, 14> kLatinWords{
    "Gr\u00FC\u00DFe", "caf\u00E9",      "na\u00EFve",       "Stra\u00DFe",
    "d\u00E9j\u00E0",  "\u00DCbersicht", "r\u00E9sum\u00E9", "pi\u00F1ata",
    "fa\u00E7ade",     "Z\u00FCrich",    "K\u00F6ln",        "sm\u00F6rg\u00E5sbord",
    "cr\u00E8me",      "\u00FCber",
};

constexpr std::array<std::string_view, 10> kUnicodeWords{
    "\u4F1A\u8B70",
    "\u62A5\u544A",
    "\u043E\u0442\u0447\u0451\u0442",
    "\u03C3\u03CD\u03C3\u03BA\u03B5\u03C8\u03B7",
    "\U0001F389",
    "\u2705",
    "\U0001F4CE",
    "\U0001F680",
    "\u0645\u0648\u0639\u062F",
    "\u05E4\u05D2\u05D9\u05E9\u05D4",
};

constexpr std::array<std::string_view, 14> kAttachmentStems{
    "report",    "invoice", "minutes", "photo",    "budget",  "slides",    "contract",
    "itinerary", "scan",    "notes",   "schedule", "diagram", "statement", "agenda",
};

constexpr std::array<std::string_view, 6> kAccentedAttachmentStems{
    "\u00DCbersicht",    "T\u00FCbingen-Plan",
    "Pr\u00E4sentation", "\u7B2C2\u56DE\u7814\u7A76\u4F1A",
    "r\u00E9sum\u00E9",  "Angebot f\u00FCr Kunden",
};

constexpr std::array<AttachmentKind, 9> kAttachmentKinds{{
    {"pdf", "application/pdf", "%PDF-1.4\n", 30},
    {"jpg", "image/jpeg", "\xFF\xD8\xFF\xE0", 20},
    {"png", "image/png", "\x89PNG\r\n\x1A\n", 10},
    {"docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document",
     "PK\x03\x04", 12},
    {"xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", "PK\x03\x04", 8},
    {"pptx", "application/vnd.openxmlformats-officedocument.presentationml.presentation",
     "PK\x03\x04", 4},
    {"zip", "application/zip", "PK\x03\x04", 5},
    {"ics", "text/calendar", "BEGIN:VCALENDAR\r\n", 6},
    {"txt", "text/plain", "", 5},
}};

// Invented words; none is part of any other word the generator writes.
constexpr std::array<PlantedWord, 6> kPlantedWords{{
    {"quorvexin", PlantedField::Body, 0.01},
    {"zindrapple", PlantedField::Body, 0.002},
    {"mellowfax", PlantedField::Body, 0.0005},
    {"brontivar", PlantedField::Subject, 0.003},
    {"glimmerquist", PlantedField::Subject, 0.0008},
    {"snorkelberry", PlantedField::AttachmentName, 0.002},
}};

constexpr std::array<PlantedPerson, 2> kPlantedPeople{{
    {"Zo\u00EB Quillfeather", "zoe.quillfeather@planted.example", PlantedRole::Author, 0.004},
    {"Barnaby \u00D8deg\u00E5rd", "barnaby.odegard@planted.example", PlantedRole::Recipient, 0.006},
}};

}  // namespace

std::span<const NamePart> firstNames() { return kFirstNames; }
std::span<const NamePart> accentedFirstNames() { return kAccentedFirstNames; }
std::span<const NamePart> lastNames() { return kLastNames; }
std::span<const NamePart> accentedLastNames() { return kAccentedLastNames; }
std::span<const std::string_view> domains() { return kDomains; }
std::span<const std::string_view> words() { return kWords; }
std::span<const std::string_view> latinWords() { return kLatinWords; }
std::span<const std::string_view> unicodeWords() { return kUnicodeWords; }
std::span<const std::string_view> attachmentStems() { return kAttachmentStems; }
std::span<const std::string_view> accentedAttachmentStems() { return kAccentedAttachmentStems; }
std::span<const AttachmentKind> attachmentKinds() { return kAttachmentKinds; }
std::span<const PlantedWord> plantedWords() { return kPlantedWords; }
std::span<const PlantedPerson> plantedPeople() { return kPlantedPeople; }

}  // namespace trovadex::mailstore::sample
