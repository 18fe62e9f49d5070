#include "base/json_value.h"

#include <cmath>
#include <limits>

namespace vicinix {
namespace {

const nlohmann::json& nullNode() {
  static const nlohmann::json null;
  return null;
}

// Whether arrays and objects nest deeper than `limit` anywhere in `bytes`.
// Only brackets outside strings count; malformed text is left to the parser.
bool nestsDeeperThan(std::string_view bytes, int limit) {
  int depth = 0;
  bool inString = false;
  for (size_t i = 0; i < bytes.size(); ++i) {
    char c = bytes[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > limit) return true;
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

}  // namespace

JsonValue::JsonValue() : node_(&nullNode()) {}

JsonValue::JsonValue(nlohmann::json document)
    : root_(std::make_shared<const nlohmann::json>(std::move(document))), node_(root_.get()) {}

JsonValue::JsonValue(std::shared_ptr<const nlohmann::json> root, const nlohmann::json* node)
    : root_(std::move(root)), node_(node) {}

JsonValue JsonValue::parse(std::string_view bytes) {
  if (nestsDeeperThan(bytes, kMaxDepth)) return JsonValue();
  auto document = nlohmann::json::parse(bytes, nullptr, /*allow_exceptions=*/false);
  if (document.is_discarded()) return JsonValue();
  return JsonValue(std::move(document));
}

JsonValue JsonValue::operator[](std::string_view key) const {
  if (!node_->is_object()) return JsonValue();
  auto found = node_->find(key);
  if (found == node_->end()) return JsonValue();
  return JsonValue(root_, &*found);
}

JsonValue JsonValue::operator[](size_t index) const {
  if (!node_->is_array() || index >= node_->size()) return JsonValue();
  return JsonValue(root_, &(*node_)[index]);
}

std::string JsonValue::string() const {
  return node_->is_string() ? node_->get_ref<const std::string&>() : std::string();
}

int64_t JsonValue::int64() const {
  if (node_->is_number_unsigned()) {
    uint64_t value = node_->get<uint64_t>();
    return value > uint64_t(std::numeric_limits<int64_t>::max())
               ? std::numeric_limits<int64_t>::max()
               : static_cast<int64_t>(value);
  }
  if (node_->is_number_integer()) return node_->get<int64_t>();
  if (node_->is_number_float()) {
    double value = node_->get<double>();
    if (std::isnan(value)) return 0;
    if (value >= 9.2233720368547758e18) return std::numeric_limits<int64_t>::max();
    if (value <= -9.2233720368547758e18) return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(value);
  }
  return 0;
}

double JsonValue::number() const {
  return node_->is_number() ? node_->get<double>() : 0.0;
}

bool JsonValue::boolean() const {
  return node_->is_boolean() && node_->get<bool>();
}

std::vector<JsonValue> JsonValue::array() const {
  std::vector<JsonValue> items;
  if (!node_->is_array()) return items;
  items.reserve(node_->size());
  for (const auto& item : *node_) items.push_back(JsonValue(root_, &item));
  return items;
}

}  // namespace vicinix
