#include "platform/linux/hci_scan_session.h"

#include <algorithm>
#include <cstdio>

#include "platform/linux/bluetooth_address.h"
#include "platform/linux/capture/advertising_data.h"
#include "platform/linux/capture/advertising_report.h"
#include "platform/linux/service_uuid.h"

namespace vicinix {
namespace {

constexpr uint8_t kCommandPacket = 0x01;
constexpr uint8_t kEventPacket = 0x04;
constexpr uint8_t kCommandComplete = 0x0e;
constexpr uint8_t kCommandStatus = 0x0f;
constexpr uint8_t kLEMetaEvent = 0x3e;
constexpr uint8_t kUnknownCommand = 0x01;
constexpr uint8_t kCommandDisallowed = 0x0c;

// Passive, with the window as long as the interval: the radio listens all
// the time and sends nothing. In 0.625 ms units.
constexpr uint16_t kScanInterval = 0x0060;
constexpr uint16_t kScanWindow = 0x0060;

uint8_t low(uint16_t value) {
  return static_cast<uint8_t>(value);
}
uint8_t high(uint16_t value) {
  return static_cast<uint8_t>(value >> 8);
}

uint16_t opcodeOf(const HciScanSession::Packet& packet) {
  return static_cast<uint16_t>(packet[1] | packet[2] << 8);
}

std::string hex(unsigned value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, value);
  return text;
}

}  // namespace

HciScanSession::Packet HciScanSession::command(uint16_t opcode, std::vector<uint8_t> parameters) {
  Packet packet(4 + parameters.size());
  packet[0] = kCommandPacket;
  packet[1] = low(opcode);
  packet[2] = high(opcode);
  packet[3] = static_cast<uint8_t>(parameters.size());
  std::copy(parameters.begin(), parameters.end(), packet.begin() + 4);
  return packet;
}

HciScanSession::Packet HciScanSession::disableCommand() const {
  return extended_ ? command(kSetExtendedScanEnable, {0, 0, 0, 0, 0, 0})
                   : command(kSetScanEnable, {0, 0});
}

HciScanSession::Effects HciScanSession::adapterUp(bool up) {
  if (up != up_ && !up) {
    // The kernel resets the controller on the way down: nothing of ours is left.
    scanning_ = false;
    queued_.clear();
    inFlight_.reset();
    if (wanted_) {
      resume_ = Resume::AdapterUp;
      resumeAt_.reset();  // the settle is counted from the adapter being up
    }
  }
  up_ = up;
  return {};
}

HciScanSession::Effects HciScanSession::scan(const std::vector<std::string>& serviceUUIDs,
                                             bool allowDuplicates) {
  Effects effects;
  std::set<std::string> wanted;
  for (const auto& text : serviceUUIDs) {
    auto uuid = ServiceUUID::parse(text);
    if (uuid && uuid->uuid16()) {
      wanted.insert(uuid->shortText());
    } else {
      effects.warnings.push_back("raw HCI scanning matches 16-bit service UUIDs only; \"" + text +
                                 "\" is left out");
    }
  }
  // Scanning for everything instead would be the opposite of what was asked.
  if (!serviceUUIDs.empty() && wanted.empty()) return effects;
  serviceUUIDs_ = std::move(wanted);
  allowDuplicates_ = allowDuplicates;
  wanted_ = true;
  if (up_) {
    restart(effects, {});
  } else {
    // Asked a moment after the adapter went: taken up when it is back.
    scanning_ = false;
    resume_ = Resume::AdapterUp;
    resumeAt_.reset();
  }
  return effects;
}

HciScanSession::Effects HciScanSession::stop() {
  Effects effects;
  wanted_ = false;
  resume_ = Resume::None;
  resumeAt_.reset();
  if (!scanning_) return effects;
  scanning_ = false;
  queued_ = {Step{disableCommand(), true}};
  if (!inFlight_) sendNext(effects);
  return effects;
}

