#include "ui/vicinix_default_view_controller.h"

#include <vicinix/vicinix_appearance.h>

#include "core/vicinix_configurator.h"
#include "ui/vicinix_info_view.h"

namespace vicinix {

void VicinixDefaultViewController::viewDidLoad() {
  view()->setBackgroundColor(VicinixAppearance::backgroundColor());
  if (VicinixConfigurator::requiredSDKVersion() < 1) return;
  Toolkit& kit = *toolkit();
  VicinixInfoView notice(kit, topDistance(), kit.resourceImage("updateState"),
                         "Aktualizujte prosím aplikaci pro obnovu všech funkcí");
  view()->addSubview(notice.view());
}

}  // namespace vicinix
