// `vicinix-host run`: the SDK as a real host runs it, headless or, with
// --gui, with the campaign list in a desktop window.

#include <fcntl.h>
#include <glib-unix.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <QApplication>
#include <algorithm>
#include <any>
#include <cerrno>
#include <cstring>
#include <iostream>

#include "base/json_value.h"
#include "base/notification_center.h"
#include "base/url.h"
#include "campaigns/vicinix_notification_client.h"
#include "commands.h"
#include "console_notification_center.h"
#include "core/vicinix.h"
#include "data/model/event_factory.h"
#include "exit_code.h"
#include "host_context.h"
#include "host_window.h"
#include "platform/linux/capture/capture_file_reader.h"
#include "platform/linux/capture/capture_replay_central.h"
#include "platform/linux/linux_application.h"
#include "platform/linux/linux_platform.h"
#include "replay_summary.h"
#include "ui/qt/qt_toolkit.h"

namespace vicinix::host {
namespace {

using namespace std::chrono_literals;

constexpr auto kUploadGrace = 5s;
constexpr auto kNotificationServerProbe = 3s;

// The first field a GraphQL request asks for ("sdkFetchPullNotifications"),
// or the picture a GET fetches.
std::string operationOf(const HttpRequest& request) {
  if (request.method == "GET") return "picture " + request.url;
  std::string query = JsonValue::parse(request.body)["query"].string();
  size_t start = query.find_first_not_of("{ \n", query.rfind("mutation", 0) == 0 ? 8 : 0);
  if (start == std::string::npos) return "?";
  size_t end = query.find_first_of("({ \n", start);
  return query.substr(start, end - start);
}

// "edd1ebeac04e5defa017/0123456789ab" out of a pull-notification query.
std::string beaconOf(const HttpRequest& request) {
  std::string query = JsonValue::parse(request.body)["query"].string();
  auto argument = [&query](const std::string& name) {
    size_t start = query.find(name + ":");
    if (start == std::string::npos) return std::string();
    start = query.find('"', start);
    if (start == std::string::npos) return std::string();
    ++start;
    return query.substr(start, query.find('"', start) - start);
  };
  return argument("beaconNamespace") + "/" + argument("beaconInstance");
}

void reportExchange(const HttpRequest& request, const HttpResponse& response) {
  std::string operation = operationOf(request);
  std::cout << "backend: " << operation;
  if (operation == "sdkFetchPullNotifications") std::cout << " for beacon " << beaconOf(request);
  std::cout << " -> ";
  if (!response.error.empty()) {
    std::cout << "error: " << response.error;
  } else {
    std::cout << "HTTP " << response.status;
    auto message = JsonValue::parse(response.body.value_or(""))["errors"][0]["message"];
    if (message.isString()) std::cout << " (" << message.string() << ")";
  }
  std::cout << std::endl;
}

// Whether a notification server answers on the session bus.
bool desktopAnswers(UserNotificationCenter& center) {
  auto answer = std::make_shared<std::atomic<int>>(-1);
  center.requestAuthorization(notificationAlert, [answer](bool granted) { *answer = granted; });
  runMainLoopUntil([&] { return *answer >= 0; }, kNotificationServerProbe);
  return *answer == 1;
}

struct SignalWatch {
  std::vector<guint> sources;
  ~SignalWatch() {
    for (guint source : sources) g_source_remove(source);
  }
  void on(int signal, std::function<void()> action) {
    auto* heap = new std::function<void()>(std::move(action));
    sources.push_back(g_unix_signal_add_full(
        G_PRIORITY_DEFAULT, signal,
        [](gpointer data) -> gboolean {
          (*static_cast<std::function<void()>*>(data))();
          return G_SOURCE_CONTINUE;
        },
        heap, [](gpointer data) { delete static_cast<std::function<void()>*>(data); }));
  }
};

// Takes the data directory for this process, whose exit (even a kill) gives
// it back: two hosts on one directory would send the same events twice and
// overwrite each other's settings. False, with the reason, when another host
// has it.
bool lockDataDirectory(const std::filesystem::path& dataDir, std::string& problem) {
  std::error_code ignored;
  std::filesystem::create_directories(dataDir, ignored);
  const std::filesystem::path file = dataDir / "vicinix-host.lock";
  int fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) {
    problem = "cannot open " + file.string() + ": " + std::strerror(errno);
    return false;
  }
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    char pid[32] = {};
    ssize_t got = pread(fd, pid, sizeof pid - 1, 0);
    std::string holder(pid, got > 0 ? static_cast<size_t>(got) : 0);
    holder = holder.substr(0, holder.find('\n'));
    problem = "another vicinix-host (pid " + (holder.empty() ? "unknown" : holder) +
              ") is running on " + dataDir.string();
    close(fd);
    return false;
  }
  std::string pid = std::to_string(getpid()) + "\n";
  if (ftruncate(fd, 0) != 0 || pwrite(fd, pid.data(), pid.size(), 0) < 0) {
    problem = "cannot write " + file.string() + ": " + std::strerror(errno);
    close(fd);
    return false;
  }
  return true;  // the descriptor stays open, and the lock held, until exit
}

}  // namespace

