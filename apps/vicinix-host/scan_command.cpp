// vicinix-host scan: listens to a Bluetooth source for a while and tells,
// per beacon, how often the scanner would hear it and whether its silences
// are long enough for the 15 s lost timer to fire while it is in range.

#include <signal.h>

#include <chrono>
#include <iostream>
#include <thread>

#include "commands.h"
#include "exit_code.h"
#include "platform/fake/virtual_time.h"
#include "platform/linux/bluetooth_source.h"
#include "platform/linux/capture/capture_file_reader.h"
#include "platform/linux/capture/capture_replay_central.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/standard_stream_log.h"
#include "platform/linux/system_clock.h"
#include "scan_tally.h"

namespace vicinix::host {
namespace {

// Gaps are measured on the monotonic clock: an NTP step during a field check
// must not look like a beacon falling silent.
volatile sig_atomic_t gInterrupted = 0;

// A capture on virtual time: the whole scan takes as long as reading it.
int scanCapture(const std::filesystem::path& file, double seconds) {
  std::string error;
  if (!CaptureFileReader::open(file, error)) {
    std::cerr << "scan: error: cannot replay " << file.string() << ": " << error << "\n";
    return kExitUsage;
  }
  auto time = VirtualTime::create(Date{});
  auto tally = std::make_shared<ScanTally>(time);
  auto factory = CaptureReplayCentral::factory(
      {.path = file, .clock = time, .log = makeStandardStreamLog(), .speed = 1.0});
  {
    auto central = factory(*tally, time->makeSerialQueue("scan"));
    time->advance(std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds)));
  }
  tally->print(std::cout);
  return kExitOk;
}

}  // namespace

int runScan(const ScanOptions& options) {
  if (!(options.seconds > 0)) {
    std::cerr << "scan: error: --seconds must be positive\n";
    return kExitUsage;
  }
  if (options.source.rfind("replay:", 0) == 0)
    return scanCapture(options.source.substr(7), options.seconds);
  std::string error;
  auto source = BluetoothSource::parse(options.source, error);
  if (!source) {
    std::cerr << "scan: error: --source " << options.source << ": " << error << "\n";
    return kExitUsage;
  }
  auto tally = std::make_shared<ScanTally>(makeSystemClock());
  auto queue = makeGlibDispatchQueueFactory()->makeSerialQueue("scan");
  auto central = source->centralFactory(makeStandardStreamLog())(*tally, queue);
  std::cout << "scan: listening to " << options.source << " for " << options.seconds
            << " s (Ctrl-C ends it early)" << std::endl;
  signal(SIGINT, [](int) { gInterrupted = 1; });
  auto end = std::chrono::steady_clock::now() +
             std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                 std::chrono::duration<double>(options.seconds));
  while (!gInterrupted && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  central.reset();
  queue->sync([] {});
  tally->print(std::cout);
  return kExitOk;
}

}  // namespace vicinix::host
