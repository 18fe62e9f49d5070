#include "data/model/beacon_factory.h"

#include "base/sdk.h"
#include "base/uuid.h"
#include "data/model/beacon_table.h"

namespace vicinix {

BeaconFactory::BeaconFactory(Sdk& sdk) : sdk_(sdk), realm_(sdk) {}

BeaconFactory& BeaconFactory::shared() {
  return Sdk::current().shared<BeaconFactory>();
}

std::optional<Beacon> BeaconFactory::findBeacon(const std::string& namespace_,
                                                const std::string& instance, bool create) {
  auto found = realm_.read(
      [&](Database& database) { return BeaconTable(database).first(namespace_, instance); });
  if (found && *found) return *found;
  if (!create) return std::nullopt;

  Beacon beacon{.id = makeUuidString(),
                .namespace_ = namespace_,
                .instance = instance,
                .created = sdk_.clock().now(),
                .updated = std::nullopt};
  // A fresh random id cannot collide, so the table's upsert is a plain insert here.
  realm_.write([&](Database& database) { BeaconTable(database).addOrUpdate(beacon); });
  return beacon;
}

void BeaconFactory::save(const Beacon& beacon) {
  // Through the context rather than `this`: the queue may outlive this store.
  sdk_.mainQueue().async([beacon] {
    BeaconFactory::shared().realm_.write(
        [&](Database& database) { BeaconTable(database).addOrUpdate(beacon); });
  });
}

void BeaconFactory::setUpdate(const Beacon& beacon) {
  sdk_.mainQueue().async([id = beacon.id] {
    BeaconFactory& store = BeaconFactory::shared();
    store.realm_.write([&](Database& database) {
      BeaconTable table(database);
      // A record that never made it into the database has nothing to stamp.
      auto stored = table.find(id);
      if (!stored) return;
      stored->updated = store.sdk_.clock().now();
      table.addOrUpdate(*stored);
    });
  });
}

}  // namespace vicinix
