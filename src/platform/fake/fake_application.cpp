#include "platform/fake/fake_application.h"

namespace vicinix {
namespace {

class RootScreen final : public ViewController {
 public:
  std::string description() const override { return "root"; }
};

}  // namespace

FakeApplication::FakeApplication() : root_(std::make_shared<RootScreen>()) {}

}  // namespace vicinix
