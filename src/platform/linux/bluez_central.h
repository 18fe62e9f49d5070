#pragma once

#include <memory>
#include <string>

#include "platform/bluetooth_central.h"
#include "platform/log.h"

namespace vicinix {

// A central on BlueZ (org.bluez) over the system D-Bus; DBUS_SYSTEM_BUS_ADDRESS
// is honoured. It uses the adapter named `adapter` ("hci1"), or with "" the
// first powered one, and follows adapters coming, going and changing power.
//
// States: poweredOn while the adapter is powered; poweredOff while it is not,
// or while there is no such adapter or no bluetoothd (both can change at any
// time); unsupported when the system bus cannot be reached. unknown until the
// first answer, which is reported like every later change.
//
// A requested scan is kept through power cycles, adapters leaving and
// returning and bluetoothd restarts: discovery starts again whenever an
// adapter is usable. A discovery call that fails is tried again after 1, 2,
// 4 ... up to 30 s; a discovery that BlueZ ends on its own (Discovering
// false) is started again.
//
// D-Bus work runs on a thread of its own with its own GLib context; the
// constructor only starts it. Each central is its own D-Bus client, so its
// discovery session is its own as BlueZ counts them.
struct BluezCentralOptions {
  std::string adapter;  // "hci1"; "" takes the first powered adapter
  // Seconds between restarts of a running discovery, 0 for none. Kernel
  // discovery keeps the controller's duplicate filter on for ~10 s windows,
  // in which a beacon is passed on about once; a restart opens a new window.
  // A beacon that rotates UID, URL and TLM frames is passed on with whichever
  // it sent first, so its UID needs several windows per lost timeout: against
  // a replayed crowd 1 s left 3 of 137 false losses, 2 s 33, while 5 s and
  // 10 s did next to nothing. A restart costs the controller milliseconds.
  double refreshSeconds = kDefaultRefreshSeconds;

  static constexpr double kDefaultRefreshSeconds = 1;
};

std::unique_ptr<BluetoothCentral> makeBluezCentral(BluetoothCentralDelegate& delegate,
                                                   std::shared_ptr<DispatchQueue> queue,
                                                   BluezCentralOptions options,
                                                   std::shared_ptr<Log> log);

}  // namespace vicinix
