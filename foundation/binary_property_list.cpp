// Layout of the binary form: the header "bplist00", the objects, a table of their offsets, and a
// 32-byte trailer (offset width, reference width, object count, top object, table offset). Each
// object starts with a marker byte whose high nibble is its kind and whose low nibble is a size
// or a count (0xF: the count follows as an integer object). Containers hold references, object
// numbers of a fixed width. The writer emits every other object first and the containers last,
// once the object count, and with it the width of a reference, is known.
#include "foundation/binary_property_list.hpp"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

#include "foundation/property_list_text.hpp"

namespace trovadex::foundation {
namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;
constexpr std::uint64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::size_t kLongestSharedText = 48;

enum Marker : unsigned char {
  kFalse = 0x08,
  kTrue = 0x09,
  kInteger = 0x10,
  kReal = 0x20,
  kDate = 0x33,
  kData = 0x40,
  kAsciiString = 0x50,
  kUtf16String = 0x60,
  kUid = 0x80,
  kArray = 0xA0,
  kDictionary = 0xD0,
};

// Bytes needed for an unsigned number: 1, 2, 4 or 8.
unsigned widthFor(std::uint64_t number) {
  if (number <= 0xFF) return 1;
  if (number <= 0xFFFF) return 2;
  if (number <= 0xFFFFFFFFu) return 4;
  return 8;
}

void putBigEndian(std::string& out, std::uint64_t number, unsigned width) {
  char bytes[8];
  for (unsigned i = 0; i < width; ++i)
    bytes[i] = static_cast<char>(number >> (8 * (width - 1 - i)));
  out.append(bytes, width);
}

// Whether the text is plain ASCII without NUL, looked at eight bytes at a time.
bool isPlainAscii(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080ull;
  constexpr std::uint64_t kLowBits = 0x0101010101010101ull;
  std::size_t i = 0;
  for (; i + 8 <= text.size(); i += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + i, sizeof word);
    // A high bit set, or a zero byte (the classic has-zero-byte test).
    if ((word & kHighBits) != 0 || ((word - kLowBits) & ~word & kHighBits) != 0) return false;
  }
  for (; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == 0 || c >= 0x80) return false;
  }
  return true;
}

void putDouble(std::string& out, unsigned char marker, double number) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &number, sizeof bits);
  out.push_back(static_cast<char>(marker));
  putBigEndian(out, bits, 8);
}

// A marker with a count: in its low nibble, or as a following integer object.
void putCounted(std::string& out, unsigned char kind, std::uint64_t count) {
  if (count < 0xF) {
    out.push_back(static_cast<char>(kind | count));
    return;
  }
  out.push_back(static_cast<char>(kind | 0xF));
  const unsigned width = widthFor(count);
  out.push_back(static_cast<char>(kInteger | (width == 1   ? 0
                                              : width == 2 ? 1
                                              : width == 4 ? 2
                                                           : 3)));
  putBigEndian(out, count, width);
}

// UTF-8 (already checked valid) as UTF-16 big-endian code units.
std::string utf16BigEndian(std::string_view text, std::uint64_t& units) {
  std::string out;
  out.reserve(text.size() * 2);
  units = 0;
  auto put = [&](std::uint32_t unit) {
    out.push_back(static_cast<char>(unit >> 8));
    out.push_back(static_cast<char>(unit & 0xFF));
    ++units;
  };
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::uint32_t cp = lead;
    std::size_t length = 1;
    if (lead >= 0xF0) {
      cp = lead & 0x07u;
      length = 4;
    } else if (lead >= 0xE0) {
      cp = lead & 0x0Fu;
      length = 3;
    } else if (lead >= 0xC0) {
      cp = lead & 0x1Fu;
      length = 2;
    }
    for (std::size_t k = 1; k < length; ++k) {
      cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3Fu);
    }
    i += length;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      put(0xD800 | (cp >> 10));
      put(0xDC00 | (cp & 0x3FF));
    } else {
      put(cp);
    }
  }
  return out;
}

