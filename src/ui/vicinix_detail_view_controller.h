#pragma once

#include <vicinix/export.h>

#include <optional>
#include <string>

#include "data/model/campaign.h"
#include "ui/vicinix_default_view_controller.h"

namespace vicinix {

// A screen that shows one campaign; the caller sets `campaign` before showing it.
class VICINIX_EXPORT VicinixDetailViewController : public VicinixDefaultViewController {
 public:
  std::optional<Campaign> campaign;

  std::string description() const override;

 protected:
  virtual std::string className() const = 0;
};

}  // namespace vicinix