int runRun(const RunOptions& options) {
  // A service whose endpoint variable was left empty says so, rather than
  // running on with every request failing.
  if (!Url::parse(options.endpoint)) {
    std::cerr << "run: error: --endpoint \"" << options.endpoint << "\" is not a URL\n";
    return kExitUsage;
  }
  LinuxPlatformOptions platformOptions{.appData = options.dataDir, .appName = "vicinix-host"};
  std::filesystem::path capture;
  if (options.source.rfind("replay:", 0) == 0) {
    capture = options.source.substr(7);
    if (capture.empty() || options.replaySpeed <= 0) {
      std::cerr << "run: error: --source replay:FILE needs a file and a positive --replay-speed\n";
      return kExitUsage;
    }
  } else {
    std::string error;
    auto source = BluetoothSource::parse(options.source, error);
    if (!source) {
      std::cerr << "run: error: --source " << options.source << ": " << error << "\n";
      return kExitUsage;
    }
    platformOptions.bluetooth = *source;
  }

  if (!capture.empty()) {
    // Found out now rather than by a host that runs on without a radio.
    std::string error;
    if (!CaptureFileReader::open(capture, error)) {
      std::cerr << "run: error: cannot replay " << capture.string() << ": " << error << "\n";
      return kExitUsage;
    }
  }
  // Before anything is written: without a display there is nothing to run.
  std::unique_ptr<QApplication> desktop;
  if (options.gui) {
    std::string problem;
    desktop = openDesktop(problem);
    if (!desktop) {
      std::cerr << "run: error: " << problem << "\n";
      return kExitUsage;
    }
  }

  if (std::string problem; !lockDataDirectory(options.dataDir, problem)) {
    std::cerr << "run: error: " << problem << "\n";
    return kExitUsage;
  }

  Platform platform = makeLinuxPlatform(platformOptions);
  std::shared_ptr<QtToolkit> toolkit;
  if (desktop) platform.toolkit = toolkit = std::make_shared<QtToolkit>();
  auto application = std::dynamic_pointer_cast<LinuxApplication>(platform.application);
  auto progress = std::make_shared<CaptureReplayCentral::Progress>();
  if (!capture.empty()) {
    platform.bluetooth = CaptureReplayCentral::factory({.path = capture,
                                                        .clock = platform.clock,
                                                        .log = platform.log,
                                                        .speed = options.replaySpeed},
                                                       progress);
  }
  if (desktopAnswers(*platform.notifications)) {
    std::cout << "notifications: shown on the desktop" << std::endl;
  } else {
    std::cout << "notifications: no notification server on the session bus; printing them here"
              << std::endl;
    platform.notifications = std::make_shared<ConsoleNotificationCenter>(
        platform.queues->mainQueue(),
        NotificationPictureFolder::rootFor(platformOptions.appName, platform.directories.library));
  }
  auto notifications = platform.notifications;

  HostContext context(std::move(platform), options.endpoint, options.debug);
  context.http().setReporter(reportExchange);
  // A click is the user's answer to a notification: hand it to the SDK.
  notifications->setResponseHandler([](const NotificationResponse& response) {
    Sdk::current().mainQueue().async(
        [response] { VicinixNotificationClient::notificationTapped(response); });
  });
  NotificationCenter& center = NotificationCenter::defaultCenter();
  center.addObserver(
      Vicinix::bluetoothStatusChanged, [](const NotificationCenter::Notification& n) {
        const bool* on = std::any_cast<bool>(&n.object);
        std::cout << "bluetooth: " << (on && *on ? "scanning" : "not available") << std::endl;
      });
  center.addObserver(Vicinix::campaignRecieved, [](const auto&) {
    std::cout << "campaigns: received for a beacon" << std::endl;
  });
  center.addObserver(Vicinix::campaignsUpdated, [](const auto&) {
    std::cout << "campaigns: stored campaigns refreshed" << std::endl;
  });

  bool stopping = false;
  auto stop = [&stopping] {
    stopping = true;
    quitMainLoop();
  };
  SignalWatch unixSignals;
  for (int signal : {SIGINT, SIGTERM}) unixSignals.on(signal, stop);
  unixSignals.on(SIGUSR1, [] {
    std::cout << "lifecycle: background" << std::endl;
    Vicinix::applicationDidEnterBackground();
  });
  unixSignals.on(SIGUSR2, [] {
    std::cout << "lifecycle: active" << std::endl;
    Vicinix::applicationDidBecomeActive();
  });
  unixSignals.on(SIGHUP, [] {
    std::cout << "lifecycle: background fetch" << std::endl;
    Vicinix::performBackgroundFetch(
        [] { std::cout << "lifecycle: background fetch completed" << std::endl; });
  });

  // Where the key came from, never the key: this line ends up in the journal.
  std::cout << "run: starting with the key from " << options.applicationKeyOrigin << " against "
            << options.endpoint << std::endl;
  // Up before the SDK starts: making the window holds the main loop up for
  // a moment, and sightings queued meanwhile would overtake the
  // configuration reply that says which beacons count. Destroyed before the
  // context, whose toolkit its views draw with.
  std::unique_ptr<HostWindow> window;
  if (desktop && application) {
    window = std::make_unique<HostWindow>(*application, *toolkit, [&stop] {
      std::cout << "window: closed" << std::endl;
      stop();
    });
    window->show();
    std::cout << "window: showing the campaign list" << std::endl;
  }
  Vicinix::start(options.applicationKey);
  Vicinix::applicationDidBecomeActive();

  if (options.duration) {
    auto duration = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::duration<double>(*options.duration));
    auto end = std::chrono::steady_clock::now() + duration;
    context.runUntil([&] { return stopping || std::chrono::steady_clock::now() >= end; },
                     duration + 1s);
  } else {
    runMainLoop();
  }

  // A signal or the end of --duration closes the window as the user would.
  if (window) window->close();
  std::cout << "lifecycle: shutting down" << std::endl;
  Vicinix::applicationDidEnterBackground();
  // The store empties once the backend has taken the events; a refusal keeps
  // them for the next run. An upload deletes only what it read, so events
  // recorded meanwhile (a campaign reply still on its way) go in another one.
  EventFactory& events = EventFactory::shared();
  auto recordedBy = [&](Date read) {
    auto stored = events.allEvents();
    return stored && std::ranges::any_of(
                         *stored, [read](const Event& event) { return event.created <= read; });
  };
  bool drained = false;
  auto deadline = std::chrono::steady_clock::now() + kUploadGrace;
  while (!drained && std::chrono::steady_clock::now() < deadline) {
    Date read = context.sdk().clock().now();
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    context.runUntil([&] { return context.http().inFlight() == 0 && !recordedBy(read); }, left);
    // A database that cannot be read has nothing more to send.
    drained = events.count().value_or(0) == 0;
    if (!drained && !recordedBy(read)) Vicinix::logEvents(nullptr);
  }
  if (!capture.empty()) std::cerr << replaySummary(progress->counts()) << "\n";
  if (!drained) std::cerr << "run: warning: events not uploaded within 5 s; they stay stored\n";
  return kExitOk;
}

}  // namespace vicinix::host
