#pragma once

/// @file
/// The campaign list as a widget for a host's own window.

#include <vicinix/export.h>

#include <QWidget>
#include <memory>

class QShowEvent;

namespace vicinix {

/// The stored campaigns under a navigation bar titled like the SDK's list,
/// for a host to place in its own window. A row, or a click on one of the
/// SDK's notifications, opens its campaign's detail in a sheet over the
/// widget's window. The screens lay themselves out for the toolkit's screen
/// size, which the widget takes as its fixed size. Make it after
/// QtHost::create and delete it before the host; main thread only. Without a
/// Qt host it stays empty and says so on standard error.
class VICINIX_EXPORT CampaignListWidget : public QWidget {
 public:
  /// The list, placed in `parent` when one is given.
  explicit CampaignListWidget(QWidget* parent = nullptr);
  ~CampaignListWidget() override;

  /// The list's title, for the host's window title.
  QString title() const;
  /// Closes every sheet the list or a notification opened.
  void closeSheets();

 protected:
  /// Reads the rows and clears the badge as the list comes up.
  void showEvent(QShowEvent* event) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vicinix
