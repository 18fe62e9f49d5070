#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bluetooth_central.h"
#include "platform/linux/bluez_central.h"
#include "platform/log.h"

namespace vicinix {

// Where a Linux host's live Bluetooth centrals come from: BlueZ over D-Bus
// (the default) or a raw HCI socket.
struct BluetoothSource {
  enum class Kind { bluez, hci };

  Kind kind = Kind::bluez;
  std::string adapter;  // bluez: "hci1"; "" takes the first powered adapter
  int hciIndex = 0;     // hci: the adapter hci<hciIndex>
  // bluez: seconds between discovery restarts, 0 for none.
  double refreshSeconds = BluezCentralOptions::kDefaultRefreshSeconds;

  // "bluez", "bluez:hci1", "hci", "hci:1" or "hci:hci1"; BlueZ sources may
  // add ",refresh=SECONDS" ("bluez:hci1,refresh=0"). Nothing for any other
  // text, with the reason in `error`.
  static std::optional<BluetoothSource> parse(std::string_view text, std::string& error);

  // Makes the centrals; they write their few warnings to `log`.
  BluetoothCentralFactory centralFactory(std::shared_ptr<Log> log) const;
};

}  // namespace vicinix
