// Error and Result: failures as values at module edges.
//
// Error mirrors the platform's error object: a domain, a signed code and a readable description.
// It is what a search query's completion receives and what a failed file operation reports.
// Result<T> carries either a T or an Error. Plain values: safe to copy between threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace trovadex::foundation {

struct Error {
  std::string domain;
  std::int64_t code = 0;
  std::string localizedDescription;

  // "Error Domain=<domain> Code=<code> "<description>"", the way %@ shows an error.
  std::string description() const;
  friend bool operator==(const Error&, const Error&) = default;
};

template <typename T>
class Result {
 public:
  Result(T value) : state_(std::move(value)) {}      // NOLINT(google-explicit-constructor)
  Result(Error error) : state_(std::move(error)) {}  // NOLINT(google-explicit-constructor)

  bool ok() const { return state_.index() == 0; }
  explicit operator bool() const { return ok(); }
  const T& value() const& { return std::get<0>(state_); }
  T& value() & { return std::get<0>(state_); }
  T&& value() && { return std::get<0>(std::move(state_)); }
  const Error& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, Error> state_;
};

// A Result with nothing to return on success.
class Status {
 public:
  Status() = default;
  Status(Error error) : error_(std::move(error)) {}  // NOLINT(google-explicit-constructor)
  bool ok() const { return !error_.has_value(); }
  explicit operator bool() const { return ok(); }
  const Error& error() const { return *error_; }

 private:
  std::optional<Error> error_;
};

}  // namespace trovadex::foundation
