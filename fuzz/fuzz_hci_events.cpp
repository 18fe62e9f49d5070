// What a controller sends the raw HCI central is outside bytes: any stream of
// packets must end in discoveries, skipped events or commands, never a fault,
// and the scan kept alive must never send a command to an adapter that is down.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "platform/linux/hci_scan_session.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vicinix::HciScanSession session("hci0");
  session.adapterUp(true);
  session.scan({"FEAA"}, true);
  bool up = true;
  vicinix::HciScanSession::Time now{};
  std::span<const uint8_t> rest(data, size);
  // Each packet is a control byte and up to 63 bytes. The control byte's top
  // bit restarts or stops the scan, the next one takes the adapter down or up,
  // to reach the command and resume states; its length also moves time on by
  // that many half seconds.
  while (!rest.empty()) {
    size_t length = rest[0] & 0x3f;
    bool toggleScan = (rest[0] & 0x80) != 0;
    bool toggleAdapter = (rest[0] & 0x40) != 0;
    rest = rest.subspan(1);
    length = length < rest.size() ? length : rest.size();
    auto effects = session.received(rest.first(length));
    if (!effects.discoveries.empty() && !session.scanning()) abort();
    if (effects.controllerReset) session.adapterUp(up);
    rest = rest.subspan(length);
    if (toggleScan) session.wanted() ? (void)session.stop() : (void)session.scan({}, false);
    if (toggleAdapter) session.adapterUp(up = !up);
    now += std::chrono::milliseconds(500) * length;
    auto ticked = session.tick(now);
    if (!ticked.commands.empty() && !up) abort();
    if (auto next = session.nextTick(); next && !up) abort();
  }
  return 0;
}
