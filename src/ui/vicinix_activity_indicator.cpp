#include "ui/vicinix_activity_indicator.h"

#include <vicinix/vicinix_appearance.h>

namespace vicinix {

VicinixActivityIndicator::VicinixActivityIndicator(Toolkit& toolkit)
    : containerView(toolkit.makeView()),
      progressView(toolkit.makeView()),
      activityIndicator(toolkit.makeActivityIndicator()),
      toolkit_(toolkit) {}

void VicinixActivityIndicator::showProgressView() {
  hideProgressView();
  const Rect screen = toolkit_.mainScreenBounds();
  containerView->setFrame(screen);
  containerView->setCenter(screen.center());
  containerView->setBackgroundColor({0.3, 0.3, 0.3, 0.2});

  progressView->setFrame({0, 0, 80, 80});
  progressView->setCenter(containerView->bounds().center());
  progressView->setBackgroundColor(VicinixAppearance::primaryColor());
  progressView->setCornerRadius(10);
  progressView->setClipsToBounds(true);

  activityIndicator->setFrame({0, 0, 40, 40});
  activityIndicator->setCenter(progressView->bounds().center());

  progressView->addSubview(activityIndicator);
  containerView->addSubview(progressView);
  if (auto window = toolkit_.keyWindow()) window->addSubview(containerView);
  activityIndicator->startAnimating();
}

void VicinixActivityIndicator::hideProgressView() {
  activityIndicator->stopAnimating();
  containerView->removeFromSuperview();
}

}  // namespace vicinix
