#include "ui/vicinix_navigation_view_controller.h"

#include <vicinix/vicinix_appearance.h>

#include <algorithm>

namespace vicinix {
namespace {

// Room on either side of a bar button's title, and between the button and the bar's edge.
constexpr double kItemMargin = 8;

}  // namespace

VicinixNavigationViewController::VicinixNavigationViewController(
    std::shared_ptr<ToolkitViewController> rootViewController) {
  if (rootViewController) setViewControllers({std::move(rootViewController)});
}

VicinixNavigationViewController::~VicinixNavigationViewController() {
  for (const auto& child : viewControllers_) release(*child);
}

void VicinixNavigationViewController::setViewControllers(
    std::vector<std::shared_ptr<ToolkitViewController>> viewControllers) {
  for (const auto& child : viewControllers_) release(*child);
  viewControllers_ = std::move(viewControllers);
  std::erase(viewControllers_, nullptr);
  for (const auto& child : viewControllers_) adopt(*child);
  if (isViewLoaded()) showTopViewController();
}

ToolkitViewController* VicinixNavigationViewController::topViewController() const {
  return viewControllers_.empty() ? nullptr : viewControllers_.back().get();
}

void VicinixNavigationViewController::pushViewController(
    std::shared_ptr<ToolkitViewController> viewController, bool animated) {
  if (!viewController) return;
  adopt(*viewController);
  viewControllers_.push_back(std::move(viewController));
  if (!isViewLoaded()) return;
  showTopViewController();
  if (appeared_) topViewController()->viewWillAppear(animated);
}

std::shared_ptr<ToolkitViewController> VicinixNavigationViewController::popViewController(
    bool animated) {
  if (viewControllers_.size() < 2) return nullptr;
  auto popped = std::move(viewControllers_.back());
  viewControllers_.pop_back();
  release(*popped);
  if (isViewLoaded()) {
    showTopViewController();
    if (appeared_) topViewController()->viewWillAppear(animated);
  }
  return popped;
}

void VicinixNavigationViewController::addDismissButton() {
  for (const auto& child : viewControllers_) {
    child->navigationItem.rightBarButtonItem =
        BarButtonItem{"Close", BarButtonItem::Style::done,
                      weakAction([](VicinixNavigationViewController& self) { self.close(); })};
  }
  if (isViewLoaded()) layoutNavigationBar();
}

void VicinixNavigationViewController::close() {
  dismiss(true);
}

void VicinixNavigationViewController::viewDidLoad() {
  Toolkit& kit = *toolkit();
  view()->setBackgroundColor(VicinixAppearance::backgroundColor());
  bool dark = VicinixAppearance::statusBarStyle() == StatusBarStyle::dark;
  tintColor_ = dark ? Color{0, 0, 0, 1} : Color{1, 1, 1, 1};
  bar_ = kit.makeView();
  bar_->setBackgroundColor(VicinixAppearance::primaryColor());
  titleLabel_ = kit.makeLabel();
  backButton_ = kit.makeButton();
  backButton_->setAction(
      weakAction([](VicinixNavigationViewController& self) { self.popViewController(true); }));
  rightButton_ = kit.makeButton();
  for (const std::shared_ptr<View>& item :
       {std::shared_ptr<View>(titleLabel_), std::shared_ptr<View>(backButton_),
        std::shared_ptr<View>(rightButton_)}) {
    bar_->addSubview(item);
  }
  showTopViewController();
}

void VicinixNavigationViewController::viewWillAppear(bool animated) {
  appeared_ = true;
  if (ToolkitViewController* top = topViewController()) top->viewWillAppear(animated);
}

std::string VicinixNavigationViewController::description() const {
  std::string text = "VicinixNavigationViewController";
  if (!viewControllers_.empty()) text += " > " + viewControllers_.back()->description();
  return text;
}

void VicinixNavigationViewController::adopt(ToolkitViewController& child) {
  child.navigationController_ = this;
}

void VicinixNavigationViewController::release(ToolkitViewController& child) {
  if (child.navigationController_ == this) child.navigationController_ = nullptr;
}

void VicinixNavigationViewController::showTopViewController() {
  if (shownView_) shownView_->removeFromSuperview();
  shownView_.reset();
  const Rect bounds = view()->bounds();
  // An opaque bar starts the content below itself; a translucent one lies over it.
  double top = navigationBarTranslucent_ ? 0 : toolkit()->statusBarHeight() + kNavigationBarHeight;
  if (ToolkitViewController* child = topViewController()) {
    if (const auto& childView = child->view()) {
      childView->setFrame({0, top, bounds.width, bounds.height - top});
      view()->addSubview(childView);
      shownView_ = childView;
    }
  }
  view()->addSubview(bar_);  // in front of the content
  layoutNavigationBar();
}

void VicinixNavigationViewController::layoutNavigationBar() {
  const double width = view()->bounds().width;
  const double top = toolkit()->statusBarHeight();
  const double itemSize = preferredPointSize(TextStyle::headline);
  // The bar's colour reaches up under the status bar.
  bar_->setFrame({0, 0, width, top + kNavigationBarHeight});

  auto place = [&](Button& button, const std::string& title, BarButtonItem::Style style,
                   bool onTheRight) {
    button.setTitle(title);
    button.setTitleFont(Font::system(itemSize, style == BarButtonItem::Style::done
                                                   ? FontWeight::semibold
                                                   : FontWeight::regular));
    button.setTitleColor(tintColor_);
    button.setBackgroundColor({0, 0, 0, 0});
    double buttonWidth = button.sizeThatFits({width, kNavigationBarHeight}).width + 2 * kItemMargin;
    double x = onTheRight ? width - kItemMargin - buttonWidth : kItemMargin;
    button.setFrame({x, top, buttonWidth, kNavigationBarHeight});
    button.setHidden(false);
    return buttonWidth;
  };

  double left = 0;
  bool canGoBack = viewControllers_.size() > 1;
  if (canGoBack) {
    const std::string& previous =
        viewControllers_[viewControllers_.size() - 2]->navigationItem.title;
    left = place(*backButton_, "‹ " + (previous.empty() ? std::string("Back") : previous),
                 BarButtonItem::Style::plain, false);
  }
  backButton_->setHidden(!canGoBack);

  ToolkitViewController* child = topViewController();
  double right = 0;
  if (child && child->navigationItem.rightBarButtonItem) {
    const BarButtonItem& item = *child->navigationItem.rightBarButtonItem;
    right = place(*rightButton_, item.title, item.style, true);
    rightButton_->setAction(item.action);
  } else {
    rightButton_->setHidden(true);
  }

  // Centred on the bar whichever side has the wider button.
  double side = std::max(left, right) + 2 * kItemMargin;
  titleLabel_->setText(child ? child->navigationItem.title : "");
  titleLabel_->setFont(Font::system(itemSize, FontWeight::semibold));
  titleLabel_->setTextColor(tintColor_);
  titleLabel_->setTextAlignment(TextAlignment::center);
  titleLabel_->setNumberOfLines(1);
  titleLabel_->setFrame({side, top, std::max(0.0, width - 2 * side), kNavigationBarHeight});
}

std::function<void()> VicinixNavigationViewController::weakAction(
    void (*action)(VicinixNavigationViewController&)) {
  std::weak_ptr<ViewController> weak = weak_from_this();
  return [weak, action] {
    if (auto self = weak.lock()) action(static_cast<VicinixNavigationViewController&>(*self));
  };
}

}  // namespace vicinix
