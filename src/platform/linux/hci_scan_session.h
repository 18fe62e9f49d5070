#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/bluetooth_central.h"
#include "platform/linux/central_delegate_link.h"

namespace vicinix {

struct AdvertisingData;

// What the raw HCI central says to the controller and makes of its answers,
// without the socket: the commands of a scan, sent one at a time, and which
// events are advertisements to report. The socket side feeds it everything it
// reads and carries out what it hands back.
class HciScanSession {
 public:
  using Packet = std::vector<uint8_t>;  // packet-type indicator first, as the socket carries it

  struct Effects {
    std::vector<Packet> commands;  // to write now, in order
    std::vector<CentralDiscovery> discoveries;
    std::vector<std::string> warnings;
    bool controllerReset = false;  // seen to be reset: whatever it was doing for us is gone
  };

  static constexpr uint16_t kSetScanParameters = 0x200b;
  static constexpr uint16_t kSetScanEnable = 0x200c;
  static constexpr uint16_t kSetExtendedScanParameters = 0x2041;
  static constexpr uint16_t kSetExtendedScanEnable = 0x2042;
  static constexpr uint16_t kReset = 0x0c03;

  explicit HciScanSession(std::string adapterName) : adapterName_(std::move(adapterName)) {}

  // The adapter came up or went down; going down ends the scan.
  Effects adapterUp(bool up);
  // Starts, or restarts with new arguments, a passive scan. Ignored while the
  // adapter is down. Only 16-bit service UUIDs can be matched.
  Effects scan(const std::vector<std::string>& serviceUUIDs, bool allowDuplicates);
  Effects stop();
  // One packet read from the socket. Malformed ones are counted and skipped.
  Effects received(std::span<const uint8_t> packet);
  // The command in flight got no answer: carry on without it.
  Effects commandTimedOut();

  bool awaitingReply() const { return inFlight_.has_value(); }
  // The controller scans for us, or is being asked to.
  bool scanning() const { return scanning_; }
  int malformedEvents() const { return malformedEvents_; }

  // The command that ends our scan, in the command set the scan used.
  Packet disableCommand() const;
  static Packet command(uint16_t opcode, std::vector<uint8_t> parameters);

 private:
  struct Step {
    Packet packet;
    bool mayFail = false;  // turning scanning off when it was not on
  };

  void queueScanCommands(Effects& effects);
  void sendNext(Effects& effects);
  void finished(uint16_t opcode, uint8_t status, Effects& effects);
  void advertisingEvent(std::span<const uint8_t> event, Effects& effects);
  void malformed(Effects& effects);
  bool wanted(const AdvertisingData& data) const;

  const std::string adapterName_;
  bool up_ = false;
  bool scanning_ = false;
  bool allowDuplicates_ = false;
  bool extended_ = false;               // the controller refused the legacy commands
  std::set<std::string> serviceUUIDs_;  // short form; empty: everything
  std::vector<Step> queued_;
  std::optional<Step> inFlight_;
  int malformedEvents_ = 0;
};

}  // namespace vicinix
