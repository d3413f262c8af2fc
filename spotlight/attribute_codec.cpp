#include "spotlight/attribute_codec.hpp"

#include <cstdint>
#include <cstring>
#include <optional>

namespace trovadex::spotlight {
namespace {

using foundation::Value;

enum Tag : std::uint8_t {
  kString = 1,
  kBool,
  kInteger,
  kUnsigned,
  kReal,
  kDate,
  kData,
  kArray,
  kDictionary
};

void putVarint(std::string& out, std::uint64_t value) {
  while (value >= 0x80) {
    out.push_back(static_cast<char>((value & 0x7F) | 0x80));
    value >>= 7;
  }
  out.push_back(static_cast<char>(value));
}

void putBytes(std::string& out, std::string_view bytes) {
  putVarint(out, bytes.size());
  out.append(bytes);
}

void putDouble(std::string& out, double value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  for (int i = 0; i < 8; ++i) out.push_back(static_cast<char>((bits >> (8 * i)) & 0xFF));
}

void putValue(std::string& out, const Value& value);

void putDictionary(std::string& out, const Value::Dictionary& entries) {
  putVarint(out, entries.size());
  std::string encoded;
  for (const auto& [key, value] : entries) {
    putBytes(out, key);
    encoded.clear();
    putValue(encoded, value);
    putBytes(out, encoded);
  }
}

void putValue(std::string& out, const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Nil:
      break;
    case Value::Kind::String:
      out.push_back(kString);
      putBytes(out, *value.asString());
      break;
    case Value::Kind::Bool:
      out.push_back(kBool);
      out.push_back(value.boolValue() ? 1 : 0);
      break;
    case Value::Kind::Integer: {
      const std::int64_t n = value.integerValue();
      out.push_back(kInteger);
      putVarint(out, (static_cast<std::uint64_t>(n) << 1) ^ static_cast<std::uint64_t>(n >> 63));
      break;
    }
    case Value::Kind::Unsigned:
      out.push_back(kUnsigned);
      putVarint(out, value.unsignedLongLongValue());
      break;
    case Value::Kind::Real:
      out.push_back(kReal);
      putDouble(out, value.doubleValue());
      break;
    case Value::Kind::Date:
      out.push_back(kDate);
      putDouble(out, value.asDate()->timeIntervalSinceReferenceDate());
      break;
    case Value::Kind::Data: {
      out.push_back(kData);
      const Value::Bytes& bytes = *value.asData();
      putBytes(out, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
      break;
    }
    case Value::Kind::Array:
      out.push_back(kArray);
      putVarint(out, value.asArray()->size());
      for (const Value& element : *value.asArray()) putValue(out, element);
      break;
    case Value::Kind::Dictionary:
      out.push_back(kDictionary);
      putDictionary(out, *value.asDictionary());
      break;
  }
}

class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  bool ok() const { return ok_; }

  std::uint64_t varint() {
    std::uint64_t value = 0;
    for (int shift = 0; shift < 64; shift += 7) {
      if (pos_ >= bytes_.size()) return fail();
      const auto byte = static_cast<std::uint8_t>(bytes_[pos_++]);
      value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
      if ((byte & 0x80) == 0) return value;
    }
    return fail();
  }

  std::string_view bytes() {
    const std::uint64_t size = varint();
    if (!ok_ || size > bytes_.size() - pos_) {
      fail();
      return {};
    }
    std::string_view out = bytes_.substr(pos_, size);
    pos_ += size;
    return out;
  }

  double real() {
    if (bytes_.size() - pos_ < 8) {
      fail();
      return 0;
    }
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) {
      bits |= static_cast<std::uint64_t>(static_cast<std::uint8_t>(bytes_[pos_ + i])) << (8 * i);
    }
    pos_ += 8;
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }

  Value value(int depth) {
    if (depth > 64 || pos_ >= bytes_.size()) {
      fail();
      return {};
    }
    const auto tag = static_cast<std::uint8_t>(bytes_[pos_++]);
    switch (tag) {
      case kString:
        return Value(std::string(bytes()));
      case kBool:
        if (pos_ >= bytes_.size()) return fail(), Value();
        return Value::boolean(bytes_[pos_++] != 0);
      case kInteger: {
        const std::uint64_t z = varint();
        return Value::integer(static_cast<std::int64_t>((z >> 1) ^ (~(z & 1) + 1)));
      }
      case kUnsigned:
        return Value::unsignedInteger(varint());
      case kReal:
        return Value::real(real());
      case kDate:
        return Value(foundation::Date::withTimeIntervalSinceReferenceDate(real()));
      case kData: {
        std::string_view raw = bytes();
        return Value::data(Value::Bytes(raw.begin(), raw.end()));
      }
      case kArray: {
        const std::uint64_t count = varint();
        Value::Array elements;
        for (std::uint64_t i = 0; ok_ && i < count; ++i) elements.push_back(value(depth + 1));
        return Value(std::move(elements));
      }
      case kDictionary:
        return Value(dictionary(depth + 1, nullptr));
      default:
        fail();
        return {};
    }
  }

  Value::Dictionary dictionary(int depth, const std::function<bool(std::string_view)>* wanted) {
    Value::Dictionary out;
    const std::uint64_t count = varint();
    for (std::uint64_t i = 0; ok_ && i < count; ++i) {
      std::string_view key = bytes();
      std::string_view encoded = bytes();
      if (!ok_) break;
      if (wanted && !(*wanted)(key)) continue;
      Reader inner(encoded);
      Value decoded = inner.value(depth);
      if (!inner.ok()) return fail(), Value::Dictionary();
      out.emplace(std::string(key), std::move(decoded));
    }
    if (!ok_) return {};
    return out;
  }

 private:
  std::uint64_t fail() {
    ok_ = false;
    pos_ = bytes_.size();
    return 0;
  }

  std::string_view bytes_;
  std::size_t pos_ = 0;
  bool ok_ = true;
};

}  // namespace

std::string encodeAttributes(const Value::Dictionary& attributes) {
  std::string out;
  putDictionary(out, attributes);
  return out;
}

Value::Dictionary decodeAttributes(std::string_view bytes) {
  Reader reader(bytes);
  return reader.dictionary(0, nullptr);
}

Value::Dictionary decodeAttributes(std::string_view bytes,
                                   const std::function<bool(std::string_view)>& wanted) {
  Reader reader(bytes);
  return reader.dictionary(0, &wanted);
}

bool visitEncodedAttributes(
    std::string_view bytes,
    const std::function<bool(std::string_view key, std::string_view encodedValue)>& visit) {
  Reader reader(bytes);
  const std::uint64_t count = reader.varint();
  for (std::uint64_t i = 0; reader.ok() && i < count; ++i) {
    const std::string_view key = reader.bytes();
    const std::string_view encoded = reader.bytes();
    if (!reader.ok()) break;
    if (!visit(key, encoded)) return true;
  }
  return reader.ok();
}

Value decodeAttributeValue(std::string_view encodedValue) {
  Reader reader(encodedValue);
  Value decoded = reader.value(0);
  return reader.ok() ? decoded : Value();
}

}  // namespace trovadex::spotlight
