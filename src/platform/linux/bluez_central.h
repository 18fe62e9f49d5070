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
// D-Bus work runs on a thread of its own with its own GLib context; the
// constructor only starts it. Each central is its own D-Bus client, so its
// discovery session is its own as BlueZ counts them.
std::unique_ptr<BluetoothCentral> makeBluezCentral(BluetoothCentralDelegate& delegate,
                                                   std::shared_ptr<DispatchQueue> queue,
                                                   const std::string& adapter,
                                                   std::shared_ptr<Log> log);

}  // namespace vicinix
