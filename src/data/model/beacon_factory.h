#pragma once

#include <optional>
#include <string>

#include "data/model/beacon.h"
#include "data/model/database_handle.h"

namespace vicinix {

class Sdk;

// Keeps one Beacon record per namespace/instance pair, and with it the time of
// the beacon's last campaign request that throttles the next one.
class BeaconFactory {
 public:
  explicit BeaconFactory(Sdk& sdk);
  static BeaconFactory& shared();

  // The stored record of the pair. Unknown pairs: nothing, or with `create` a
  // new record, stored when possible and returned unsaved when not.
  std::optional<Beacon> findBeacon(const std::string& namespace_, const std::string& instance,
                                   bool create = false);
  // Stores `beacon` whole, later on the main queue.
  void save(const Beacon& beacon);
  // Stamps the stored record of `beacon` as updated, later on the main queue,
  // at the time the stamp is written.
  void setUpdate(const Beacon& beacon);

  // The store's open database; null while it cannot be opened.
  Database* realm() { return realm_.get(); }

 private:
  Sdk& sdk_;
  DatabaseHandle realm_;
};

}  // namespace vicinix
