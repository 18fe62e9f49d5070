#include "campaigns/list_image_cache.h"

#include <system_error>

#include "base/sdk.h"
#include "campaigns/image_downloader.h"
#include "data/model/cache_file_name.h"

namespace vicinix {
namespace {

size_t bytesOf(const Image& image) {
  return image.rgba ? image.rgba->size() : 0;
}

}  // namespace

ListImageCache::ListImageCache(Sdk& sdk, size_t capacity) : sdk_(sdk), pictures_(capacity) {}

ListImageCache& ListImageCache::shared() {
  return Sdk::current().shared<ListImageCache>();
}

std::optional<ListImageCache::FileStamp> ListImageCache::stamp(const std::string& name) const {
  if (!isSafeFileName(name)) return std::nullopt;
  const auto file = sdk_.shared<ImageDownloader>().imagesDirectory() / name;
  std::error_code error;
  auto modified = std::filesystem::last_write_time(file, error);
  if (error) return std::nullopt;
  auto size = std::filesystem::file_size(file, error);
  if (error) return std::nullopt;
  return FileStamp{modified, size};
}

std::optional<Image> ListImageCache::image(const std::string& name) {
  auto file = stamp(name);
  if (const Entry* kept = pictures_.find(name); kept && kept->file == file) return kept->image;
  pictures_.erase(name);
  if (!file) return std::nullopt;
  auto decoded = sdk_.images().decodeFile(sdk_.shared<ImageDownloader>().imagesDirectory() / name);
  if (decoded) pictures_.put(name, Entry{*decoded, file}, bytesOf(*decoded));
  return decoded;
}

void ListImageCache::insert(const std::string& name, const Image& image) {
  pictures_.put(name, Entry{image, stamp(name)}, bytesOf(image));
}

}  // namespace vicinix