// Scanning goes off first: its parameters cannot change while it runs, and
// bluetoothd may have left it on.
void HciScanSession::queueScanCommands(Effects& effects) {
  uint8_t filterDuplicates = allowDuplicates_ ? 0 : 1;
  if (extended_) {
    queued_ = {
        {command(kSetExtendedScanEnable, {0, 0, 0, 0, 0, 0}), true},
        // Own public address, accept all, the 1M PHY only, passive.
        {command(kSetExtendedScanParameters,
                 {0, 0, 0x01, 0, low(kScanInterval), high(kScanInterval), low(kScanWindow),
                  high(kScanWindow)})},
        {command(kSetExtendedScanEnable, {1, filterDuplicates, 0, 0, 0, 0})},
    };
  } else {
    queued_ = {
        {command(kSetScanEnable, {0, 0}), true},
        {command(kSetScanParameters, {0, low(kScanInterval), high(kScanInterval), low(kScanWindow),
                                      high(kScanWindow), 0, 0})},
        {command(kSetScanEnable, {1, filterDuplicates})},
    };
  }
  if (!inFlight_) sendNext(effects);
}

void HciScanSession::sendNext(Effects& effects) {
  if (queued_.empty()) return;
  inFlight_ = std::move(queued_.front());
  queued_.erase(queued_.begin());
  effects.commands.push_back(inFlight_->packet);
}

bool HciScanSession::isScanCommand(uint16_t opcode) const {
  return opcode == kSetScanEnable || opcode == kSetScanParameters ||
         opcode == kSetExtendedScanEnable || opcode == kSetExtendedScanParameters;
}

void HciScanSession::finished(uint16_t opcode, uint8_t status, Effects& effects) {
  // Answers to bluetoothd's and the kernel's own commands reach this socket
  // too. One that touched the scan while ours ran has switched ours off or
  // replaced its parameters (the controller keeps one scan).
  if (!inFlight_ || opcodeOf(inFlight_->packet) != opcode) {
    if (status == 0 && scanning_ && wanted_ && resume_ == Resume::None && isScanCommand(opcode)) {
      resume_ = Resume::Rewritten;
      rewrittenBy_ = opcode;
    }
    return;
  }
  Step step = std::move(*inFlight_);
  inFlight_.reset();
  if (status != 0 && !step.mayFail) {
    if (!extended_ && scanning_ && (status == kUnknownCommand || status == kCommandDisallowed)) {
      // Once the kernel has used the extended commands, the controller
      // refuses the legacy ones; controllers without them do the opposite.
      extended_ = true;
      queueScanCommands(effects);
      return;
    }
    effects.warnings.push_back("the controller of " + adapterName_ + " refused command " +
                               hex(opcode, 4) + " (status " + hex(status, 2) + "); not scanning");
    scanning_ = false;
    queued_.clear();
  }
  sendNext(effects);
}

HciScanSession::Effects HciScanSession::commandTimedOut() {
  Effects effects;
  if (!inFlight_) return effects;
  effects.warnings.push_back(adapterName_ + " did not answer command " +
                             hex(opcodeOf(inFlight_->packet), 4) + "; carrying on");
  inFlight_.reset();
  sendNext(effects);
  return effects;
}

HciScanSession::Effects HciScanSession::received(std::span<const uint8_t> packet) {
  Effects effects;
  if (packet.empty() || packet[0] != kEventPacket) return effects;
  auto event = packet.subspan(1);
  if (event.size() < 2 || event[1] + 2u != event.size()) {
    malformed(effects);
    return effects;
  }
  auto parameters = event.subspan(2);
  switch (event[0]) {
    case kCommandComplete:  // commands left, opcode, return parameters (status first)
      if (parameters.size() < 3) {
        malformed(effects);
        break;
      }
      if (uint16_t opcode = static_cast<uint16_t>(parameters[1] | parameters[2] << 8);
          opcode == kReset) {
        // The kernel resets the controller when the adapter is powered on
        // again, perhaps between two looks at whether it is up.
        adapterUp(false);
        effects.controllerReset = true;
      } else {
        finished(opcode, parameters.size() > 3 ? parameters[3] : 0, effects);
      }
      break;
    case kCommandStatus:  // status, commands left, opcode
      if (parameters.size() < 4) {
        malformed(effects);
        break;
      }
      if (parameters[0] != 0)
        finished(static_cast<uint16_t>(parameters[2] | parameters[3] << 8), parameters[0], effects);
      break;
    case kLEMetaEvent:
      if (scanning_) advertisingEvent(event, effects);
      break;
    default:
      break;
  }
  return effects;
}

