#include <vicinix/qt/campaign_list_widget.h>

#include <QShowEvent>
#include <cstdio>

#include "base/sdk.h"
#include "platform/linux/linux_application.h"
#include "ui/qt/qt_toolkit.h"
#include "ui/qt/qt_view_core.h"
#include "ui/qt/qt_window_view_controller.h"
#include "ui/sheet_navigation_view_controller.h"
#include "ui/vicinix_list_view_controller.h"

namespace vicinix {

struct CampaignListWidget::State {
  LinuxApplication* application = nullptr;
  QtToolkit* toolkit = nullptr;
  std::shared_ptr<QtWindowViewController> root;
  std::shared_ptr<VicinixListViewController> list;
  std::shared_ptr<VicinixNavigationViewController> container;
  std::shared_ptr<ViewController> previousRoot;
};

CampaignListWidget::CampaignListWidget(QWidget* parent)
    : QWidget(parent), state_(std::make_unique<State>()) {
  if (Sdk::isInstalled()) {
    Sdk& sdk = Sdk::current();
    state_->application = dynamic_cast<LinuxApplication*>(&sdk.application());
    state_->toolkit = dynamic_cast<QtToolkit*>(sdk.toolkit());
  }
  if (state_->application == nullptr || state_->toolkit == nullptr) {
    std::fputs(
        "Vicinix: CampaignListWidget needs a vicinix::QtHost (<vicinix/qt/qt_host.h>) "
        "made before it\n",
        stderr);
    return;
  }
  state_->root = std::make_shared<QtWindowViewController>(this);
  state_->list = std::make_shared<VicinixListViewController>();
  state_->container = std::make_shared<SheetNavigationViewController>(state_->list, state_->root);

  QWidget* content = QtViewCore::of(*state_->container->view())->widget();
  content->setParent(this);
  content->move(0, 0);
  content->show();
  const Rect bounds = state_->toolkit->mainScreenBounds();
  setFixedSize(int(bounds.width), int(bounds.height));

  // Notification clicks open over this widget's window from now on.
  state_->toolkit->setKeyWindow(window());
  state_->previousRoot = state_->application->keyWindowRootViewController();
  state_->application->setKeyWindowRootViewController(state_->root);
}

CampaignListWidget::~CampaignListWidget() {
  if (!state_->container) return;
  closeSheets();
  state_->application->setKeyWindowRootViewController(state_->previousRoot);
  state_->toolkit->setKeyWindow(nullptr);
  state_->root.reset();
  // The container's view owns its widget: take it out before Qt deletes it
  // as this widget's child.
  if (QWidget* content = QtViewCore::of(*state_->container->view())->widget()) {
    content->setParent(nullptr);
  }
  state_->container.reset();
  state_->list.reset();
}

QString CampaignListWidget::title() const {
  return state_->list ? QString::fromStdString(state_->list->navigationItem.title) : QString();
}

void CampaignListWidget::closeSheets() {
  if (!state_->root) return;
  while (!state_->root->presentedViewControllers().empty()) state_->root->dismiss(false);
}

void CampaignListWidget::showEvent(QShowEvent* event) {
  if (state_->container) state_->container->viewWillAppear(false);
  QWidget::showEvent(event);
}

}  // namespace vicinix
