#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace vicinix {

// A backend reply, read leniently: a missing key or a value of another kind
// reads as "" for a string, 0 for a number, false for a Boolean and an empty
// list for an array. Copies are cheap; they share the parsed document.
class JsonValue {
 public:
  // Deeper nesting than any reply the backend sends; printing or walking a
  // document recurses once per level, so deeper ones are refused outright.
  static constexpr int kMaxDepth = 256;

  JsonValue();  // null
  explicit JsonValue(nlohmann::json document);
  // The parsed bytes, or a null value when they are not JSON or are nested
  // deeper than kMaxDepth.
  static JsonValue parse(std::string_view bytes);

  JsonValue operator[](std::string_view key) const;
  JsonValue operator[](size_t index) const;

  bool isNull() const { return node_->is_null(); }
  bool isObject() const { return node_->is_object(); }
  bool isArray() const { return node_->is_array(); }
  bool isString() const { return node_->is_string(); }
  bool isNumber() const { return node_->is_number(); }
  bool isBool() const { return node_->is_boolean(); }

  std::string string() const;
  // A number truncated toward zero, saturating outside the 64-bit range.
  int64_t int64() const;
  double number() const;
  bool boolean() const;
  std::vector<JsonValue> array() const;

  const nlohmann::json& raw() const { return *node_; }

 private:
  JsonValue(std::shared_ptr<const nlohmann::json> root, const nlohmann::json* node);

  std::shared_ptr<const nlohmann::json> root_;
  const nlohmann::json* node_;
};

}  // namespace vicinix
