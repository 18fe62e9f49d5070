#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include "base/lru_cache.h"
#include "platform/image_codec.h"

namespace vicinix {

class Sdk;

// The list pictures decoded from the image cache's files, kept so that
// painting a row again does not decode its file again. A picture is decoded
// once more when its file has changed since (a new download under the same
// name). Holds at most `capacity` bytes of pixels, dropping the least
// recently painted first. Main queue only.
class ListImageCache {
 public:
  static constexpr size_t defaultCapacity = size_t{32} << 20;

  explicit ListImageCache(Sdk& sdk, size_t capacity = defaultCapacity);
  static ListImageCache& shared();

  // The picture cached as `name`; nothing when there is no such file or it
  // does not decode.
  std::optional<Image> image(const std::string& name);
  // Keeps `image`, which has just arrived to be stored as `name`, without
  // decoding the file again. Kept also when it could not be stored, so that
  // a full disk does not make the list fetch it on every repaint.
  void insert(const std::string& name, const Image& image);

  // Bytes of pixels kept.
  size_t cost() const { return pictures_.cost(); }

 private:
  // What tells a new download from the file decoded before.
  struct FileStamp {
    std::filesystem::file_time_type modified;
    uintmax_t size;
    bool operator==(const FileStamp&) const = default;
  };
  struct Entry {
    Image image;
    // Nothing for a picture that arrived but could not be stored.
    std::optional<FileStamp> file;
  };

  std::optional<FileStamp> stamp(const std::string& name) const;

  Sdk& sdk_;
  LruCache<std::string, Entry> pictures_;
};

}  // namespace vicinix