void appendUtf8(std::string& out, std::uint32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

// The texts a writer has already written, by text: open addressing over one flat array, so a
// look-up costs one hash and usually one cache line. The views point into the value being
// written, which outlives the table.
class TextTable {
 public:
  std::optional<std::uint64_t> find(std::string_view text, std::size_t hash) const {
    if (slots_.empty()) return std::nullopt;
    for (std::size_t i = hash & mask_;; i = (i + 1) & mask_) {
      const Slot& slot = slots_[i];
      if (!slot.used) return std::nullopt;
      if (slot.hash == hash && slot.text == text) return slot.object;
    }
  }

  void insert(std::string_view text, std::size_t hash, std::uint64_t object) {
    if ((count_ + 1) * 2 > slots_.size()) grow();
    std::size_t i = hash & mask_;
    while (slots_[i].used) i = (i + 1) & mask_;
    slots_[i] = Slot{true, hash, text, object};
    ++count_;
  }

 private:
  struct Slot {
    bool used = false;
    std::size_t hash = 0;
    std::string_view text;
    std::uint64_t object = 0;
  };

  void grow() {
    std::vector<Slot> old = std::move(slots_);
    slots_.assign(old.empty() ? 256 : old.size() * 2, Slot{});
    mask_ = slots_.size() - 1;
    for (const Slot& slot : old) {
      if (!slot.used) continue;
      std::size_t i = slot.hash & mask_;
      while (slots_[i].used) i = (i + 1) & mask_;
      slots_[i] = slot;
    }
  }

  std::vector<Slot> slots_;
  std::size_t mask_ = 0;
  std::size_t count_ = 0;
};

class Writer {
 public:
  Writer() { out_.append(kMagic); }

  // Containers are written after every other object, once the object count (and so the width
  // of a reference) is known; until then their references wait in containerReferences_.
  Result<std::string> finish(const Value& root) {
    const std::optional<std::uint64_t> top = write(root, 0);
    if (!top) return *error_;
    const unsigned referenceWidth = widthFor(offsets_.size());
    for (const Container& container : containers_) {
      offsets_[container.object] = out_.size();
      putCounted(out_, container.marker, container.count);
      const std::size_t references =
          container.marker == kDictionary ? 2 * container.count : container.count;
      std::size_t at = out_.size();
      out_.resize(at + references * referenceWidth);
      for (std::size_t i = 0; i < references; ++i) {
        const std::uint64_t reference = containerReferences_[container.firstReference + i];
        for (unsigned k = 0; k < referenceWidth; ++k) {
          out_[at++] = static_cast<char>(reference >> (8 * (referenceWidth - 1 - k)));
        }
      }
    }
    const std::uint64_t tableOffset = out_.size();
    const unsigned offsetWidth = widthFor(tableOffset);
    out_.reserve(out_.size() + offsets_.size() * offsetWidth + kTrailerSize);
    for (std::uint64_t offset : offsets_) putBigEndian(out_, offset, offsetWidth);
    out_.append(6, '\0');
    out_.push_back(static_cast<char>(offsetWidth));
    out_.push_back(static_cast<char>(referenceWidth));
    putBigEndian(out_, offsets_.size(), 8);
    putBigEndian(out_, *top, 8);
    putBigEndian(out_, tableOffset, 8);
    return std::move(out_);
  }

 private:
  // The new object's number; its bytes follow.
  std::uint64_t begin() {
    offsets_.push_back(out_.size());
    return offsets_.size() - 1;
  }

  std::optional<std::uint64_t> fail(Error error) {
    error_ = std::move(error);
    return std::nullopt;
  }

  std::optional<std::uint64_t> writeString(std::string_view text, const char* what) {
    // Keys and short texts repeat from record to record and are written once; long ones (paths,
    // subjects) rarely do, and hashing them costs more than it saves.
    const bool shared = text.size() <= kLongestSharedText;
    const std::size_t hash = shared ? std::hash<std::string_view>{}(text) : 0;
    if (shared) {
      if (auto known = strings_.find(text, hash)) return *known;
    }
    const bool ascii = isPlainAscii(text);
    if (!ascii) {
      if (auto problem = checkPropertyListText(text, what)) return fail(*problem);
    }
    const std::uint64_t object = begin();
    if (ascii) {
      putCounted(out_, kAsciiString, text.size());
      out_.append(text);
    } else {
      std::uint64_t units = 0;
      const std::string encoded = utf16BigEndian(text, units);
      putCounted(out_, kUtf16String, units);
      out_.append(encoded);
    }
    if (shared) strings_.insert(text, hash, object);
    return object;
  }

  std::uint64_t writeInteger(std::uint64_t bits, unsigned width) {
    const std::uint64_t object = begin();
    out_.push_back(static_cast<char>(kInteger | (width == 1   ? 0
                                                 : width == 2 ? 1
                                                 : width == 4 ? 2
                                                              : 3)));
    putBigEndian(out_, bits, width);
    return object;
  }

  // A container object whose children's references are on the stack from mark on; its bytes
  // are written by finish().
  std::uint64_t closeContainer(unsigned char marker, std::uint64_t count, std::size_t mark) {
    const std::uint64_t object = offsets_.size();
    offsets_.push_back(0);
    containers_.push_back(Container{object, marker, count, containerReferences_.size()});
    containerReferences_.insert(containerReferences_.end(), references_.begin() + mark,
                                references_.end());
    references_.resize(mark);
    return object;
  }

  std::optional<std::uint64_t> write(const Value& value, int depth) {
    if (depth > kPropertyListMaximumDepth) {
      return fail(propertyListEncodingError("The value is nested too deeply to encode."));
    }
    switch (value.kind()) {
      case Value::Kind::Nil:
        return fail(propertyListEncodingError("A nil value cannot be encoded as a property list."));
      case Value::Kind::String:
        return writeString(*value.asString(), "string");
      case Value::Kind::Bool: {
        std::optional<std::uint64_t>& known = booleans_[value.boolValue() ? 1 : 0];
        if (!known) {
          known = begin();
          out_.push_back(static_cast<char>(value.boolValue() ? kTrue : kFalse));
        }
        return known;
      }
      case Value::Kind::Integer: {
        const std::int64_t number = value.integerValue();
        // One to four bytes are read as unsigned, eight as signed.
        if (number < 0) return writeInteger(static_cast<std::uint64_t>(number), 8);
        const unsigned width = widthFor(static_cast<std::uint64_t>(number));
        return writeInteger(static_cast<std::uint64_t>(number), width == 8 ? 8 : width);
      }
      case Value::Kind::Unsigned: {
        const std::uint64_t number = value.unsignedLongLongValue();
        if (number <= kInt64Max) return writeInteger(number, widthFor(number));
        // Above INT64_MAX: a 16-byte integer, the high half zero.
        const std::uint64_t object = begin();
        out_.push_back(static_cast<char>(kInteger | 4));
        putBigEndian(out_, 0, 8);
        putBigEndian(out_, number, 8);
        return object;
      }
      case Value::Kind::Real: {
        const std::uint64_t object = begin();
        putDouble(out_, kReal | 3, value.doubleValue());
        return object;
      }
      case Value::Kind::Date: {
        const double seconds = value.asDate()->timeIntervalSinceReferenceDate();
        if (!std::isfinite(seconds)) {
          return fail(propertyListEncodingError("A date that is not finite cannot be encoded."));
        }
        const std::uint64_t object = begin();
        putDouble(out_, kDate, seconds);
        return object;
      }
      case Value::Kind::Data: {
        const Value::Bytes& bytes = *value.asData();
        const std::uint64_t object = begin();
        putCounted(out_, kData, bytes.size());
        out_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return object;
      }
      case Value::Kind::Array: {
        const std::size_t mark = references_.size();
        for (const Value& element : *value.asArray()) {
          const std::optional<std::uint64_t> child = write(element, depth + 1);
          if (!child) return child;
          references_.push_back(*child);
        }
        return closeContainer(kArray, references_.size() - mark, mark);
      }
      case Value::Kind::Dictionary: {
        const Value::Dictionary& entries = *value.asDictionary();
        // Slots for the key references, then the value references; the children's own
        // references stack up above them while they are written.
        const std::size_t mark = references_.size();
        references_.resize(mark + 2 * entries.size());
        std::size_t slot = mark;
        for (const auto& entry : entries) {
          const std::optional<std::uint64_t> key = writeString(entry.first, "dictionary key");
          if (!key) return key;
          references_[slot] = *key;
          const std::optional<std::uint64_t> child = write(entry.second, depth + 1);
          if (!child) return child;
          references_[slot + entries.size()] = *child;
          ++slot;
        }
        return closeContainer(kDictionary, entries.size(), mark);
      }
    }
    return fail(propertyListEncodingError("Unknown value kind."));
  }

  struct Container {
    std::uint64_t object = 0;
    unsigned char marker = 0;
    std::uint64_t count = 0;  // elements, or entries of a dictionary
    std::size_t firstReference = 0;
  };

  std::string out_;
  std::vector<std::uint64_t> offsets_;
  std::vector<std::uint64_t> references_;  // a stack: the children of containers being written
  std::vector<Container> containers_;
  std::vector<std::uint64_t> containerReferences_;
  TextTable strings_;
  std::optional<std::uint64_t> booleans_[2];
  std::optional<Error> error_;
};

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  Result<Value> read() {
    if (!readTrailer()) return *error_;
    Value root = object(topObject_, 0);
    if (error_) return *error_;
    if (root.isNil()) return propertyListDecodingError("The property list holds no value.");
    return root;
  }

 private:
  bool fail(const char* message) {
    if (!error_) error_ = propertyListDecodingError(message);
    return false;
  }

  std::uint64_t bigEndian(std::size_t at, std::size_t width) const {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width; ++i) {
      number = (number << 8) | static_cast<unsigned char>(bytes_[at + i]);
    }
    return number;
  }

  bool readTrailer() {
    if (bytes_.size() < kMagic.size() + 1 + 1 + kTrailerSize) {
      return fail("The binary property list is truncated.");
    }
    const std::size_t trailer = bytes_.size() - kTrailerSize;
    offsetWidth_ = static_cast<unsigned char>(bytes_[trailer + 6]);
    referenceWidth_ = static_cast<unsigned char>(bytes_[trailer + 7]);
    objectCount_ = bigEndian(trailer + 8, 8);
    topObject_ = bigEndian(trailer + 16, 8);
    tableOffset_ = bigEndian(trailer + 24, 8);
    if (offsetWidth_ < 1 || offsetWidth_ > 8 || referenceWidth_ < 1 || referenceWidth_ > 8 ||
        objectCount_ == 0 || topObject_ >= objectCount_ || tableOffset_ <= kMagic.size() ||
        tableOffset_ > trailer || objectCount_ > (trailer - tableOffset_) / offsetWidth_) {
      return fail("The binary property list has a damaged trailer.");
    }
    // Every reference costs at least one byte, so an honest file never visits more objects than
    // it has bytes; sharing beyond that could make a small file decode to an enormous value.
    budget_ = bytes_.size();
    return true;
  }

  // The start of an object's bytes, checked to lie among the objects.
  std::optional<std::size_t> start(std::uint64_t number) {
    if (number >= objectCount_)
      return fail("The binary property list refers to a missing object"), std::nullopt;
    const std::uint64_t at = bigEndian(tableOffset_ + number * offsetWidth_, offsetWidth_);
    if (at < kMagic.size() || at >= tableOffset_) {
      fail("The binary property list has a damaged offset table.");
      return std::nullopt;
    }
    return static_cast<std::size_t>(at);
  }

  // Whether count units of size bytes each fit between at and the offset table.
  bool fits(std::size_t at, std::uint64_t count, std::uint64_t size) const {
    return at <= tableOffset_ && count <= (tableOffset_ - at) / size;
  }

  // The count in a marker's low nibble, or in the integer object after it; at moves past it.
  std::optional<std::uint64_t> count(unsigned char marker, std::size_t& at) {
    const unsigned nibble = marker & 0x0F;
    if (nibble != 0x0F) return nibble;
    if (!fits(at, 1, 1)) return fail("The binary property list has a damaged count."), std::nullopt;
    const auto integerMarker = static_cast<unsigned char>(bytes_[at]);
    if ((integerMarker & 0xF0) != kInteger || (integerMarker & 0x0F) > 3) {
      fail("The binary property list has a damaged count.");
      return std::nullopt;
    }
    const std::size_t width = std::size_t{1} << (integerMarker & 0x0F);
    if (!fits(at + 1, width, 1)) {
      fail("The binary property list has a damaged count.");
      return std::nullopt;
    }
    const std::uint64_t value = bigEndian(at + 1, width);
    at += 1 + width;
    return value;
  }

  Value integer(std::size_t at, unsigned nibble) {
    if (nibble > 4)
      return fail("The binary property list has an integer of unknown width."), Value();
    const std::size_t width = std::size_t{1} << nibble;
    if (!fits(at, width, 1))
      return fail("The binary property list has a truncated integer."), Value();
    if (width < 8) return Value::integer(static_cast<std::int64_t>(bigEndian(at, width)));
    if (width == 8) return Value::integer(static_cast<std::int64_t>(bigEndian(at, 8)));
    const std::uint64_t high = bigEndian(at, 8);
    const std::uint64_t low = bigEndian(at + 8, 8);
    if (high == 0) {
      return low <= kInt64Max ? Value::integer(static_cast<std::int64_t>(low))
                              : Value::unsignedInteger(low);
    }
    if (high == ~std::uint64_t{0} && low > kInt64Max) {
      return Value::integer(static_cast<std::int64_t>(low));
    }
    return fail("The binary property list has an integer beyond 64 bits."), Value();
  }

  std::optional<double> real(std::size_t at, std::size_t width) {
    if (!fits(at, width, 1))
      return fail("The binary property list has a truncated number."), std::nullopt;
    const std::uint64_t bits = bigEndian(at, width);
    if (width == 4) {
      float single = 0;
      const auto bits32 = static_cast<std::uint32_t>(bits);
      std::memcpy(&single, &bits32, sizeof single);
      return single;
    }
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    return number;
  }

  // A string object's text as UTF-8, or nothing after an error.
  std::optional<std::string> text(std::uint64_t number) {
    const std::optional<std::size_t> begin = start(number);
    if (!begin) return std::nullopt;
    std::size_t at = *begin + 1;
    const auto marker = static_cast<unsigned char>(bytes_[*begin]);
    const unsigned kind = marker & 0xF0;
    if (kind != kAsciiString && kind != kUtf16String) {
      fail("The binary property list has a dictionary key that is not a string.");
      return std::nullopt;
    }
    return stringAt(marker, at);
  }

  std::optional<std::string> stringAt(unsigned char marker, std::size_t at) {
    const std::optional<std::uint64_t> length = count(marker, at);
    if (!length) return std::nullopt;
    if ((marker & 0xF0) == kAsciiString) {
      if (!fits(at, *length, 1)) {
        fail("The binary property list has a string that runs past its end.");
        return std::nullopt;
      }
      std::string_view raw = bytes_.substr(at, *length);
      if (isPlainAscii(raw)) return std::string(raw);
      if (raw.find('\0') != std::string_view::npos) {
        fail("The binary property list has a string with a NUL character, which cannot be read.");
        return std::nullopt;
      }
      if (isValidUtf8(raw)) return std::string(raw);
      std::string latin1;  // single bytes that are not UTF-8 are read as Latin-1
      for (char c : raw) appendUtf8(latin1, static_cast<unsigned char>(c));
      return latin1;
    }
    if (!fits(at, *length, 2)) {
      fail("The binary property list has a string that runs past its end.");
      return std::nullopt;
    }
    std::string out;
    out.reserve(*length);
    for (std::uint64_t i = 0; i < *length; ++i) {
      std::uint32_t unit = static_cast<std::uint32_t>(bigEndian(at + 2 * i, 2));
      if (unit == 0) {
        fail("The binary property list has a string with a NUL character, which cannot be read.");
        return std::nullopt;
      }
      if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < *length) {
        const auto next = static_cast<std::uint32_t>(bigEndian(at + 2 * (i + 1), 2));
        if (next >= 0xDC00 && next <= 0xDFFF) {
          unit = 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
          ++i;
        }
      }
      if (unit >= 0xD800 && unit <= 0xDFFF) unit = 0xFFFD;  // a lone surrogate
      appendUtf8(out, unit);
    }
    return out;
  }

  // The object's Value; nil for the null object and after an error.
  Value object(std::uint64_t number, int depth) {
    if (depth > kPropertyListMaximumDepth) {
      return fail("The property list is nested too deeply."), Value();
    }
    if (budget_ == 0) {
      return fail("The binary property list shares its objects too much to be read."), Value();
    }
    --budget_;
    const std::optional<std::size_t> begin = start(number);
    if (!begin) return {};
    const auto marker = static_cast<unsigned char>(bytes_[*begin]);
    std::size_t at = *begin + 1;
    switch (marker & 0xF0) {
      case 0x00:
        if (marker == kFalse || marker == kTrue) return Value::boolean(marker == kTrue);
        if (marker == 0x00) return {};
        break;
      case kInteger:
        return integer(at, marker & 0x0F);
      case kReal:
        if (marker == (kReal | 2) || marker == (kReal | 3)) {
          const std::optional<double> number = real(at, marker == (kReal | 2) ? 4 : 8);
          return number ? Value::real(*number) : Value();
        }
        break;
      case 0x30:
        if (marker == kDate) {
          const std::optional<double> seconds = real(at, 8);
          if (!seconds) return {};
          // What could not be written is not read either.
          if (!std::isfinite(*seconds)) {
            return fail("The binary property list has a date that is not a finite time."), Value();
          }
          return Value(Date::withTimeIntervalSinceReferenceDate(*seconds));
        }
        break;
      case kData: {
        const std::optional<std::uint64_t> length = count(marker, at);
        if (!length) return {};
        if (!fits(at, *length, 1))
          return fail("The binary property list has data that runs past its end."), Value();
        const auto* first = reinterpret_cast<const std::uint8_t*>(bytes_.data() + at);
        return Value::data(Value::Bytes(first, first + *length));
      }
      case kAsciiString:
      case kUtf16String: {
        std::optional<std::string> decoded = stringAt(marker, at);
        return decoded ? Value(std::move(*decoded)) : Value();
      }
      case kUid: {
        const std::size_t width = (marker & 0x0F) + 1;
        if (width > 8 || !fits(at, width, 1))
          return fail("The binary property list has a damaged UID."), Value();
        // A keyed-archiver reference, shown the way its XML form is commonly read.
        return Value(Value::Dictionary{{"CF$UID", Value::unsignedInteger(bigEndian(at, width))}});
      }
      case kArray: {
        const std::optional<std::uint64_t> size = count(marker, at);
        if (!size) return {};
        if (!fits(at, *size, referenceWidth_))
          return fail("The binary property list has an array that runs past its end."), Value();
        Value::Array elements;
        elements.reserve(*size);
        for (std::uint64_t i = 0; i < *size; ++i) {
          Value element = object(bigEndian(at + i * referenceWidth_, referenceWidth_), depth + 1);
          if (error_) return {};
          if (!element.isNil()) elements.push_back(std::move(element));
        }
        return Value(std::move(elements));
      }
      case kDictionary: {
        const std::optional<std::uint64_t> size = count(marker, at);
        if (!size) return {};
        if (*size > std::numeric_limits<std::uint64_t>::max() / 2 ||
            !fits(at, *size * 2, referenceWidth_)) {
          return fail("The binary property list has a dictionary that runs past its end."), Value();
        }
        Value::Dictionary entries;
        const std::size_t values = at + *size * referenceWidth_;
        for (std::uint64_t i = 0; i < *size; ++i) {
          std::optional<std::string> key =
              text(bigEndian(at + i * referenceWidth_, referenceWidth_));
          if (!key) return {};
          Value element =
              object(bigEndian(values + i * referenceWidth_, referenceWidth_), depth + 1);
          if (error_) return {};
          if (!element.isNil())
            entries.emplace_hint(entries.end(), std::move(*key), std::move(element));
        }
        return Value(std::move(entries));
      }
      default:
        break;
    }
    return fail("The binary property list holds an object of an unknown kind."), Value();
  }

  const std::string_view bytes_;
  unsigned offsetWidth_ = 0;
  unsigned referenceWidth_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t topObject_ = 0;
  std::uint64_t tableOffset_ = 0;
  std::uint64_t budget_ = 0;
  std::optional<Error> error_;
};

}  // namespace

bool isBinaryPropertyList(std::string_view bytes) { return bytes.starts_with(kMagic); }

Result<std::string> encodeBinaryPropertyList(const Value& value) {
  if (value.isNil()) {
    return propertyListEncodingError("A nil value cannot be encoded as a property list.");
  }
  Writer writer;
  return writer.finish(value);
}

Result<Value> decodeBinaryPropertyList(std::string_view bytes) {
  if (!isBinaryPropertyList(bytes)) {
    return propertyListDecodingError("The data is not a binary property list.");
  }
  Reader reader(bytes);
  return reader.read();
}

}  // namespace trovadex::foundation
