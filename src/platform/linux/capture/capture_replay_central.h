#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/bluetooth_central.h"
#include "platform/clock.h"
#include "platform/log.h"

namespace vicinix {

// A Bluetooth central that plays back the LE advertisements of a capture file
// (btsnoop, pcap, pcapng) with their recorded timing, from the moment the scan
// starts. The file is read as it plays, so captures of any length replay in
// constant memory. Timing goes through the delegate queue's asyncAfter(): on
// virtual time a capture replays instantly and to the microsecond.
class CaptureReplayCentral final : public BluetoothCentral {
 public:
  struct Options {
    std::filesystem::path path;
    // The platform's clock: its uptime paces the replay, as the delegate
    // queue's delays run on it.
    std::shared_ptr<Clock> clock;
    std::shared_ptr<Log> log;
    double speed = 1.0;  // 2 plays twice as fast as recorded
  };

  struct Counts {
    uint64_t records = 0;             // every record of the file read so far
    uint64_t advertisingReports = 0;  // LE advertising reports, legacy and extended
    // Advertisements carrying Eddystone service data, by frame type.
    uint64_t uidFrames = 0, eidFrames = 0, telemetryFrames = 0, urlFrames = 0, unknownFrames = 0;
    // Advertising reports skipped because their record or event did not add
    // up; a record too damaged to tell what it held counts as one.
    uint64_t malformed = 0;
    bool finished = false;  // the end of the file (or of its readable part) was reached
    bool operator==(const Counts&) const = default;
  };

  // Where a replay's counts can be read from any thread while it runs and after.
  class Progress {
   public:
    Counts counts() const;

   private:
    friend class CaptureReplayCentral;
    mutable std::mutex mutex_;
    Counts counts_;
  };

  // Centrals that each replay `options.path` from the start. The last one
  // made reports into `progress`, when given.
  static BluetoothCentralFactory factory(Options options,
                                         std::shared_ptr<Progress> progress = nullptr);

  // poweredOn when the file could be opened; unsupported, with one line in
  // the system log saying why, when not.
  CaptureReplayCentral(Options options, BluetoothCentralDelegate& delegate,
                       std::shared_ptr<DispatchQueue> queue,
                       std::shared_ptr<Progress> progress = nullptr);
  ~CaptureReplayCentral() override;
  CaptureReplayCentral(const CaptureReplayCentral&) = delete;
  CaptureReplayCentral& operator=(const CaptureReplayCentral&) = delete;

  BluetoothCentralState state() const override;
  // The capture's clock starts with the first scan. Advertisements that come
  // due while no scan runs are passed over, as a radio would miss them.
  void scanForPeripherals(const std::vector<std::string>& serviceUUIDs,
                          bool allowDuplicates) override;
  void stopScan() override;

  Counts counts() const;

  struct Playback;

 private:
  std::shared_ptr<Playback> playback_;
};

}  // namespace vicinix
