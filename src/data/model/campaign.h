#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/clock.h"
#include "platform/image_codec.h"

namespace vicinix {

// One campaign the backend delivered. Its blocks are the Block rows whose
// `campaign` is this id (BlockTable::blocksOf).
struct Campaign {
  std::string id{};
  std::string notificationTitle{};
  std::string notificationText{};
  std::string notificationImagePath{};
  std::string type{};
  std::string detailURLPath{};
  std::string listImagePath{};
  std::string listTitle{};
  std::string listText{};
  bool isActive = true;
  std::string inAppEvent{};
  int64_t cooldown = 0;
  int64_t maximumNotificationsPerUser = 0;
  Date created{};
  std::optional<Date> updated{};
  std::optional<Date> notificationSent{};
  int64_t notificationCount = 0;

  // File names under which the pictures are cached.
  std::string notificationImageName() const;
  std::string listImageName() const;
  // The cached list picture. Without one, starts its download, which posts
  // Vicinix::imageDownloaded when a picture lands, and returns nothing.
  // Main queue only.
  std::optional<Image> listImage() const;

  // The stored content is older than the configured campaign expiration
  // (3600 s when unset), or was never stamped.
  bool needsUpdate() const;
  // A notification may be shown now: never notified, or under the per-user
  // cap (compared strictly, so a cap of N allows N + 1) and past the cooldown.
  bool shouldNotify() const;
  // The record as debug lines print it, one field per line.
  std::string description() const;

  bool operator==(const Campaign&) const = default;
};

}  // namespace vicinix
