#include "platform/linux/hci_scan_session.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/linux/bluetooth_address.h"
#include "platform/linux/hci_socket_central.h"

namespace vicinix {
namespace {

using Packet = HciScanSession::Packet;

Packet commandComplete(uint16_t opcode, uint8_t status) {
  return {0x04,  0x0e, 0x04, 0x01, static_cast<uint8_t>(opcode), static_cast<uint8_t>(opcode >> 8),
          status};
}

// One legacy LE advertising report from C0:FF:EE:00:00:01 with `data`.
Packet advertisingReport(const std::vector<uint8_t>& data, int8_t rssi = -60) {
  Packet packet = {0x04, 0x3e, 0, 0x02, 0x01, 0x00, 0x01, 0x01, 0x00, 0x00, 0xee, 0xff, 0xc0};
  packet.push_back(static_cast<uint8_t>(data.size()));
  packet.insert(packet.end(), data.begin(), data.end());
  packet.push_back(static_cast<uint8_t>(rssi));
  packet[2] = static_cast<uint8_t>(packet.size() - 3);
  return packet;
}

// Flags; the Eddystone UUID; its service data.
const std::vector<uint8_t> kEddystoneAdvert = {0x02, 0x01, 0x06, 0x03, 0x03, 0xaa, 0xfe,
                                               0x05, 0x16, 0xaa, 0xfe, 0x10, 0x20};

class HciScanSessionTest : public ::testing::Test {
 protected:
  // Answers each command of `session` as `answer` says (0 by default) until
  // none is left; the commands sent.
  std::vector<Packet> runCommands(HciScanSession::Effects effects,
                                  std::function<uint8_t(const Packet&)> answer = nullptr,
                                  HciScanSession* other = nullptr) {
    HciScanSession& target = other ? *other : session;
    std::vector<Packet> sent;
    for (;;) {
      warnings.insert(warnings.end(), effects.warnings.begin(), effects.warnings.end());
      if (effects.commands.empty()) return sent;
      Packet command = sent.emplace_back(effects.commands.front());
      uint16_t opcode = static_cast<uint16_t>(command[1] | command[2] << 8);
      effects = target.received(commandComplete(opcode, answer ? answer(command) : 0));
    }
  }

