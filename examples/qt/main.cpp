// A Qt6 Widgets host: the campaign list in the host's own window, campaigns
// opening in a sheet over it, notifications on the desktop.
//
//   vicinix-qt APP_KEY [ENDPOINT]

#include <QApplication>
#include <QMainWindow>
#include <iostream>
#include <string>

#include <vicinix/linux_host.h>
#include <vicinix/qt/campaign_list_widget.h>
#include <vicinix/qt/qt_host.h>
#include <vicinix/vicinix.h>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: " << argv[0] << " APP_KEY [ENDPOINT]\n";
    return 2;
  }
  vicinix::QtHost::prepareApplication();
  QApplication application(argc, argv);

  vicinix::LinuxHostOptions options;
  options.appName = "vicinix-qt";
  if (argc > 2) options.endpoint = argv[2];
  std::string error;
  auto host = vicinix::QtHost::create(options, error);
  if (!host) {
    std::cerr << "vicinix-qt: " << error << "\n";
    return 2;
  }

  QMainWindow window;
  auto* list = new vicinix::CampaignListWidget(&window);
  window.setCentralWidget(list);
  window.setWindowTitle(list->title());
  window.show();

  vicinix::Vicinix::start(argv[1]);
  vicinix::Vicinix::applicationDidBecomeActive();
  const int status = application.exec();

  delete window.takeCentralWidget();
  const vicinix::ShutdownReport report = host->shutdown();
  std::cout << "events " << (report.uploaded ? "uploaded" : "not uploaded") << ", "
            << report.eventsStored << " stored\n";
  return status;
}
