#pragma once

#include <optional>
#include <string>

#include "data/model/campaign.h"
#include "platform/view_controller.h"

namespace vicinix {

// A screen that shows one campaign; the caller sets `campaign` before showing it.
class VicinixDetailViewController : public ViewController {
 public:
  std::optional<Campaign> campaign;

  std::string description() const override;

 protected:
  virtual std::string className() const = 0;
};

}  // namespace vicinix
