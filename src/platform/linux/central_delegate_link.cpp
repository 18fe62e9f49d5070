#include "platform/linux/central_delegate_link.h"

namespace vicinix {

std::shared_ptr<CentralDelegateLink> CentralDelegateLink::make(
    BluetoothCentralDelegate& delegate, BluetoothCentral& central,
    std::shared_ptr<DispatchQueue> queue) {
  std::shared_ptr<CentralDelegateLink> link(new CentralDelegateLink());
  link->self_ = link;
  link->delegate_ = &delegate;
  link->central_ = &central;
  link->queue_ = std::move(queue);
  return link;
}

template <class Call>
void CentralDelegateLink::post(Call call) {
  std::shared_ptr<DispatchQueue> queue;
  {
    std::lock_guard lock(queueMutex_);
    queue = queue_;
  }
  if (!queue) return;
  queue->async([self = self_.lock(), call = std::move(call)] {
    std::lock_guard lock(self->mutex_);
    if (self->delegate_ != nullptr) call(*self->delegate_, *self->central_);
  });
}

void CentralDelegateLink::postStateUpdate() {
  post([](BluetoothCentralDelegate& delegate, BluetoothCentral& central) {
    delegate.centralManagerDidUpdateState(central);
  });
}

void CentralDelegateLink::postDiscovery(CentralDiscovery discovery) {
  post([discovery = std::move(discovery)](BluetoothCentralDelegate& delegate,
                                          BluetoothCentral& central) {
    delegate.centralManagerDidDiscover(central, discovery.peripheral, discovery.serviceData,
                                       discovery.RSSI);
  });
}

void CentralDelegateLink::detach() {
  {
    std::lock_guard lock(mutex_);
    delegate_ = nullptr;
  }
  // Queued reports hold the link; holding the queue too would keep it alive
  // through its own tasks.
  std::lock_guard lock(queueMutex_);
  queue_.reset();
}

}  // namespace vicinix
