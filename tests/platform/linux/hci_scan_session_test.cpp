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

  // Powering down ends the scan; so does a controller reset seen on the way.
  session.adapterUp(false);
  EXPECT_TRUE(session.received(advertisingReport(kEddystoneAdvert)).discoveries.empty());
  session.adapterUp(true);
  runCommands(session.scan({}, true));
  EXPECT_TRUE(session.received(commandComplete(HciScanSession::kReset, 0)).controllerReset);
  EXPECT_FALSE(session.scanning());
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
           Case{EAFNOSUPPORT, BluetoothCentralState::unsupported, "no Bluetooth sockets"},
           Case{ENODEV, BluetoothCentralState::poweredOff, "no adapter hci3"},
           Case{EIO, BluetoothCentralState::unsupported, "failed"},
       }) {
    auto refusal = hciRefusalFor(c.error, 3);
    EXPECT_EQ(refusal.state, c.state) << c.error;
    EXPECT_NE(refusal.line.find(c.says), std::string::npos) << refusal.line;
    EXPECT_NE(refusal.line.find("hci3"), std::string::npos) << refusal.line;
  }
}

}  // namespace
}  // namespace vicinix
