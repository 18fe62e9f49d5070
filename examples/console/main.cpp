// A headless Vicinix host: scans for beacons, shows their campaigns as desktop
// notifications and uploads its events until Ctrl-C or SIGTERM.
//
//   vicinix-console APP_KEY [ENDPOINT [BLUETOOTH_SOURCE]]

#include <cstdio>
#include <iostream>
#include <string>

#include <vicinix/linux_host.h>
#include <vicinix/notification_center.h>
#include <vicinix/vicinix.h>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: " << argv[0] << " APP_KEY [ENDPOINT [BLUETOOTH_SOURCE]]\n";
    return 2;
  }
  vicinix::LinuxHostOptions options;
  options.appName = "vicinix-console";
  if (argc > 2) options.endpoint = argv[2];
  if (argc > 3) options.bluetoothSource = argv[3];

  std::string error;
  auto host = vicinix::LinuxHost::create(options, error);
  if (!host) {
    std::cerr << "vicinix-console: " << error << "\n";
    return 2;
  }
  vicinix::NotificationCenter::defaultCenter().addObserver(
      vicinix::Vicinix::campaignRecieved, [](const auto&) { std::puts("campaigns received"); });

  vicinix::Vicinix::start(argv[1]);
  vicinix::Vicinix::applicationDidBecomeActive();
  host->run();

  vicinix::ShutdownReport report = host->shutdown();
  std::printf("events %s, %lld stored\n", report.uploaded ? "uploaded" : "not uploaded",
              static_cast<long long>(report.eventsStored));
  return report.uploaded ? 0 : 1;
}
