#pragma once

#include <memory>

#include "ui/toolkit.h"

namespace vicinix {

// A progress overlay the host shows over its whole window while it waits:
// a dimmed screen with a spinner in a rounded square of the primary colour.
class VicinixActivityIndicator {
 public:
  explicit VicinixActivityIndicator(Toolkit& toolkit);

  // Shows the overlay on the key window; showing it again keeps one overlay.
  // Without a key window nothing is shown.
  void showProgressView();
  void hideProgressView();

  std::shared_ptr<View> containerView;
  std::shared_ptr<View> progressView;
  std::shared_ptr<ActivityIndicator> activityIndicator;

 private:
  Toolkit& toolkit_;
};

}  // namespace vicinix
