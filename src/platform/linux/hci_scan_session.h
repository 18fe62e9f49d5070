#pragma once

#include <chrono>
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
//
// A scan once asked for is kept until stop(): the adapter going down, the
// controller being reset, or another program (bluetoothd's discovery, the
// kernel's passive scan for auto-connect) turning our scan off or rewriting its
// parameters all end with the scan turned on again. tick() keeps that time.
class HciScanSession {
 public:
  using Packet = std::vector<uint8_t>;  // packet-type indicator first, as the socket carries it
  using Time = std::chrono::steady_clock::time_point;

  // The controller runs its own start-up after power-on and a reset, and
  // bluetoothd follows with its own commands: ours come once that is over.
  static constexpr std::chrono::milliseconds kSettle{1000};
  // Advertisements flowing and then none for this long: our scan was most
  // likely switched off without an answer reaching us. Below the 15 s lost timer.
  static constexpr std::chrono::seconds kSilence{10};
  // Another program fighting over the scan gets it back after a growing
  // pause, so two scanners do not take turns at radio speed.
  static constexpr std::chrono::seconds kFirstBackoff{1};
  static constexpr std::chrono::seconds kLongestBackoff{64};
  static constexpr std::chrono::minutes kBackoffForgotten{5};

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

  // The adapter came up or went down. Down stops the controller's scan; a
  // scan asked for resumes kSettle after the adapter is up again.
  Effects adapterUp(bool up);
  // Starts, or restarts with new arguments, a passive scan; while the adapter
  // is down, once it is up again. Only 16-bit service UUIDs can be matched.
  Effects scan(const std::vector<std::string>& serviceUUIDs, bool allowDuplicates);
  // Forgets the scan asked for and turns the controller's off.
  Effects stop();
  // Resumes and watchdog restarts fall due here. Call it at least by
  // nextTick() and about once a second while a scan is wanted.
  Effects tick(Time now);
  std::optional<Time> nextTick() const;
  // One packet read from the socket. Malformed ones are counted and skipped.
  Effects received(std::span<const uint8_t> packet);
  // The command in flight got no answer: carry on without it.
  Effects commandTimedOut();

  bool awaitingReply() const { return inFlight_.has_value(); }
  // The controller scans for us, or is being asked to.
  bool scanning() const { return scanning_; }
  // A scan was asked for and not stopped, whether or not the controller runs it now.
  bool wanted() const { return wanted_; }
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
  bool matches(const AdvertisingData& data) const;
  bool isScanCommand(uint16_t opcode) const;
  void restart(Effects& effects, const std::string& why);

  const std::string adapterName_;
  bool up_ = false;
  bool scanning_ = false;
  bool wanted_ = false;
  bool allowDuplicates_ = false;
  bool extended_ = false;               // the controller refused the legacy commands
  std::set<std::string> serviceUUIDs_;  // short form; empty: everything
  std::vector<Step> queued_;
  std::optional<Step> inFlight_;
  int malformedEvents_ = 0;

  // Keeping the scan alive. What received() notices is turned into a time by tick().
  enum class Resume { None, AdapterUp, Rewritten };
  Resume resume_ = Resume::None;
  std::optional<Time> resumeAt_;
  uint16_t rewrittenBy_ = 0;
  uint64_t reports_ = 0;  // advertising events while our scan was on
  uint64_t reportsAtLastTick_ = 0;
  std::optional<Time> lastReportAt_;  // set while reports flow since our last enable
  std::chrono::seconds backoff_ = kFirstBackoff;
  std::optional<Time> lastRewrite_;
};

}  // namespace vicinix
