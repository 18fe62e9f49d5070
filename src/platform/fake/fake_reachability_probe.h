#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "platform/reachability_probe.h"

namespace vicinix {

// Reachability with flags the test sets; changes reach every live target.
class FakeReachabilityProbe final : public ReachabilityProbe {
 public:
  std::unique_ptr<ReachabilityTarget> targetForAddress(uint32_t ipv4Address) override;
  std::unique_ptr<ReachabilityTarget> targetForHostName(const std::string& host) override;

  // Nothing means the flags cannot be read.
  void setFlags(std::optional<ReachabilityFlags> flags);
  // Sets the flags and tells every target with a callback.
  void change(ReachabilityFlags flags);
  void refuseTargets(bool refuse);
  void refuseCallbacks(bool refuse);

  FakeReachabilityProbe();
  ~FakeReachabilityProbe() override;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace vicinix