void HciScanSession::advertisingEvent(std::span<const uint8_t> event, Effects& effects) {
  ++reports_;
  auto reports = AdvertisingReport::fromEvent(event);
  if (!reports) return malformed(effects);
  for (auto& report : *reports) {
    // An extended report's data status is 0 only when its data is whole.
    if (report.extended && ((report.eventType >> 5) & 0x3) != 0) continue;
    auto data = AdvertisingData::parse(report.data);
    if (!matches(data)) continue;
    CentralDiscovery discovery{
        .peripheral = BluetoothAddress::fromLittleEndian(report.address).peripheralIdentifier(),
        .serviceData = std::nullopt,
        .RSSI = report.RSSI};
    if (!data.serviceData.empty()) discovery.serviceData = std::move(data.serviceData);
    effects.discoveries.push_back(std::move(discovery));
  }
}

void HciScanSession::restart(Effects& effects, const std::string& why) {
  if (!why.empty()) effects.warnings.push_back(why);
  resume_ = Resume::None;
  resumeAt_.reset();
  lastReportAt_.reset();
  reportsAtLastTick_ = reports_;
  scanning_ = true;
  queueScanCommands(effects);
}

HciScanSession::Effects HciScanSession::tick(Time now) {
  Effects effects;
  if (!wanted_ || !up_) return effects;
  if (resume_ != Resume::None) {
    if (!resumeAt_) {
      if (resume_ == Resume::AdapterUp) {
        resumeAt_ = now + kSettle;
      } else {
        bool recent = lastRewrite_ && now - *lastRewrite_ < kBackoffForgotten;
        backoff_ = recent ? std::min(backoff_ * 2, std::chrono::seconds(kLongestBackoff))
                          : std::chrono::seconds(kFirstBackoff);
        lastRewrite_ = now;
        resumeAt_ = now + backoff_;
        effects.warnings.push_back("another program switched off or changed our scan on " +
                                   adapterName_ + " (command " + hex(rewrittenBy_, 4) +
                                   "); scanning again in " + std::to_string(backoff_.count()) +
                                   " s");
      }
    }
    if (now >= *resumeAt_) {
      restart(effects, resume_ == Resume::AdapterUp ? adapterName_ + " is up again; scanning again"
                                                    : std::string());
    }
    return effects;
  }
  // Without duplicates the controller goes quiet on its own once every
  // device has been reported: silence says nothing then.
  if (!scanning_ || !allowDuplicates_ || inFlight_ || !queued_.empty()) return effects;
  if (reports_ != reportsAtLastTick_) {
    reportsAtLastTick_ = reports_;
    lastReportAt_ = now;
  } else if (lastReportAt_ && now - *lastReportAt_ >= kSilence) {
    restart(effects, "no advertisement on " + adapterName_ + " for " +
                         std::to_string(kSilence.count()) +
                         " s after a steady flow; switching our scan on again");
  }
  return effects;
}

std::optional<HciScanSession::Time> HciScanSession::nextTick() const {
  if (!wanted_ || !up_) return std::nullopt;
  if (resume_ != Resume::None) return resumeAt_;
  if (lastReportAt_) return *lastReportAt_ + kSilence;
  return std::nullopt;
}

void HciScanSession::malformed(Effects& effects) {
  // Once is enough to say what goes on; malformedEvents() has the count.
  if (malformedEvents_++ == 0)
    effects.warnings.push_back(adapterName_ + " sent a malformed event; such events are skipped");
}

bool HciScanSession::matches(const AdvertisingData& data) const {
  if (serviceUUIDs_.empty()) return true;
  for (uint16_t uuid : data.serviceUUIDs)
    if (serviceUUIDs_.contains(ServiceUUID::from16(uuid).shortText())) return true;
  for (const auto& [uuid, bytes] : data.serviceData)
    if (serviceUUIDs_.contains(uuid)) return true;
  return false;
}

}  // namespace vicinix
