#include "platform/linux/capture/advertising_report.h"

#include <algorithm>

namespace vicinix {

namespace {

constexpr uint8_t kLEMetaEvent = 0x3e;
constexpr uint8_t kLegacyReport = 0x02;
constexpr uint8_t kExtendedReport = 0x0d;

// Takes bytes off the front, refusing to go past the end.
class Cursor {
 public:
  explicit Cursor(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  bool empty() const { return bytes_.empty(); }
  bool take(size_t size, std::span<const uint8_t>& into) {
    if (size > bytes_.size()) return false;
    into = bytes_.first(size);
    bytes_ = bytes_.subspan(size);
    return true;
  }

 private:
  std::span<const uint8_t> bytes_;
};

void readAddress(std::span<const uint8_t> from, AdvertisingReport& report) {
  std::copy_n(from.begin(), report.address.size(), report.address.begin());
}

// Event type, address type, address, data length; data; RSSI.
bool readLegacy(Cursor& cursor, AdvertisingReport& report) {
  std::span<const uint8_t> head, data, rssi;
  if (!cursor.take(9, head) || !cursor.take(head[8], data) || !cursor.take(1, rssi)) return false;
  report.eventType = head[0];
  report.addressType = head[1];
  readAddress(head.subspan(2), report);
  report.data.assign(data.begin(), data.end());
  report.RSSI = static_cast<int8_t>(rssi[0]);
  return true;
}

// Event type (2), address type, address, primary and secondary PHY, SID, TX
// power, RSSI, periodic interval (2), direct address type and address, data
// length; data.
bool readExtended(Cursor& cursor, AdvertisingReport& report) {
  std::span<const uint8_t> head, data;
  if (!cursor.take(24, head) || !cursor.take(head[23], data)) return false;
  report.extended = true;
  report.eventType = static_cast<uint16_t>(head[0] | head[1] << 8);
  report.addressType = head[2];
  readAddress(head.subspan(3), report);
  report.RSSI = static_cast<int8_t>(head[13]);
  report.data.assign(data.begin(), data.end());
  return true;
}

}  // namespace

std::optional<std::vector<AdvertisingReport>> AdvertisingReport::fromEvent(
    std::span<const uint8_t> event) {
  std::vector<AdvertisingReport> reports;
  if (event.size() < 3 || event[0] != kLEMetaEvent) return reports;
  if (event[2] != kLegacyReport && event[2] != kExtendedReport) return reports;
  if (event[1] + 2u != event.size()) return std::nullopt;

  bool extended = event[2] == kExtendedReport;
  Cursor cursor(event.subspan(3));
  std::span<const uint8_t> count;
  if (!cursor.take(1, count)) return std::nullopt;
  for (unsigned i = 0; i < count[0]; ++i) {
    AdvertisingReport report;
    if (!(extended ? readExtended(cursor, report) : readLegacy(cursor, report)))
      return std::nullopt;
    reports.push_back(std::move(report));
  }
  // Left-over bytes mean the count and the lengths disagree.
  if (!cursor.empty()) return std::nullopt;
  return reports;
}

}  // namespace vicinix
