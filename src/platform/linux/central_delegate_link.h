#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "platform/bluetooth_central.h"

namespace vicinix {

// One advertisement as a central reports it.
struct CentralDiscovery {
  PeripheralIdentifier peripheral;
  std::optional<ServiceDataMap> serviceData;  // keyed by the short form, e.g. "FEAA"
  int RSSI = 127;                             // 127: not known
  bool operator==(const CentralDiscovery&) const = default;
};

// A central's tie to its delegate, shared with the reports it has queued on
// the delegate's queue. After detach() none of them reaches the delegate, and
// detach() waits out one that is running on another thread.
class CentralDelegateLink {
 public:
  static std::shared_ptr<CentralDelegateLink> make(BluetoothCentralDelegate& delegate,
                                                   BluetoothCentral& central,
                                                   std::shared_ptr<DispatchQueue> queue);

  // Both post to the delegate's queue and return at once. Any thread.
  void postStateUpdate();
  void postDiscovery(CentralDiscovery discovery);

  // Called by the central's destructor. Any thread, also the delegate's own.
  void detach();

 private:
  CentralDelegateLink() = default;
  template <class Call>
  void post(Call call);

  std::weak_ptr<CentralDelegateLink> self_;
  // Recursive: a delegate call may end in destroying the central.
  std::recursive_mutex mutex_;
  BluetoothCentralDelegate* delegate_ = nullptr;
  BluetoothCentral* central_ = nullptr;
  std::mutex queueMutex_;
  std::shared_ptr<DispatchQueue> queue_;
};

}  // namespace vicinix
