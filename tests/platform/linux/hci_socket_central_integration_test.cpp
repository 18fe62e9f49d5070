#include <gtest/gtest.h>

#include "platform/bluetooth_central_conformance.h"
#include "platform/fake/recording_log.h"
#include "platform/linux/glib_dispatch_queue.h"
#include "platform/linux/hci_socket_central.h"

namespace vicinix {
namespace {

using State = BluetoothCentralState;

// The real kernel with whatever it offers here: no Bluetooth sockets in a
// container, no CAP_NET_RAW for a user, or no adapter of that index as root.
// Index 63 keeps a machine's real adapters out of it.
TEST(HciSocketCentral, SettlesOnARefusalAndSaysWhyOnce) {
  auto log = std::make_shared<RecordingLog>();
  conformance::CentralRecorder recorder;
  auto central = makeHciSocketCentral(
      recorder, makeGlibDispatchQueueFactory()->makeSerialQueue("delegate"), 63, log);
  conformance::pollUntil([&] { return recorder.lastState().has_value(); });
  central->scanForPeripherals({"FEAA"}, true);  // nothing to scan with
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  central.reset();

  ASSERT_TRUE(recorder.lastState()) << "no state reported";
  State state = *recorder.lastState();
  if (state == State::poweredOn) GTEST_SKIP() << "this machine has an hci63";
  EXPECT_EQ(recorder.states().size(), 1u);
  ASSERT_EQ(log->systemLines().size(), 1u);
  std::string line = log->systemLines()[0];
  const char* expected = state == State::unauthorized ? "CAP_NET_RAW"
                         : state == State::poweredOff ? "no adapter hci63"
                                                      : "hci63";
  EXPECT_NE(line.find(expected), std::string::npos) << line;
  EXPECT_TRUE(recorder.discoveries().empty());
}

}  // namespace
}  // namespace vicinix
