#include "ui/vicinix_detail_view_controller.h"

namespace vicinix {

std::string VicinixDetailViewController::description() const {
  if (!campaign) return className();
  return className() + " campaign " + campaign->id + " \"" + campaign->notificationTitle + "\"";
}

}  // namespace vicinix
