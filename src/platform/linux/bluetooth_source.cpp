#include "platform/linux/bluetooth_source.h"

#include <algorithm>
#include <charconv>

#include "platform/linux/bluez_central.h"
#include "platform/linux/hci_socket_central.h"

namespace vicinix {
namespace {

constexpr const char* kUsage = "use bluez, bluez:ADAPTER, hci or hci:INDEX";
// Restarting more often than this would spend more time stopping than scanning.
constexpr double kShortestRefresh = 0.5;

// BlueZ names adapters by an object path element.
bool isAdapterName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
}

bool parseBluezOptions(std::string_view options, BluetoothSource& source, std::string& error) {
  while (!options.empty()) {
    auto comma = options.find(',');
    std::string_view option = options.substr(0, comma);
    options = comma == std::string_view::npos ? "" : options.substr(comma + 1);
    if (!option.starts_with("refresh=")) {
      error = "unknown BlueZ option \"" + std::string(option) + "\": use refresh=SECONDS";
      return false;
    }
    std::string_view value = option.substr(8);
    double seconds = -1;
    auto [end, failure] = std::from_chars(value.data(), value.data() + value.size(), seconds);
    if (value.empty() || failure != std::errc() || end != value.data() + value.size() ||
        !(seconds == 0 || (seconds >= kShortestRefresh && seconds <= 3600))) {
      error = "\"" + std::string(value) +
              "\" is no refresh period: seconds from 0.5 to 3600, or 0 for none";
      return false;
    }
    source.refreshSeconds = seconds;
  }
  return true;
}

}  // namespace

std::optional<BluetoothSource> BluetoothSource::parse(std::string_view text, std::string& error) {
  std::optional<std::string_view> options;
  if (auto comma = text.find(','); comma != std::string_view::npos) {
    options = text.substr(comma + 1);
    text = text.substr(0, comma);
  }
  auto colon = text.find(':');
  std::string_view kind = text.substr(0, colon);
  std::optional<std::string_view> argument;
  if (colon != std::string_view::npos) argument = text.substr(colon + 1);

  BluetoothSource source;
  if (kind == "bluez") {
    if (argument && !isAdapterName(*argument)) {
      error = "\"" + std::string(*argument) + "\" is no BlueZ adapter name (like hci0)";
      return std::nullopt;
    }
    source.adapter = argument.value_or("");
    if (options && !parseBluezOptions(*options, source, error)) return std::nullopt;
    return source;
  }
  if (kind == "hci") {
    source.kind = Kind::hci;
    if (options) {
      error = "the HCI source takes no options (\"" + std::string(*options) + "\")";
      return std::nullopt;
    }
    if (!argument) return source;
    std::string_view digits = argument->starts_with("hci") ? argument->substr(3) : *argument;
    auto [end, failure] =
        std::from_chars(digits.data(), digits.data() + digits.size(), source.hciIndex);
    if (digits.empty() || failure != std::errc() || end != digits.data() + digits.size() ||
        source.hciIndex < 0 || source.hciIndex > 0xfffe) {
      error = "\"" + std::string(*argument) + "\" is no HCI adapter index (like 0 or hci0)";
      return std::nullopt;
    }
    return source;
  }
  error = "unknown Bluetooth source \"" + std::string(text) + "\": " + kUsage;
  return std::nullopt;
}

BluetoothCentralFactory BluetoothSource::centralFactory(std::shared_ptr<Log> log) const {
  switch (kind) {
    case Kind::hci:
      return [index = hciIndex, log](BluetoothCentralDelegate& delegate,
                                     std::shared_ptr<DispatchQueue> queue) {
        return makeHciSocketCentral(delegate, std::move(queue), index, log);
      };
    case Kind::bluez:
      break;
  }
  return [options = BluezCentralOptions{adapter, refreshSeconds}, log](
             BluetoothCentralDelegate& delegate, std::shared_ptr<DispatchQueue> queue) {
    return makeBluezCentral(delegate, std::move(queue), options, log);
  };
}

}  // namespace vicinix
