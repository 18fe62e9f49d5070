#pragma once

#include <memory>
#include <string>

#include "platform/bluetooth_central.h"
#include "platform/log.h"

namespace vicinix {

// A central on a raw HCI socket of adapter hci<index>: it runs the
// controller's LE scan itself and reports every advertisement, where BlueZ's
// D-Bus reports thin out repeats. Needs CAP_NET_RAW (or root), and takes the
// adapter's scanning over while it runs.
//
// States: poweredOn while the adapter is up; poweredOff while it is down or
// absent (it is watched for); unauthorized without CAP_NET_RAW; unsupported
// when the kernel, or this network namespace, has no Bluetooth sockets. A
// refusal is said once in the system log. Socket work runs on a thread of its own.
//
// A scan asked for lasts until stopScan(): across power cycles, controller
// resets, unplugging and other programs' scans (see HciScanSession), with one
// line in the system log each time it is taken up again.
std::unique_ptr<BluetoothCentral> makeHciSocketCentral(BluetoothCentralDelegate& delegate,
                                                       std::shared_ptr<DispatchQueue> queue,
                                                       int index, std::shared_ptr<Log> log);

// The state a failed socket call (its errno) leaves the central in, and the
// line that says why. With the kernel's Bluetooth present, a refused socket
// family means a network namespace other than the host's.
struct HciRefusal {
  BluetoothCentralState state;
  std::string line;
};
HciRefusal hciRefusalFor(int error, int index, bool kernelHasBluetooth = false);

}  // namespace vicinix
