// What a controller sends the raw HCI central is outside bytes: any stream of
// packets must end in discoveries, skipped events or commands, never a fault.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "platform/linux/hci_scan_session.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vicinix::HciScanSession session("hci0");
  session.adapterUp(true);
  session.scan({"FEAA"}, true);
  std::span<const uint8_t> rest(data, size);
  // Each packet is a length byte and that many bytes; a length with the top
  // bit set also restarts or stops the scan, to reach the command states.
  while (!rest.empty()) {
    size_t length = rest[0] & 0x7f;
    bool toggle = (rest[0] & 0x80) != 0;
    rest = rest.subspan(1);
    length = length < rest.size() ? length : rest.size();
    auto effects = session.received(rest.first(length));
    if (!effects.discoveries.empty() && !session.scanning()) abort();
    rest = rest.subspan(length);
    if (toggle) session.scanning() ? (void)session.stop() : (void)session.scan({}, false);
  }
  return 0;
}
