#include "platform/fake/fake_reachability_probe.h"

namespace vicinix {

struct FakeReachabilityProbe::State {
  std::mutex mutex;
  std::optional<ReachabilityFlags> flags = kReachabilityReachable;
  bool refuseTargets = false;
  bool refuseCallbacks = false;
  std::vector<std::weak_ptr<ReachabilityTarget::Callback>> callbacks;
};

namespace {

class FakeTarget final : public ReachabilityTarget {
 public:
  explicit FakeTarget(std::shared_ptr<FakeReachabilityProbe::State> state)
      : state_(std::move(state)) {}

  std::optional<ReachabilityFlags> flags() override {
    std::lock_guard lock(state_->mutex);
    return state_->flags;
  }
  bool setCallback(Callback callback) override {
    std::lock_guard lock(state_->mutex);
    if (state_->refuseCallbacks) return false;
    callback_ = std::make_shared<Callback>(std::move(callback));
    state_->callbacks.push_back(callback_);
    return true;
  }
  void clearCallback() override {
    std::lock_guard lock(state_->mutex);
    callback_.reset();
  }

 private:
  std::shared_ptr<FakeReachabilityProbe::State> state_;
  std::shared_ptr<Callback> callback_;
};

}  // namespace

FakeReachabilityProbe::FakeReachabilityProbe() : state_(std::make_shared<State>()) {}
FakeReachabilityProbe::~FakeReachabilityProbe() = default;

std::unique_ptr<ReachabilityTarget> FakeReachabilityProbe::targetForAddress(uint32_t) {
  std::lock_guard lock(state_->mutex);
  if (state_->refuseTargets) return nullptr;
  return std::make_unique<FakeTarget>(state_);
}

std::unique_ptr<ReachabilityTarget> FakeReachabilityProbe::targetForHostName(
    const std::string& host) {
  return host.empty() ? nullptr : targetForAddress(0);
}

void FakeReachabilityProbe::setFlags(std::optional<ReachabilityFlags> flags) {
  std::lock_guard lock(state_->mutex);
  state_->flags = flags;
}

void FakeReachabilityProbe::change(ReachabilityFlags flags) {
  std::vector<std::shared_ptr<ReachabilityTarget::Callback>> live;
  {
    std::lock_guard lock(state_->mutex);
    state_->flags = flags;
    for (auto& weak : state_->callbacks) {
      if (auto callback = weak.lock()) live.push_back(callback);
    }
  }
  for (auto& callback : live) (*callback)(flags);
}

void FakeReachabilityProbe::refuseTargets(bool refuse) {
  std::lock_guard lock(state_->mutex);
  state_->refuseTargets = refuse;
}

void FakeReachabilityProbe::refuseCallbacks(bool refuse) {
  std::lock_guard lock(state_->mutex);
  state_->refuseCallbacks = refuse;
}

}  // namespace vicinix