  HciScanSession session{"hci0"};
  std::vector<std::string> warnings;
};

TEST_F(HciScanSessionTest, AScanIsOffThenParametersThenOnOneCommandAtATime) {
  session.adapterUp(true);
  auto effects = session.scan({"FEAA"}, true);
  ASSERT_EQ(effects.commands.size(), 1u) << "the next command waits for the answer";
  EXPECT_EQ(runCommands(effects),
            (std::vector<Packet>{
                {0x01, 0x0c, 0x20, 0x02, 0x00, 0x00},
                {0x01, 0x0b, 0x20, 0x07, 0x00, 0x60, 0x00, 0x60, 0x00, 0x00, 0x00},
                {0x01, 0x0c, 0x20, 0x02, 0x01, 0x00},
            }));
  EXPECT_TRUE(session.scanning());

  // Without duplicates the controller filters them.
  EXPECT_EQ(runCommands(session.scan({"FEAA"}, false)).back(),
            (Packet{0x01, 0x0c, 0x20, 0x02, 0x01, 0x01}));
  EXPECT_EQ(runCommands(session.stop()),
            (std::vector<Packet>{{0x01, 0x0c, 0x20, 0x02, 0x00, 0x00}}));
  EXPECT_FALSE(session.scanning());
  EXPECT_TRUE(warnings.empty());
}

TEST_F(HciScanSessionTest, AControllerRefusingTheLegacyCommandsGetsTheExtendedOnes) {
  session.adapterUp(true);
  auto refuseLegacy = [](const Packet& command) -> uint8_t {
    return command[1] < 0x40 ? 0x0c : 0x00;  // Command Disallowed
  };
  auto sent = runCommands(session.scan({"FEAA"}, true), refuseLegacy);
  ASSERT_EQ(sent.size(), 5u);
  EXPECT_EQ(std::vector<Packet>(sent.begin() + 2, sent.end()),
            (std::vector<Packet>{
                {0x01, 0x42, 0x20, 0x06, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
                {0x01, 0x41, 0x20, 0x08, 0x00, 0x00, 0x01, 0x00, 0x60, 0x00, 0x60, 0x00},
                {0x01, 0x42, 0x20, 0x06, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00},
            }));
  EXPECT_TRUE(session.scanning());
  EXPECT_EQ(session.disableCommand(), (Packet{0x01, 0x42, 0x20, 0x06, 0, 0, 0, 0, 0, 0}));

  // Refused both ways: said once, and no scan. Turning scanning off may fail.
  HciScanSession stubborn("hci0");
  stubborn.adapterUp(true);
  warnings.clear();
  runCommands(
      stubborn.scan({"FEAA"}, true),
      [](const Packet& command) -> uint8_t {
        return command[1] < 0x40 ? 0x01 : 0x12;  // Unknown Command; Invalid Parameters
      },
      &stubborn);
  EXPECT_FALSE(stubborn.scanning());
  EXPECT_EQ(warnings,
            std::vector<std::string>{
                "the controller of hci0 refused command 0x2041 (status 0x12); not scanning"});
}

TEST_F(HciScanSessionTest, AnswersToOtherCommandsDoNotMoveTheSequence) {
  session.adapterUp(true);
  session.scan({"FEAA"}, true);
  EXPECT_TRUE(session.received(commandComplete(0x1009, 0)).commands.empty());
  EXPECT_TRUE(session.awaitingReply());
  // A controller that never answers does not stall the scan for good.
  auto effects = session.commandTimedOut();
  EXPECT_EQ(effects.commands.size(), 1u);
  EXPECT_EQ(effects.warnings,
            std::vector<std::string>{"hci0 did not answer command 0x200c; carrying on"});
}

TEST_F(HciScanSessionTest, ReportsAdvertisementsOfTheWantedServiceWhileScanning) {
  EXPECT_TRUE(session.scan({"FEAA"}, true).commands.empty()) << "adapter down";
  EXPECT_TRUE(session.received(advertisingReport(kEddystoneAdvert)).discoveries.empty());
  session.adapterUp(true);
  runCommands(session.scan({"FEAA"}, true));

  auto effects = session.received(advertisingReport(kEddystoneAdvert, -61));
  ASSERT_EQ(effects.discoveries.size(), 1u);
  EXPECT_EQ(effects.discoveries[0],
            (CentralDiscovery{BluetoothAddress::parse("C0:FF:EE:00:00:01")->peripheralIdentifier(),
                              ServiceDataMap{{"FEAA", {0x10, 0x20}}}, -61}));
  // Listing the service without data for it.
  effects = session.received(advertisingReport({0x03, 0x03, 0xaa, 0xfe}));
  ASSERT_EQ(effects.discoveries.size(), 1u);
  EXPECT_EQ(effects.discoveries[0].serviceData, std::nullopt);
  // Another service only.
  EXPECT_TRUE(session.received(advertisingReport({0x03, 0x03, 0x0f, 0x18})).discoveries.empty());

  // Powering down stops the controller's scan.
  session.adapterUp(false);
  EXPECT_TRUE(session.received(advertisingReport(kEddystoneAdvert)).discoveries.empty());
}

// The scan asked for comes back, with the same arguments, whatever ended it
// on the controller, until stop(): power cycles, resets, other programs'
// scans, and a controller gone quiet.
TEST_F(HciScanSessionTest, AScanAskedForOutlivesEverythingButStop) {
  using namespace std::chrono_literals;
  const std::vector<Packet> kScanWithoutFilter = {
      {0x01, 0x0c, 0x20, 0x02, 0x00, 0x00},
      {0x01, 0x0b, 0x20, 0x07, 0x00, 0x60, 0x00, 0x60, 0x00, 0x00, 0x00},
      {0x01, 0x0c, 0x20, 0x02, 0x01, 0x00},
  };
  HciScanSession::Time t{};
  session.adapterUp(true);
  runCommands(session.scan({"FEAA"}, true));

  // Power off and on: nothing until the controller has settled.
  session.adapterUp(false);
  EXPECT_FALSE(session.scanning());
  EXPECT_TRUE(runCommands(session.tick(t += 5s)).empty()) << "still down";
  session.adapterUp(true);
  EXPECT_TRUE(runCommands(session.tick(t += 1s)).empty());
  EXPECT_EQ(session.nextTick(), t + HciScanSession::kSettle);
  EXPECT_TRUE(runCommands(session.tick(t + 999ms)).empty());
  EXPECT_EQ(runCommands(session.tick(t += HciScanSession::kSettle)), kScanWithoutFilter);
  EXPECT_EQ(warnings, std::vector<std::string>{"hci0 is up again; scanning again"});
  EXPECT_EQ(session.received(advertisingReport(kEddystoneAdvert)).discoveries.size(), 1u);
  EXPECT_TRUE(session.received(advertisingReport({0x03, 0x03, 0x0f, 0x18})).discoveries.empty())
      << "still only the service asked for";

  // A reset under a running adapter: the central looks again and finds it up.
  warnings.clear();
  EXPECT_TRUE(session.received(commandComplete(HciScanSession::kReset, 0)).controllerReset);
  EXPECT_FALSE(session.scanning());
  session.adapterUp(true);
  session.tick(t += 1s);
  EXPECT_EQ(runCommands(session.tick(t += HciScanSession::kSettle)), kScanWithoutFilter);

  // bluetoothd's discovery switches our scan off and sets its own: taken back
  // after a pause that grows while the fight goes on. Its refused commands
  // changed nothing.
  warnings.clear();
  EXPECT_TRUE(session.received(commandComplete(HciScanSession::kSetScanEnable, 0x0c)).commands.empty());
  EXPECT_TRUE(runCommands(session.tick(t += 1s)).empty());
  for (auto backoff : {1s, 2s, 4s}) {
    session.received(commandComplete(HciScanSession::kSetScanEnable, 0));
    session.received(commandComplete(HciScanSession::kSetScanParameters, 0));
    EXPECT_TRUE(runCommands(session.tick(t += 1s)).empty());
    EXPECT_EQ(runCommands(session.tick(t += backoff)), kScanWithoutFilter) << backoff.count();
  }
  EXPECT_EQ(warnings, (std::vector<std::string>{
                          "another program switched off or changed our scan on hci0 (command "
                          "0x200c); scanning again in 1 s",
                          "another program switched off or changed our scan on hci0 (command "
                          "0x200c); scanning again in 2 s",
                          "another program switched off or changed our scan on hci0 (command "
                          "0x200c); scanning again in 4 s",
                      }));
  // Left alone for long enough, the next fight starts with a short pause again.
  warnings.clear();
  t += HciScanSession::kBackoffForgotten;
  session.received(commandComplete(HciScanSession::kSetScanEnable, 0));
  EXPECT_TRUE(runCommands(session.tick(t)).empty());
  EXPECT_EQ(runCommands(session.tick(t += 1s)), kScanWithoutFilter);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_TRUE(warnings[0].ends_with("scanning again in 1 s")) << warnings[0];

  // Reports flowing, then none: switched off without our hearing of it.
  warnings.clear();
  for (int i = 0; i < 3; ++i) {
    session.received(advertisingReport(kEddystoneAdvert));
    EXPECT_TRUE(runCommands(session.tick(t += 1s)).empty());
  }
  EXPECT_TRUE(runCommands(session.tick(t + 9s)).empty());
  EXPECT_EQ(runCommands(session.tick(t += HciScanSession::kSilence)), kScanWithoutFilter);
  EXPECT_EQ(warnings, std::vector<std::string>{
                          "no advertisement on hci0 for 10 s after a steady flow; switching our "
                          "scan on again"});
  // Still nothing after that: nobody is there, and once is enough to find out.
  EXPECT_TRUE(runCommands(session.tick(t += 60s)).empty());

  // A filtered scan goes quiet by design.
  runCommands(session.scan({"FEAA"}, false));
  session.received(advertisingReport(kEddystoneAdvert));
  session.tick(t += 1s);
  EXPECT_TRUE(runCommands(session.tick(t += 60s)).empty());

  // Stopped: nothing brings it back.
  runCommands(session.stop());
  EXPECT_FALSE(session.wanted());
  session.adapterUp(false);
  session.adapterUp(true);
  session.received(commandComplete(HciScanSession::kSetScanEnable, 0));
  EXPECT_TRUE(runCommands(session.tick(t += 60s)).empty());
  EXPECT_EQ(session.nextTick(), std::nullopt);
}

TEST_F(HciScanSessionTest, MalformedEventsAreCountedAndSaidOnce) {
  session.adapterUp(true);
  runCommands(session.scan({"FEAA"}, true));
  Packet truncated = advertisingReport(kEddystoneAdvert);
  truncated.pop_back();
  Packet countless = {0x04, 0x3e, 0x02, 0x02, 0x05};
  std::vector<std::string> said;
  for (const Packet& packet : {truncated, countless, Packet{0x04, 0x0e, 0x01, 0x01}}) {
    auto effects = session.received(packet);
    EXPECT_TRUE(effects.discoveries.empty());
    said.insert(said.end(), effects.warnings.begin(), effects.warnings.end());
  }
  EXPECT_EQ(session.malformedEvents(), 3);
  EXPECT_EQ(said, std::vector<std::string>{"hci0 sent a malformed event; such events are skipped"});
  EXPECT_EQ(session.received(advertisingReport(kEddystoneAdvert)).discoveries.size(), 1u);
}

TEST(HciRefusal, NamesTheCapabilityOrTheMissingPiece) {
  struct Case {
    int error;
    BluetoothCentralState state;
    const char* says;
  };
  for (const Case& c : {
           Case{EPERM, BluetoothCentralState::unauthorized, "needs CAP_NET_RAW"},
           Case{EACCES, BluetoothCentralState::unauthorized, "sudo setcap cap_net_raw+ep"},
           Case{EAFNOSUPPORT, BluetoothCentralState::unsupported, "network namespace of its own"},
           Case{ENODEV, BluetoothCentralState::poweredOff, "no adapter hci3"},
           Case{EIO, BluetoothCentralState::unsupported, "failed"},
       }) {
    auto refusal = hciRefusalFor(c.error, 3);
    EXPECT_EQ(refusal.state, c.state) << c.error;
    EXPECT_NE(refusal.line.find(c.says), std::string::npos) << refusal.line;
    EXPECT_NE(refusal.line.find("hci3"), std::string::npos) << refusal.line;
  }
  // With Bluetooth in the kernel, only a namespace can be refusing the sockets.
  EXPECT_NE(hciRefusalFor(EAFNOSUPPORT, 0, true).line.find("PrivateNetwork=yes"),
            std::string::npos);
}

}  // namespace
}  // namespace vicinix
