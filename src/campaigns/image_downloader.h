#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/url.h"
#include "platform/image_codec.h"

namespace vicinix {

class Sdk;

// Fetches campaign pictures once and keeps them as files in
// Library/Vicinix/Images, fetching no name twice at a time. Main queue only.
class ImageDownloader {
 public:
  using Completion = std::function<void(std::optional<Image>)>;

  explicit ImageDownloader(Sdk& sdk);
  static ImageDownloader& shared();

  std::filesystem::path imagesDirectory() const;
  void createImageDirectoryIfNeeded();
  // The cached picture of `name`, if its file exists and decodes.
  std::optional<Image> image(const std::string& name);

  // Fetches `path` into the cache under `imageName`. `completion` runs on the
  // main queue: at once with nothing for an empty path or a name already in
  // flight, at once with the cached picture if there is one, and again when a
  // fetch delivers. A fetch that fails blocks the name for the process.
  void downloadImage(const std::string& path, const std::string& imageName, Completion completion);
  // One fetch of `url`; `completion` runs on the main queue with the decoded
  // picture (or nothing when the bytes are not one), and not at all when the
  // transfer fails.
  void downloadImageFrom(const Url& url, Completion completion);
  // Stores `image` under `name`: JPEG when it encodes, PNG otherwise.
  void saveImage(const Image& image, const std::string& name);

  // Names whose fetch is in flight, or failed.
  std::vector<std::string>& downloadQueue() { return downloadQueue_; }

 private:
  Sdk& sdk_;
  std::vector<std::string> downloadQueue_;
};

}  // namespace vicinix
