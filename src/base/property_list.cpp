#include "base/property_list.h"

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace vicinix {
namespace {

// Seconds between 1970-01-01 and 2001-01-01, the property-list epoch.
constexpr int64_t kPlistEpochOffset = 978307200;
// Deeper documents are refused rather than risking the stack on hostile input.
constexpr int kMaxDepth = 256;

struct NodeDeleter {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, NodeDeleter>;

struct MallocDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

Node toNode(const PlistValue& value, int depth);

Node dictionaryNode(const PlistValue::Dictionary& dictionary, int depth) {
  Node node(plist_new_dict());
  for (const auto& [key, member] : dictionary) {
    Node child = toNode(member, depth + 1);
    if (!child) return nullptr;
    plist_dict_set_item(node.get(), key.c_str(), child.release());
  }
  return node;
}

Node arrayNode(const PlistValue::Array& array, int depth) {
  Node node(plist_new_array());
  for (const auto& member : array) {
    Node child = toNode(member, depth + 1);
    if (!child) return nullptr;
    plist_array_append_item(node.get(), child.release());
  }
  return node;
}

Node toNode(const PlistValue& value, int depth) {
  if (depth > kMaxDepth) return nullptr;
  if (auto* text = value.get<std::string>()) return Node(plist_new_string(text->c_str()));
  // libplist keeps integers unsigned; negatives survive as their two's complement.
  if (auto* number = value.get<int64_t>())
    return Node(plist_new_uint(static_cast<uint64_t>(*number)));
  if (auto* real = value.get<double>()) return Node(plist_new_real(*real));
  if (auto* flag = value.get<bool>()) return Node(plist_new_bool(*flag ? 1 : 0));
  if (auto* when = value.get<Date>()) {
    auto micros =
        std::chrono::duration_cast<std::chrono::microseconds>(when->time_since_epoch()).count();
    int64_t seconds = micros / 1000000 - kPlistEpochOffset;
    int64_t fraction = micros % 1000000;
    if (fraction < 0) {
      fraction += 1000000;
      seconds -= 1;
    }
    if (seconds < std::numeric_limits<int32_t>::min() ||
        seconds > std::numeric_limits<int32_t>::max()) {
      return nullptr;
    }
    return Node(plist_new_date(static_cast<int32_t>(seconds), static_cast<int32_t>(fraction)));
  }
  if (auto* data = value.get<PlistValue::Data>()) {
    return Node(plist_new_data(reinterpret_cast<const char*>(data->data()), data->size()));
  }
  if (auto* array = value.get<PlistValue::Array>()) return arrayNode(*array, depth);
  if (auto* dictionary = value.get<PlistValue::Dictionary>())
    return dictionaryNode(*dictionary, depth);
  return nullptr;
}

std::optional<PlistValue> fromNode(plist_t node, int depth) {
  if (node == nullptr || depth > kMaxDepth) return std::nullopt;
  switch (plist_get_node_type(node)) {
    case PLIST_STRING: {
      // By pointer and length: the copying getter asserts on an embedded NUL,
      // which a damaged file can hold.
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return PlistValue(text ? std::string(text, length) : std::string());
    }
    case PLIST_UINT: {
      uint64_t number = 0;
      plist_get_uint_val(node, &number);
      return PlistValue(static_cast<int64_t>(number));
    }
    case PLIST_REAL: {
      double real = 0;
      plist_get_real_val(node, &real);
      return PlistValue(real);
    }
    case PLIST_BOOLEAN: {
      uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return PlistValue(flag != 0);
    }
    case PLIST_DATE: {
      int32_t seconds = 0, micros = 0;
      plist_get_date_val(node, &seconds, &micros);
      auto sinceEpoch = std::chrono::seconds(int64_t{seconds} + kPlistEpochOffset) +
                        std::chrono::microseconds(micros);
      return PlistValue(Date(std::chrono::duration_cast<Date::duration>(sinceEpoch)));
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const auto* begin = reinterpret_cast<const uint8_t*>(plist_get_data_ptr(node, &length));
      return PlistValue(PlistValue::Data(begin, begin + (begin ? length : 0)));
    }
    case PLIST_ARRAY: {
      PlistValue::Array array;
      uint32_t size = plist_array_get_size(node);
      for (uint32_t i = 0; i < size; ++i) {
        auto member = fromNode(plist_array_get_item(node, i), depth + 1);
        if (!member) return std::nullopt;
        array.push_back(std::move(*member));
      }
      return PlistValue(std::move(array));
    }
    case PLIST_DICT: {
      PlistValue::Dictionary dictionary;
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      std::unique_ptr<void, MallocDeleter> ownedIterator(iterator);
      for (;;) {
        char* rawKey = nullptr;
        plist_t child = nullptr;
        plist_dict_next_item(node, iterator, &rawKey, &child);
        std::unique_ptr<char, MallocDeleter> key(rawKey);
        if (child == nullptr) break;
        auto member = fromNode(child, depth + 1);
        if (!member) return std::nullopt;
        dictionary.insert_or_assign(key ? key.get() : "", std::move(*member));
      }
      return PlistValue(std::move(dictionary));
    }
    default:
      // Keys, UIDs and unknown nodes have no place in our documents.
      return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> PropertyList::toXml(const PlistValue& value) {
  Node node = toNode(value, 0);
  if (!node) return std::nullopt;
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(node.get(), &xml, &length);
  if (xml == nullptr) return std::nullopt;
  std::string text(xml, length);
  plist_to_xml_free(xml);
  return text;
}

std::optional<PlistValue> PropertyList::fromBytes(std::string_view bytes) {
  if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) return std::nullopt;
  plist_t raw = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &raw);
  Node node(raw);
  if (!node) return std::nullopt;
  return fromNode(node.get(), 0);
}

}  // namespace vicinix
