#include "data/model/campaign.h"

#include "core/url.h"

namespace vicinix {
namespace {

std::string cachedImageName(const std::string& path, const std::string& fallback) {
  auto url = Url::parse(path);
  return url ? url->lastPathComponent() : fallback;
}

}  // namespace

std::string Campaign::notificationImageName() const {
  return cachedImageName(notificationImagePath, id + "_notification.jpg");
}

std::string Campaign::listImageName() const {
  return cachedImageName(listImagePath, id + "_list.jpg");
}

}  // namespace vicinix
