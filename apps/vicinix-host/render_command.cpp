#include <QApplication>
#include <QImage>
#include <QPixmap>
#include <QWidget>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <regex>

#include "commands.h"
#include "data/model/campaign_factory.h"
#include "exit_code.h"
#include "host_context.h"
#include "platform/linux/linux_platform.h"
#include "qt_messages.h"
#include "ui/qt/qt_toolkit.h"
#include "ui/qt/qt_view_core.h"
#include "ui/vicinix_appearance.h"
#include "ui/vicinix_info_view.h"
#include "ui/vicinix_list_view_controller.h"
#include "ui/vicinix_navigation_view_controller.h"
#include "ui/vicinix_page_view_controller.h"
#include "ui/vicinix_web_view_controller.h"

namespace vicinix::host {
namespace {

using namespace std::chrono_literals;

// How long the pictures of a page or the list may take to arrive before it is drawn without them.
constexpr auto kPictureWait = 20s;

struct Notice {
  const char* picture;
  const char* text;
};

// The notices as the screens word them.
std::optional<Notice> noticeOf(const std::string& kind) {
  if (kind == "error") return Notice{"campaignError", "Kampaň se nepodařilo načíst."};
  if (kind == "update") {
    return Notice{"updateState", "Aktualizujte prosím aplikaci pro obnovu všech funkcí"};
  }
  if (kind == "empty") return Notice{"noCampaignsIcon", "Žádné kampaně"};
  return std::nullopt;
}

// A screen holding only an info view, on the theme's background.
class NoticeScreen final : public ToolkitViewController {
 public:
  explicit NoticeScreen(Notice notice) : notice_(notice) {}

  void viewDidLoad() override {
    Toolkit& kit = *toolkit();
    view()->setBackgroundColor(VicinixAppearance::backgroundColor());
    VicinixInfoView info(kit, topDistance(), kit.resourceImage(notice_.picture), notice_.text);
    view()->addSubview(info.view());
  }
  std::string description() const override { return std::string("notice ") + notice_.picture; }

 private:
  Notice notice_;
};

std::optional<Size> parseSize(const std::string& text) {
  std::smatch match;
  if (!std::regex_match(text, match, std::regex(R"((\d{1,5})x(\d{1,5}))"))) return std::nullopt;
  Size size{std::stod(match[1]), std::stod(match[2])};
  if (size.width < 1 || size.height < 1) return std::nullopt;
  return size;
}

// Adds to each drawn row of a table the distance from its subtitle's bottom
// to the row's (27 under one line, 12 under two), which the row's frames
// only imply, for layout snapshots to read at a glance.
void noteSubtitleBottomConstants(nlohmann::ordered_json& view) {
  if (view.contains("rows")) {
    for (auto& row : view["rows"]) {
      if (!row.contains("subtitle") || !row["subtitle"].contains("frame")) continue;
      const auto& subtitle = row["subtitle"]["frame"];
      row["subtitleBottomConstant"] = row["frame"]["height"].get<double>() -
                                      subtitle["y"].get<double>() -
                                      subtitle["height"].get<double>();
    }
  }
  if (view.contains("subviews")) {
    for (auto& subview : view["subviews"]) noteSubtitleBottomConstants(subview);
  }
}

int fail(const std::string& message) {
  std::cerr << "render: error: " << message << "\n";
  return kExitUsage;
}

bool isOneColour(const QImage& image) {
  QRgb first = image.pixel(0, 0);
  for (int y = 0; y < image.height(); ++y) {
    const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
    for (int x = 0; x < image.width(); ++x) {
      if (line[x] != first) return false;
    }
  }
  return true;
}

// Waits for the web page to load and then to be painted: the engine paints
// a moment after it reports the load, and a grab before that is blank.
// Returns 0 once it shows, or the exit code of the failure.
int waitForWebPage(HostContext& context, VicinixWebViewController& screen, QWidget* root,
                   int waitSeconds) {
  const std::chrono::seconds wait(waitSeconds);
  const auto deadline = std::chrono::steady_clock::now() + wait;
  WebView& view = *screen.webView;
  if (view.url().empty()) {
    std::cerr << "render: error: the campaign's address is not a URL, so nothing was loaded\n";
    return kExitRemoteFailed;
  }
  std::optional<bool> loaded;
  view.setLoadFinished([&](bool ok) { loaded = ok; });
  if (!context.runUntil([&] { return loaded.has_value(); }, wait)) {
    std::cerr << "render: error: " << view.url() << " did not load within " << waitSeconds
              << " s\n";
    return kExitRemoteTimedOut;
  }
  if (!*loaded) {
    std::cerr << "render: error: " << view.url() << " failed to load\n";
    return kExitRemoteFailed;
  }
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      deadline - std::chrono::steady_clock::now());
  // The engine first paints the page's background alone, and pictures and
  // fonts arrive after the load: the page shows once its area holds more
  // than one colour and has stopped changing.
  QWidget* page = QtViewCore::of(view)->widget();
  const QRect area(page->mapTo(root, QPoint(0, 0)), page->size());
  QImage last;
  auto lastGrab = std::chrono::steady_clock::now();
  auto painted = [&] {
    auto now = std::chrono::steady_clock::now();
    if (!last.isNull() && now - lastGrab < 150ms) return false;
    lastGrab = now;
    QImage image = root->grab(area).toImage().convertToFormat(QImage::Format_RGB32);
    bool settled = !image.isNull() && image == last;
    last = image;
    return settled && !isOneColour(image);
  };
  if (!context.runUntil(painted, std::max(left, std::chrono::milliseconds(1)))) {
    std::cerr << "render: error: " << view.url() << " loaded but painted nothing within "
              << waitSeconds << " s\n";
    return kExitRemoteTimedOut;
  }
  std::cout << "render: loaded " << view.url() << " \"" << view.title() << "\"\n";
  return kExitOk;
}

}  // namespace

