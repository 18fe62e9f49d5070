#include "platform/fake/fake_bluetooth_central.h"

#include <algorithm>
#include <mutex>

namespace vicinix {

// One central's tie to its delegate, shared with the calls it has queued so
// that none reaches a delegate whose central is gone.
struct CentralLink {
  std::recursive_mutex mutex;
  BluetoothCentralDelegate* delegate;
  BluetoothCentral* central;
  bool scanRequested = false;  // guarded by the radio's mutex, as is `scanning`
  bool scanning = false;
  std::shared_ptr<DispatchQueue> queue;

  template <class Call>
  void post(Call call, std::shared_ptr<CentralLink> self) {
    queue->async([self = std::move(self), call = std::move(call)] {
      std::lock_guard lock(self->mutex);
      if (self->delegate != nullptr) call(*self->delegate, *self->central);
    });
  }
};

struct FakeBluetoothCentral::State {
  mutable std::mutex mutex;
  BluetoothCentralState state;
  std::vector<std::shared_ptr<CentralLink>> links;
  std::vector<ScanCall> scanCalls;
  int stopScanCalls = 0;
};

namespace {

class ScriptedCentral final : public BluetoothCentral {
 public:
  ScriptedCentral(std::shared_ptr<FakeBluetoothCentral::State> radio,
                  BluetoothCentralDelegate& delegate, std::shared_ptr<DispatchQueue> queue)
      : radio_(std::move(radio)), link_(std::make_shared<CentralLink>()) {
    link_->delegate = &delegate;
    link_->central = this;
    link_->queue = std::move(queue);
    std::lock_guard lock(radio_->mutex);
    radio_->links.push_back(link_);
    // Real stacks report the state once soon after a central is made.
    link_->post([](BluetoothCentralDelegate& delegate,
                   BluetoothCentral& central) { delegate.centralManagerDidUpdateState(central); },
                link_);
  }

  ~ScriptedCentral() override {
    {
      std::lock_guard lock(radio_->mutex);
      std::erase(radio_->links, link_);
      // Queued calls hold the link; without this they would keep their own queue alive.
      link_->queue.reset();
    }
    std::lock_guard lock(link_->mutex);
    link_->delegate = nullptr;
  }

  BluetoothCentralState state() const override {
    std::lock_guard lock(radio_->mutex);
    return radio_->state;
  }

  void scanForPeripherals(const std::vector<std::string>& serviceUUIDs,
                          bool allowDuplicates) override {
    std::lock_guard lock(radio_->mutex);
    radio_->scanCalls.push_back({serviceUUIDs, allowDuplicates});
    link_->scanRequested = true;
    link_->scanning = radio_->state == BluetoothCentralState::poweredOn;
  }

  void stopScan() override {
    std::lock_guard lock(radio_->mutex);
    ++radio_->stopScanCalls;
    link_->scanRequested = link_->scanning = false;
  }

 private:
  std::shared_ptr<FakeBluetoothCentral::State> radio_;
  std::shared_ptr<CentralLink> link_;
};

}  // namespace

FakeBluetoothCentral::FakeBluetoothCentral(BluetoothCentralState state)
    : state_(std::make_shared<State>()) {
  state_->state = state;
}

FakeBluetoothCentral::~FakeBluetoothCentral() = default;

BluetoothCentralFactory FakeBluetoothCentral::factory() {
  return
      [radio = state_](BluetoothCentralDelegate& delegate,
                       std::shared_ptr<DispatchQueue> queue) -> std::unique_ptr<BluetoothCentral> {
        return std::make_unique<ScriptedCentral>(radio, delegate, std::move(queue));
      };
}

BluetoothCentralState FakeBluetoothCentral::state() const {
  std::lock_guard lock(state_->mutex);
  return state_->state;
}

void FakeBluetoothCentral::setState(BluetoothCentralState state) {
  std::lock_guard lock(state_->mutex);
  state_->state = state;
  for (const auto& link : state_->links) {
    link->scanning = link->scanRequested && state == BluetoothCentralState::poweredOn;
    link->post([](BluetoothCentralDelegate& delegate,
                  BluetoothCentral& central) { delegate.centralManagerDidUpdateState(central); },
               link);
  }
}

void FakeBluetoothCentral::advertise(const PeripheralIdentifier& peripheral,
                                     std::optional<ServiceDataMap> serviceData, int RSSI) {
  std::lock_guard lock(state_->mutex);
  for (const auto& link : state_->links) {
    if (!link->scanning) continue;
    link->post(
        [peripheral, serviceData, RSSI](BluetoothCentralDelegate& delegate,
                                        BluetoothCentral& central) {
          delegate.centralManagerDidDiscover(central, peripheral, serviceData, RSSI);
        },
        link);
  }
}

std::vector<FakeBluetoothCentral::ScanCall> FakeBluetoothCentral::scanCalls() const {
  std::lock_guard lock(state_->mutex);
  return state_->scanCalls;
}

int FakeBluetoothCentral::stopScanCalls() const {
  std::lock_guard lock(state_->mutex);
  return state_->stopScanCalls;
}

bool FakeBluetoothCentral::isScanning() const {
  std::lock_guard lock(state_->mutex);
  return std::any_of(state_->links.begin(), state_->links.end(),
                     [](const auto& link) { return link->scanning; });
}

}  // namespace vicinix
