// The result of work that can fail: a value, or the reason why there is none, in words for the user.
//
//   mar::Outcome<int> slots_of(std::string_view text) {
//     if (text.empty()) return mar::Failure{"no number of slots"};
//     return 16;
//   }
//   if (const auto slots = slots_of(text)) use(*slots); else complain(slots.reason());
//
// For our own programs. The product's functions return its status codes.
#pragma once

#include <concepts>
#include <string>
#include <utility>
#include <variant>

namespace mar {

struct Failure {
  std::string reason;
  int code = 0;  // where a caller must tell kinds of failure apart
};

// Outcome<> stands for work without a value; one made from nothing is a success.
template <typename Value = std::monostate>
class [[nodiscard]] Outcome {
 public:
  Outcome() requires std::same_as<Value, std::monostate>
  = default;
  Outcome(Value value) : content_(std::move(value)) {}
  Outcome(Failure failure) : content_(std::move(failure)) {}

  explicit operator bool() const { return content_.index() == 0; }

  // The value of a success; asking a failure throws std::bad_variant_access.
  const Value& operator*() const { return std::get<0>(content_); }
  Value& operator*() { return std::get<0>(content_); }
  const Value* operator->() const { return &**this; }

  // Empty and 0 for a success.
  std::string reason() const { return *this ? std::string() : std::get<1>(content_).reason; }
  int code() const { return *this ? 0 : std::get<1>(content_).code; }

 private:
  std::variant<Value, Failure> content_;
};

}  // namespace mar