int runRender(const RenderOptions& options) {
  std::optional<Size> size = parseSize(options.size);
  if (!size) return fail("--size takes WIDTHxHEIGHT in points, such as 390x844");
  if (!options.png && !options.layout)
    return fail("nothing to write: give --png, --layout or both");
  std::optional<Notice> notice;
  if (options.screen == "info" && !(notice = noticeOf(options.kind))) {
    return fail("--kind is error, update or empty");
  }

  // Drawn offscreen, so no display is needed and no window flashes up.
  setenv("QT_QPA_PLATFORM", "offscreen", 1);
  QtToolkit::prepareApplication();
  quietenQtMessages();
  static int argc = 1;
  static char name[] = "vicinix-host";
  static char* argv[] = {name, nullptr};
  QApplication application(argc, argv);

  Platform platform = makeLinuxPlatform({.appData = options.dataDir});
  platform.toolkit = std::make_shared<QtToolkit>(*size);
  HostContext context(std::move(platform), "", false);

  // What the modal container shows: the screen under its bar with "Close".
  std::shared_ptr<ToolkitViewController> screen;
  std::shared_ptr<VicinixWebViewController> webScreen;
  if (notice) {
    screen = std::make_shared<NoticeScreen>(*notice);
  } else if (options.screen == "list") {
    screen = std::make_shared<VicinixListViewController>();
  } else {
    auto campaign = CampaignFactory::shared().find(options.campaignId);
    if (!campaign) {
      return fail("there is no campaign " + options.campaignId + " in " + options.dataDir.string());
    }
    const bool web = options.screen == "web";
    if (campaign->type != (web ? "WEB_PAGE" : "PAGE")) {
      return fail("campaign " + campaign->id + " is of type " + campaign->type + ", which has no " +
                  (web ? "web page; only WEB_PAGE" : "page; only PAGE") + " campaigns have one");
    }
    if (web) {
      webScreen = std::make_shared<VicinixWebViewController>();
      webScreen->campaign = *campaign;
      screen = webScreen;
    } else {
      auto page = std::make_shared<VicinixPageViewController>();
      page->campaign = *campaign;
      screen = page;
    }
  }
  // The list as a host shows it, the others as the SDK presents them.
  auto container = std::make_shared<VicinixNavigationViewController>(screen);
  if (options.screen != "list") container->addDismissButton();
  const std::shared_ptr<View>& root = container->view();
  QWidget* widget = QtViewCore::of(*root)->widget();
  // Appearing reads the list's rows; for the other screens, loading has
  // drawn everything, and appearing would only clear the badge.
  if (options.screen == "list") container->viewWillAppear(false);
  widget->show();

  // Pictures that are not cached yet are fetched as the page draws.
  if (!context.runUntil([&] { return context.http().inFlight() == 0; }, kPictureWait)) {
    std::cerr << "render: warning: pictures still loading after " << kPictureWait.count()
              << " s are drawn as placeholders\n";
  }
  QApplication::processEvents();
  if (webScreen) {
    if (int failed = waitForWebPage(context, *webScreen, widget, options.pageWait)) return failed;
  }

  if (options.png) {
    QImage image = widget->grab().toImage();
    if (!image.save(QString::fromStdString(options.png->string()), "PNG")) {
      std::cerr << "render: error: cannot write " << options.png->string() << "\n";
      return kExitNotWritten;
    }
    std::cout << "render: wrote " << options.png->string() << " (" << image.width() << "x"
              << image.height() << ")\n";
  }
  if (options.layout) {
    std::ofstream file(*options.layout);
    nlohmann::ordered_json layout = QtViewCore::of(*root)->describe();
    noteSubtitleBottomConstants(layout);
    file << layout.dump(2) << "\n";
    if (!file.flush()) {
      std::cerr << "render: error: cannot write " << options.layout->string() << "\n";
      return kExitNotWritten;
    }
    std::cout << "render: wrote " << options.layout->string() << "\n";
  }
  return kExitOk;
}

}  // namespace vicinix::host
